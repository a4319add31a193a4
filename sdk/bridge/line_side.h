// The computer's side of a bridge that is one of its serial lines.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "sdk/base/PvString.h"
#include "sdk/bridge/host_side.h"
#include "sdk/net/serial_line.h"

namespace vex::bridge {

/// A line of this computer. One that was pulled out is opened again by recover(), under the same name.
class LineSide final : public HostSide {
public:
    /// Opens a line by its name (net::SerialLine); `made` is set on success only. As HostSerialPort::open.
    [[nodiscard]] static PvResult open(const PvString& name, const PvSerialPortConfiguration& configuration,
                                       std::unique_ptr<HostSide>& made);

    LineSide(std::string name, const PvSerialPortConfiguration& configuration, std::shared_ptr<net::SerialLine> line);

    std::error_code attach(std::chrono::milliseconds time) noexcept override;
    void part() noexcept override;
    std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds time,
                     std::error_code& error) noexcept override;
    std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds time,
                      std::error_code& error) noexcept override;
    void close() noexcept override;
    [[nodiscard]] PvResult configure(const PvSerialPortConfiguration& configuration) override;
    [[nodiscard]] PvResult recover() override;

private:
    /// Null when the line has gone.
    [[nodiscard]] std::shared_ptr<net::SerialLine> line() const noexcept;
    void close_line() noexcept;

    const std::string name_;
    std::mutex recover_mutex_;  ///< one recovery or setting at a time; taken before the other
    mutable std::mutex mutex_;  ///< for what follows
    std::condition_variable changed_;
    PvSerialPortConfiguration configuration_;
    std::shared_ptr<net::SerialLine> line_;
    std::shared_ptr<net::SerialLine> failed_;  ///< the one that a read found gone
    bool closed_ = false;
};

}  // namespace vex::bridge
