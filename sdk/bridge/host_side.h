// The computer's side of a bridge.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>

#include "sdk/base/PvResult.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::bridge {

/// Where the bytes go to and come from: programs, one after the other, or a line that may be pulled out.
///
/// Thread safety: one thread attaches, reads and parts while another writes; the rest from any thread.
class HostSide {
public:
    HostSide() = default;
    HostSide(const HostSide&) = delete;
    HostSide& operator=(const HostSide&) = delete;
    virtual ~HostSide() = default;

    /// Waits up to `time` until somebody is there. timed_out, operation_canceled once it is closed.
    virtual std::error_code attach(std::chrono::milliseconds time) noexcept = 0;
    /// Parts from who is there: a write under way ends, and later ones fail until the next attach.
    virtual void part() noexcept = 0;
    /// Waits up to `time` until at least one byte is there; how many were stored. timed_out, operation_canceled, or
    /// another error when nobody is there any more.
    virtual std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds time,
                             std::error_code& error) noexcept = 0;
    /// Waits up to `time` until all were taken; how many were. Errors as those of read.
    virtual std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds time,
                              std::error_code& error) noexcept = 0;
    /// Ends every call under way, and later ones.
    virtual void close() noexcept = 0;

    /// Sets the line, where there is one.
    [[nodiscard]] virtual PvResult configure(const PvSerialPortConfiguration& configuration) = 0;
    /// Makes it work again after it has gone. NotFound and the like where it cannot.
    [[nodiscard]] virtual PvResult recover() = 0;
};

}  // namespace vex::bridge
