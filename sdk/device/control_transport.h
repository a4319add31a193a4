// What a control channel sends and receives through: a UDP socket, or a script in a test.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <system_error>

#include "sdk/net/address.h"
#include "sdk/net/udp_socket.h"

namespace device {

/// Datagrams to one device and back.
///
/// Thread safety: send and receive are called by one thread at a time.
class ControlTransport {
public:
    virtual ~ControlTransport() = default;

    virtual std::error_code send(std::span<const std::uint8_t> datagram) noexcept = 0;
    /// Waits up to `timeout`, at least 1 ms, or less for the next datagram, whoever sent it; empty when none came.
    virtual std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                                 std::chrono::milliseconds timeout) noexcept = 0;

    [[nodiscard]] virtual net::Endpoint device() const noexcept = 0;
    /// This end; the address that the device sees when there is no translation on the way.
    [[nodiscard]] virtual net::Endpoint local() const noexcept = 0;
};

/// The transport over a socket of its own, which lets through only what comes from the device.
class UdpControlTransport final : public ControlTransport {
public:
    /// The longest wait of one receive: whoever closes a channel waits that long for an exchange under way.
    static constexpr std::chrono::milliseconds longest_wait{20};

    /// Binds to `local`, or to the address from which the system reaches the device when that is 0.0.0.0. Throws
    /// std::system_error when the socket cannot be opened or the device not be reached from there.
    UdpControlTransport(const net::Endpoint& device, net::Ipv4Address local);

    std::error_code send(std::span<const std::uint8_t> datagram) noexcept override;
    std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                         std::chrono::milliseconds timeout) noexcept override;
    [[nodiscard]] net::Endpoint device() const noexcept override { return device_; }
    [[nodiscard]] net::Endpoint local() const noexcept override { return local_; }

private:
    net::Endpoint device_;
    net::UdpSocket socket_;
    net::Endpoint local_;
};

}  // namespace device
