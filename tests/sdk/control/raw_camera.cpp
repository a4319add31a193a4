#include "tests/sdk/control/raw_camera.h"

#include <array>
#include <system_error>
#include <utility>
#include <vector>

using namespace vex;

namespace device_test {

bool has_loopback_addresses()
{
    static const bool has = [] {
        auto receiver = net::UdpSocket::open({loopback_address, 0});
        auto sender = net::UdpSocket::open({{0x7F00001D}, 0});
        const Bytes datagram = {1};
        sender.send_to(receiver.local(), datagram);
        Bytes buffer(16);
        const auto received = receiver.receive(buffer, std::chrono::seconds(1));
        return received && received->source.address.value == 0x7F00001D;
    }();
    return has;
}

Ipv4Address loopback(std::uint8_t last)
{
    return has_loopback_addresses() ? Ipv4Address{0x7F000000U | last} : loopback_address;
}

RawCamera::RawCamera(RawCameraOptions options) : RawDevice(std::move(options))
{
    net::UdpOptions socket_options;
    socket_options.broadcast = true;
    // two cameras at one address would be a mistake, except where the sockets for broadcasts count as such
    socket_options.reuse_address = !has_loopback_addresses();
    unicast_ = net::UdpSocket::open({RawDevice::options().address, 3956}, socket_options);
    socket_options.reuse_address = true;
    const auto open = [&](Ipv4Address broadcast) {
        try {
            return net::UdpSocket::open({broadcast, 3956}, socket_options);
        } catch (const std::system_error&) {
            return net::UdpSocket();
        }
    };
    directed_ = open({0x7FFFFFFF});
    limited_ = open({0xFFFFFFFF});
    thread_ = std::thread([this] { run(); });
}

RawCamera::~RawCamera()
{
    stop_ = true;
    unicast_.send_to(unicast_.local(), {});
    thread_.join();
}

void RawCamera::run()
{
    std::array<std::uint8_t, 2048> buffer;
    std::vector<net::UdpSocket*> sockets;
    for (net::UdpSocket* socket : {&unicast_, &directed_, &limited_}) {
        if (socket->is_open()) {
            sockets.push_back(socket);
        }
    }
    while (!stop_) {
        const auto ready = net::wait_readable(sockets, std::chrono::seconds(1));
        if (!ready) {
            continue;
        }
        const auto received = sockets[*ready]->receive(buffer, std::chrono::milliseconds(0));
        if (!received) {
            continue;
        }
        const Bytes request(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(received->size));
        for (const Bytes& bytes : answers(request, received->source)) {
            unicast_.send_to(received->source, bytes);
        }
    }
}

void RawCamera::send_test_packet(const Endpoint& destination, const Bytes& packet)
{
    unicast_.send_to(destination, packet);
}

}  // namespace device_test
