// The part of a pipe that each system does in its own way. Only for this folder.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <system_error>

#include "sdk/net/deadline.h"
#include "sdk/net/pipe_name.h"

namespace vex::net {

/// An end of a pipe, which destruction closes. Members as those of Pipe and PipeServer; wake() from any thread.
class SystemPipe {
public:
    SystemPipe() = default;
    SystemPipe(const SystemPipe&) = delete;
    SystemPipe& operator=(const SystemPipe&) = delete;
    virtual ~SystemPipe() = default;

    virtual std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline,
                             std::error_code& error) noexcept = 0;
    virtual std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                              std::error_code& error) noexcept = 0;
    /// From now on every call, those under way too, ends with operation_canceled.
    virtual void wake() noexcept = 0;

    /// Of a serving end only.
    virtual std::error_code accept(const Deadline&) noexcept
    {
        return std::make_error_code(std::errc::operation_not_supported);
    }
    virtual void part() noexcept {}
};

[[nodiscard]] std::unique_ptr<SystemPipe> connect_system_pipe(const PipeName& name, std::chrono::milliseconds timeout);
/// `name` gets the port that the system chose.
[[nodiscard]] std::unique_ptr<SystemPipe> serve_system_pipe(PipeName& name);

}  // namespace vex::net
