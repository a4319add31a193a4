#include "sdk/device/control_transport.h"

#include <algorithm>

#include "sdk/net/interfaces.h"

namespace device {

UdpControlTransport::UdpControlTransport(const net::Endpoint& device, net::Ipv4Address local)
    : device_(device),
      socket_(net::UdpSocket::open({local.is_any() ? net::local_address_towards(device.address) : local, 0})),
      local_(socket_.local())
{
    if (const std::error_code error = socket_.connect(device))
        throw std::system_error(error, "cannot reach " + device.to_string() + " from " + local_.to_string());
}

std::error_code UdpControlTransport::send(std::span<const std::uint8_t> datagram) noexcept
{
    return socket_.send(datagram);
}

std::optional<net::Received> UdpControlTransport::receive(std::span<std::uint8_t> buffer,
                                                          std::chrono::milliseconds timeout) noexcept
{
    return socket_.receive(buffer, std::min(timeout, longest_wait));
}

}  // namespace device
