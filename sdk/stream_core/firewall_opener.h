// Packets towards the camera that let its stream through a firewall of this host.
#pragma once

#include <chrono>
#include <cstdint>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"

namespace vex::stream {

/// A firewall lets packets in that answer some that went out. What a camera sends to a stream answers nothing, so a
/// small packet goes from the stream's port to the port that the camera sends from, as soon as that is known and again
/// in intervals well below the time for which firewalls remember. Cameras discard it.
///
/// Not thread-safe.
class FirewallOpener {
public:
    using time_point = net::Clock::time_point;

    /// Sends what is due. Cheap when nothing is.
    void tend(net::UdpSocket& socket, Ipv4Address device, std::uint32_t channel, time_point now);

    static constexpr std::chrono::seconds interval{10};
    /// How often it is looked whether the port has become known, or another.
    static constexpr std::chrono::milliseconds look{20};

private:
    time_point looked_;
    time_point sent_;
    std::uint16_t port_ = 0;
};

}  // namespace vex::stream
