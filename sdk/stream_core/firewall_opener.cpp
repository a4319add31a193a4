#include "sdk/stream_core/firewall_opener.h"

#include <array>

#include "sdk/net/known_path.h"

namespace vex::stream {

void FirewallOpener::tend(net::UdpSocket& socket, Ipv4Address device, std::uint32_t channel, time_point now)
{
    if (now < looked_ + look) {
        return;
    }
    looked_ = now;
    const std::uint16_t port = net::known_stream_source(device, channel);
    if (port == 0 || (port == port_ && now < sent_ + interval)) {
        return;
    }
    port_ = port;
    sent_ = now;
    static constexpr std::array<std::uint8_t, 8> nothing{};
    static_cast<void>(socket.send_to({device, port}, nothing));
}

}  // namespace vex::stream
