// What goes out to open a firewall, and when.
#include "sdk/stream_core/firewall_opener.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <optional>

#include "sdk/net/known_path.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using stream::FirewallOpener;

constexpr Ipv4Address here{0x7F000001};

class Firewall : public testing::Test {
protected:
    /// Whether a packet came to `socket` from the stream's port.
    [[nodiscard]] bool is_reached(net::UdpSocket& socket) const
    {
        std::array<std::uint8_t, 64> bytes{};
        const auto received = socket.receive(bytes, 0ms);
        return received.has_value() && received->source.port == stream_.local().port;
    }
    void tend() { opener.tend(stream_, here, 2, now); }
    void know(std::uint16_t port) { net::note_stream_source(here, 2, port); }

    net::KnownPath path{here, here};
    net::UdpSocket camera = net::UdpSocket::open({here, 0});
    FirewallOpener opener;
    net::Clock::time_point now{100s};

private:
    net::UdpSocket stream_ = net::UdpSocket::open({here, 0});
};

TEST_F(Firewall, IsOpenedAsSoonAsThePortIsKnown)
{
    tend();
    EXPECT_FALSE(is_reached(camera));
    know(camera.local().port);
    now += FirewallOpener::look;
    tend();
    EXPECT_TRUE(is_reached(camera));
    now += FirewallOpener::look;
    tend();
    EXPECT_FALSE(is_reached(camera));
}

TEST_F(Firewall, IsOpenedAgainInIntervals)
{
    know(camera.local().port);
    tend();
    ASSERT_TRUE(is_reached(camera));
    now += FirewallOpener::interval - 1us;
    tend();
    EXPECT_FALSE(is_reached(camera));
    now += FirewallOpener::look;
    tend();
    EXPECT_TRUE(is_reached(camera));
}

TEST_F(Firewall, IsOpenedForAnotherPortAtOnce)
{
    net::UdpSocket other = net::UdpSocket::open({here, 0});
    know(camera.local().port);
    tend();
    know(other.local().port);
    now += FirewallOpener::look;
    tend();
    EXPECT_TRUE(is_reached(other));
}

}  // namespace
