// What the host's end of a message channel receives from and acknowledges through: a UDP socket, or a script in a test.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/address.h"
#include "sdk/net/udp_socket.h"

namespace vex::control {

/// Thread safety: receive and send are called by one thread at a time; wake and local from any.
class MessageSocket {
public:
    virtual ~MessageSocket() = default;

    /// Waits up to `timeout` for the next datagram, whoever sent it; empty on timeout.
    virtual std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                                 std::chrono::milliseconds timeout) noexcept = 0;
    /// False when it could not be sent.
    virtual bool send(const Endpoint& destination, std::span<const std::uint8_t> datagram) noexcept = 0;
    /// Lets a receive that waits return soon, with an empty datagram from this end itself.
    virtual void wake() noexcept = 0;
    /// What the device is told to send to.
    [[nodiscard]] virtual Endpoint local() const noexcept = 0;
};

class UdpMessageSocket final : public MessageSocket {
public:
    /// Binds to `local`, on a port that the system chooses; when that is 0.0.0.0, to the address that the system's
    /// routes use towards the device. Throws std::system_error when the socket cannot be opened.
    UdpMessageSocket(Ipv4Address device, Ipv4Address local);

    std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                         std::chrono::milliseconds timeout) noexcept override;
    bool send(const Endpoint& destination, std::span<const std::uint8_t> datagram) noexcept override;
    void wake() noexcept override;
    [[nodiscard]] Endpoint local() const noexcept override { return local_; }

private:
    net::UdpSocket socket_;
    Endpoint local_;
};

}  // namespace vex::control
