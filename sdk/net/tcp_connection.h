// A TCP connection to a server: with udp_socket, packet_receiver and interfaces the one place that knows the operating
// system's socket calls.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "sdk/base/address.h"

namespace vex::net {

/// An owned connection to an IPv4 server. Every call is bounded by a time that the caller gives.
///
/// Thread safety: none; distinct connections are independent.
class TcpConnection {
public:
    TcpConnection() noexcept = default;
    TcpConnection(TcpConnection&& other) noexcept;
    TcpConnection& operator=(TcpConnection&& other) noexcept;
    TcpConnection(const TcpConnection&) = delete;
    TcpConnection& operator=(const TcpConnection&) = delete;
    ~TcpConnection();

    /// Connects. Throws std::system_error, naming the server, when it refuses or does not answer within `timeout`.
    [[nodiscard]] static TcpConnection open(const Endpoint& server, std::chrono::milliseconds timeout);

    [[nodiscard]] bool is_open() const noexcept { return handle_ != invalid_handle; }
    void close() noexcept;
    /// Gives the system's socket, which is non-blocking, to the caller.
    [[nodiscard]] std::uintptr_t release() noexcept { return std::exchange(handle_, invalid_handle); }

    /// Sends all of it; timed_out when the server does not take it in time.
    std::error_code send(std::span<const std::uint8_t> data, std::chrono::milliseconds timeout) noexcept;

    /// Waits up to `timeout` for data and returns how many bytes there were; 0 without an error when the server has
    /// ended the connection, 0 with one (timed_out, connection_reset, ...) otherwise.
    std::size_t receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout,
                        std::error_code& error) noexcept;

private:
    using Handle = std::uintptr_t;
    static constexpr Handle invalid_handle = ~Handle{0};
    explicit TcpConnection(Handle handle) noexcept : handle_(handle) {}

    Handle handle_ = invalid_handle;
};

/// The first IPv4 address of a host, by its name or in dotted decimal; empty when it has none. Asks the system's name
/// service, which has time limits of its own, usually some seconds.
[[nodiscard]] std::optional<Ipv4Address> address_of_host(const std::string& host);

}  // namespace vex::net
