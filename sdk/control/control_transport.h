// What a control channel sends and receives through: a UDP socket, or a script in a test.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <system_error>

#include "sdk/base/address.h"
#include "sdk/net/udp_socket.h"

namespace vex::control {

/// Datagrams to one device and from anywhere.
///
/// Thread safety: send and receive are called by one thread at a time; wake from any.
class ControlTransport {
public:
    virtual ~ControlTransport() = default;

    virtual std::error_code send(std::span<const std::uint8_t> datagram) noexcept = 0;
    /// Waits up to `timeout`, at least 1 ms, for the next datagram, whoever sent it; empty on timeout.
    virtual std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                                 std::chrono::milliseconds timeout) noexcept = 0;
    /// Lets a receive that waits return soon, as if some datagram had come.
    virtual void wake() noexcept = 0;
    /// Nothing can be sent or received any more. While nobody uses it.
    virtual void close() noexcept {}

    [[nodiscard]] virtual Endpoint device() const noexcept = 0;
    /// This end; the address that the device sees when there is no translation on the way.
    [[nodiscard]] virtual Endpoint local() const noexcept = 0;
};

/// The transport over a socket of its own.
class UdpControlTransport final : public ControlTransport {
public:
    /// Binds to `local` and sends by the interface that has it; when that is 0.0.0.0 the system's routes decide on
    /// both. `port` 0 lets the system choose one. Throws std::system_error when the socket cannot be opened.
    UdpControlTransport(const Endpoint& device, Ipv4Address local, std::uint16_t port = 0);

    std::error_code send(std::span<const std::uint8_t> datagram) noexcept override;
    std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                         std::chrono::milliseconds timeout) noexcept override;
    void wake() noexcept override;
    void close() noexcept override { socket_.close(); }
    [[nodiscard]] Endpoint device() const noexcept override { return device_; }
    [[nodiscard]] Endpoint local() const noexcept override { return local_; }

private:
    Endpoint device_;
    net::UdpSocket socket_;
    Endpoint local_;
};

}  // namespace vex::control
