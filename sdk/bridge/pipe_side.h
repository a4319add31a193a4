// The computer's side of a bridge that other programs reach by a name.
#pragma once

#include <memory>

#include "sdk/base/PvString.h"
#include "sdk/bridge/host_side.h"
#include "sdk/net/pipe.h"

namespace vex::bridge {

/// A serving pipe. It has no line to set.
class PipeSide final : public HostSide {
public:
    /// Serves a name (net::PipeName); `made` and `served`, the name with the TCP port that was chosen for 0, are set on
    /// success only. InvalidParameter for what cannot be a name, StateError when somebody serves it, GenericError.
    [[nodiscard]] static PvResult open(const PvString& name, std::unique_ptr<HostSide>& made, PvString& served);

    explicit PipeSide(std::shared_ptr<net::PipeServer> server) noexcept : server_(std::move(server)) {}

    std::error_code attach(std::chrono::milliseconds time) noexcept override { return server_->accept(time); }
    void part() noexcept override { server_->part(); }
    std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds time,
                     std::error_code& error) noexcept override
    {
        return server_->read(bytes, time, error);
    }
    std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds time,
                      std::error_code& error) noexcept override
    {
        return server_->write(bytes, time, error);
    }
    void close() noexcept override { server_->close(); }
    [[nodiscard]] PvResult configure(const PvSerialPortConfiguration&) override { return PvResult::OK; }
    [[nodiscard]] PvResult recover() override { return PvResult::OK; }

private:
    const std::shared_ptr<net::PipeServer> server_;
};

}  // namespace vex::bridge
