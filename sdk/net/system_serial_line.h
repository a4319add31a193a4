// The part of a serial line that each system does in its own way. Only for this folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <system_error>

#include "sdk/net/deadline.h"
#include "sdk/net/serial_line.h"

namespace vex::net {

/// An open line, which destruction closes. Members as SerialLine's; wake() from any thread.
class SystemSerialLine {
public:
    SystemSerialLine() = default;
    SystemSerialLine(const SystemSerialLine&) = delete;
    SystemSerialLine& operator=(const SystemSerialLine&) = delete;
    virtual ~SystemSerialLine() = default;

    virtual std::error_code configure(const SerialSettings& settings) noexcept = 0;
    virtual std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline,
                             std::error_code& error) noexcept = 0;
    virtual std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                              std::error_code& error) noexcept = 0;
    virtual std::error_code discard_input() noexcept = 0;
    virtual std::error_code check() noexcept = 0;
    [[nodiscard]] virtual LineErrors errors() noexcept = 0;
    /// From now on reads and writes, those under way too, end with operation_canceled.
    virtual void wake() noexcept = 0;
};

[[nodiscard]] std::unique_ptr<SystemSerialLine> open_system_line(const std::string& name,
                                                                 const SerialSettings& settings);

}  // namespace vex::net
