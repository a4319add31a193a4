// A serial line of this computer: a COM port of Windows, a tty elsewhere.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <system_error>

#include "sdk/net/closable.h"
#include "sdk/net/pipe_name.h"

namespace vex::net {

class SystemSerialLine;

enum class LineParity : std::uint8_t { none, even, odd };

/// How characters are sent. There is no flow control, and DTR and RTS are on while the line is open.
struct SerialSettings {
    std::uint32_t baud_rate = 9600;  ///< bits per second, any that the hardware can divide its clock to
    LineParity parity = LineParity::none;
    std::uint32_t data_bits = 8;  ///< 5 to 8
    std::uint32_t stop_bits = 1;  ///< 1 or 2

    friend bool operator==(const SerialSettings&, const SerialSettings&) = default;
};

/// What went wrong with received characters. Where the system counts each (Linux), so do these; Windows only tells that
/// something happened between two looks.
struct LineErrors {
    std::uint64_t breaks = 0;
    std::uint64_t parity = 0;
    std::uint64_t framing = 0;
    std::uint64_t overruns = 0;  ///< characters that came faster than they were fetched, and are lost
};

/// A line that this process alone uses. What was set on it before is put back when it is closed.
///
/// Reads and writes report operation_canceled once the line is closed, no_such_device once the line has gone (a plug
/// was pulled), timed_out at the end of their time.
///
/// Thread safety: one thread may read while another writes and any others call the rest.
class SerialLine {
public:
    /// Opens a line, without what has come before, by its name: COM3 or \\.\COM12 on Windows; /dev/ttyUSB0, or ttyUSB0
    /// for short, elsewhere. Throws std::system_error: invalid_argument for what cannot be a name, no_such_device,
    /// device_or_resource_busy when someone else has it, permission_denied, inappropriate_io_control_operation for what
    /// is no serial line, not_supported for settings that it cannot take.
    [[nodiscard]] static std::shared_ptr<SerialLine> open(const std::string& name, const SerialSettings& settings);

    /// The end of a pipe that another program serves (Pipe::connect, which throws the same): carries bytes as a line
    /// does, has gone when the other program ends it, takes any settings, which mean nothing to it, and has no errors.
    [[nodiscard]] static std::shared_ptr<SerialLine> over_pipe(const PipeName& name, std::chrono::milliseconds timeout);

    explicit SerialLine(std::unique_ptr<SystemSerialLine> system);
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;
    ~SerialLine();

    /// Ends reads and writes under way, waits until they have ended, and gives the line back. Once more does nothing.
    void close() noexcept;

    /// Changes the line at once. not_supported, and the line as it was, where it cannot.
    std::error_code configure(const SerialSettings& settings) noexcept;

    /// Waits up to `timeout` until at least one byte is there; how many were stored.
    std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds timeout, std::error_code& error) noexcept;
    /// Waits up to `timeout` until the system has taken all; how many it took.
    std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds timeout,
                      std::error_code& error) noexcept;

    /// Throws away what the system has received and nobody has read.
    std::error_code discard_input() noexcept;
    /// Whether the line is still there: no error.
    std::error_code check() noexcept;
    /// Since the line was opened; nothing once it is closed.
    [[nodiscard]] LineErrors errors() noexcept;

private:
    template <class Bytes, class Move>
    std::size_t transfer(Bytes bytes, std::error_code& error, Move&& move) noexcept;

    Closable<SystemSerialLine> system_;
};

}  // namespace vex::net
