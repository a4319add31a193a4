// A serial port of this computer.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "sdk/base/PvString.h"
#include "sdk/net/clock.h"
#include "sdk/net/serial_line.h"
#include "sdk/serial_port/PvSerialPort.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"
#include "sdk/serial_port/receive_buffer.h"

namespace vex::serial_port {

/// A port over a line of the system. A thread of its own moves what comes into the receive buffer, and leaves it with
/// the system while that is full: a line that can hold its sender is not overrun.
///
/// A write is given the time that its bytes take twice over, and a second. When the line goes, what has come can still
/// be read; then everything answers NotConnected until the port is opened again.
///
/// Thread safety: as PvSerialPort, and all other members may be called from any thread.
class HostSerialPort final : public PvSerialPort {
public:
    /// `clock` outlives the port.
    explicit HostSerialPort(const net::Clock& clock = net::Clock::steady()) : received_(clock) {}
    /// Closes.
    ~HostSerialPort() override;

    /// Opens a line by its name (net::SerialLine) for this port alone. InvalidParameter for a configuration that is not
    /// valid or a name that cannot be one or is not a serial line's, NotFound, StateError when the port is open or
    /// somebody else has the line, NotSupported for a configuration that the line cannot take. The texts name the line.
    [[nodiscard]] PvResult open(const PvString& name, const PvSerialPortConfiguration& configuration);

    /// Opens the end of a pipe that another program serves, as of a bridge, within `timeout`. The configuration tells
    /// nothing but how fast bytes go. NotFound when nobody serves it, StateError when the port is open or the pipe is
    /// somebody else's, Timeout.
    [[nodiscard]] PvResult open_pipe(const net::PipeName& pipe, const PvSerialPortConfiguration& configuration,
                                     std::chrono::milliseconds timeout);

    /// Changes the line at once. InvalidParameter or NotSupported leave it as it was; NotConnected.
    [[nodiscard]] PvResult configure(const PvSerialPortConfiguration& configuration);

    PvResult Close() override;
    PvResult Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten) override;
    [[nodiscard]] bool IsOpened() override;
    PvResult Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                  std::uint32_t aTimeout) override;
    PvResult GetRxBytesReady(std::uint32_t& aBytes) override;
    PvResult FlushRxBuffer() override;
    PvResult GetRxBufferSize(std::uint32_t& aSize) override;
    PvResult SetRxBufferSize(std::uint32_t aSize) override;

    /// Of the line that is open: what the system reported, and what a buffer that was made smaller dropped.
    [[nodiscard]] net::LineErrors line_errors();
    [[nodiscard]] std::uint64_t dropped_bytes() const noexcept { return received_.dropped(); }

private:
    struct Opened {
        std::string name;
        PvSerialPortConfiguration configuration;
        std::shared_ptr<net::SerialLine> line;
        bool gone = false;
    };

    /// `open_line` gives the line or throws as net::SerialLine::open does.
    template <class OpenLine>
    [[nodiscard]] PvResult open_over(const PvString& name, const PvSerialPortConfiguration& configuration,
                                     OpenLine&& open_line);
    [[nodiscard]] Opened opened() const;
    void close_line();  ///< under control_mutex_
    void receive(net::SerialLine& line);
    std::string mark_gone();  ///< the line's name

    std::mutex control_mutex_;  ///< one open or close at a time; taken before the other
    std::mutex write_mutex_;    ///< one write at a time
    mutable std::mutex mutex_;  ///< for opened_
    Opened opened_;
    ReceiveBuffer received_;
    std::thread receiver_;
};

}  // namespace vex::serial_port
