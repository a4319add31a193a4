#include "sdk/control/control_transport.h"

#include "sdk/control/datagram_tap.h"
#include "sdk/net/interfaces.h"

namespace vex::control {

namespace {

net::UdpSocket open_socket(Ipv4Address device, Ipv4Address local, std::uint16_t port)
{
    if (local.is_any()) {
        return net::UdpSocket::open({net::local_address_towards(device), port});
    }
    return net::UdpSocket::open({local, port}, {.stay_on_interface = true});
}

}  // namespace

UdpControlTransport::UdpControlTransport(const Endpoint& device, Ipv4Address local, std::uint16_t port)
    : device_(device), socket_(open_socket(device.address, local, port)), local_(socket_.local())
{}

std::error_code UdpControlTransport::send(std::span<const std::uint8_t> datagram) noexcept
{
    const std::error_code error = socket_.send_to(device_, datagram);
    if (!error) {
        tap::write(local_, device_, datagram);
    }
    return error;
}

std::optional<net::Received> UdpControlTransport::receive(std::span<std::uint8_t> buffer,
                                                          std::chrono::milliseconds timeout) noexcept
{
    const auto received = socket_.receive(buffer, timeout);
    if (received && received->source != local_) {  // wake() sends to this socket itself
        tap::write(received->source, local_, buffer.first(received->size));
    }
    return received;
}

void UdpControlTransport::wake() noexcept
{
    // an empty datagram to this socket ends the wait; it answers nothing, so an exchange that goes on is not disturbed
    socket_.send_to(local_, {});
}

}  // namespace vex::control
