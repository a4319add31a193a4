// A pipe between two programs, which carries bytes both ways: a named pipe of Windows, a Unix socket elsewhere, or a
// TCP connection.
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

class SystemPipe;

/// One end of a pipe.
///
/// Reads and writes report timed_out at the end of their time, operation_canceled once this end is closed, and
/// connection_reset once the other program has ended the pipe and what it sent before was read.
///
/// Thread safety: one thread may read while another writes and any thread closes.
class Pipe {
public:
    /// Goes to the program that serves the name. Throws std::system_error: no_such_file_or_directory or
    /// connection_refused when nobody does, device_or_resource_busy when it is known to serve somebody else, and
    /// still does after a second, permission_denied when the name is another user's, timed_out.
    [[nodiscard]] static std::shared_ptr<Pipe> connect(const PipeName& name, std::chrono::milliseconds timeout);

    explicit Pipe(std::unique_ptr<SystemPipe> system);
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe();

    /// Ends reads and writes under way, waits until they have ended, and lets the other program see the end.
    void close() noexcept;

    /// Waits up to `timeout` until at least one byte is there; how many were stored.
    std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds timeout, std::error_code& error) noexcept;
    /// Waits up to `timeout` until all have been taken for sending; how many were.
    std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds timeout,
                      std::error_code& error) noexcept;

private:
    friend class PipeServer;

    Closable<SystemPipe> system_;
};

/// The serving end of a pipe, for one program after the other. Others that come meanwhile are told that it is busy
/// (Windows pipes) or their connection is ended at once, as soon as somebody reads here.
///
/// Reads and writes are those of Pipe with the program that was accepted last, and report not_connected before the
/// first.
///
/// Thread safety: one thread may read or accept while another writes and any thread closes.
class PipeServer {
public:
    /// Serves a name, for this user's programs where it is no TCP port. Throws std::system_error: address_in_use when
    /// somebody serves it already, address_not_available, permission_denied.
    [[nodiscard]] static std::shared_ptr<PipeServer> serve(const PipeName& name);

    PipeServer(PipeName name, std::unique_ptr<SystemPipe> system);

    /// The name, with the port that the system chose.
    [[nodiscard]] const PipeName& name() const noexcept { return name_; }

    /// Parts from the program of before, and waits up to `timeout` for another one. No error, timed_out or
    /// operation_canceled.
    std::error_code accept(std::chrono::milliseconds timeout) noexcept;
    /// Parts from the program, if there is one: reads and writes end as when it had gone.
    void part() noexcept;

    void close() noexcept { pipe_.close(); }
    std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds timeout, std::error_code& error) noexcept
    {
        return pipe_.read(bytes, timeout, error);
    }
    std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds timeout,
                      std::error_code& error) noexcept
    {
        return pipe_.write(bytes, timeout, error);
    }

private:
    const PipeName name_;
    Pipe pipe_;
};

}  // namespace vex::net
