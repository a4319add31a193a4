#include "sdk/control/message_socket.h"

#include "sdk/control/datagram_tap.h"
#include "sdk/net/interfaces.h"

namespace vex::control {

namespace {

/// Events come in bursts, at each line of a fast camera say.
constexpr int receive_buffer_bytes = 1 << 20;

net::UdpSocket open_socket(Ipv4Address device, Ipv4Address local)
{
    const Ipv4Address address = local.is_any() ? net::local_address_towards(device) : local;
    return net::UdpSocket::open({address, 0},
                                {.stay_on_interface = !local.is_any(), .receive_buffer_bytes = receive_buffer_bytes});
}

}  // namespace

UdpMessageSocket::UdpMessageSocket(Ipv4Address device, Ipv4Address local)
    : socket_(open_socket(device, local)), local_(socket_.local())
{}

std::optional<net::Received> UdpMessageSocket::receive(std::span<std::uint8_t> buffer,
                                                       std::chrono::milliseconds timeout) noexcept
{
    const auto received = socket_.receive(buffer, timeout);
    if (received && received->source != local_) {  // wake() sends to this socket itself
        tap::write(received->source, local_, buffer.first(received->size));
    }
    return received;
}

bool UdpMessageSocket::send(const Endpoint& destination, std::span<const std::uint8_t> datagram) noexcept
{
    if (socket_.send_to(destination, datagram)) {
        return false;
    }
    tap::write(local_, destination, datagram);
    return true;
}

void UdpMessageSocket::wake() noexcept { socket_.send_to(local_, {}); }

}  // namespace vex::control
