// The ports that a search has on the host's real interfaces.
#include "sdk/control/search_network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/net/wine.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;

net::Interface loopback_interface(std::uint8_t last)
{
    return {"lo", "", device_test::loopback(last), {0xFF000000}, {}, {}, 65536, true};
}

TEST(SearchPorts, ABusyInterfaceDoesNotKeepTheOthersWaiting)
{
    if (!device_test::has_loopback_addresses()) {
        GTEST_SKIP() << "the interfaces of this test are not told apart here";
    }
    const std::array hosts = {loopback_interface(40), loopback_interface(41)};
    const auto ports = control::SearchNetwork::system().open(hosts, false);
    ASSERT_TRUE(ports->unusable().empty());

    // what the ports send tells where they are
    auto peer = net::UdpSocket::open({device_test::loopback(42), 0});
    std::array<Endpoint, 2> ends;
    Bytes buffer(16);
    for (std::size_t i = 0; i < ends.size(); ++i) {
        ASSERT_FALSE(ports->send(i, peer.local(), Bytes{1}));
        const auto received = peer.receive(buffer, 10s);
        ASSERT_TRUE(received);
        ends[i] = received->source;
        EXPECT_EQ(ends[i].address, hosts[i].address);
    }
    for (int n = 0; n < 50; ++n) {
        ASSERT_FALSE(peer.send_to(ends[0], Bytes{2}));
    }
    ASSERT_FALSE(peer.send_to(ends[1], Bytes{3, 3}));

    int before = 0;
    for (auto arrival = ports->receive(buffer, 10s); arrival; arrival = ports->receive(buffer, 10s)) {
        if (arrival->interface_index == 1) {
            EXPECT_EQ(arrival->size, 2U);
            break;
        }
        ++before;
    }
    EXPECT_LE(before, 2);
}

TEST(SearchPorts, TellWhichInterfacesHaveNone)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    const std::array hosts = {loopback_interface(1),
                              net::Interface{"eth7", "", {0xC0000201}, {0xFFFFFF00}, {}, {}, 0, false}};
    const auto ports = control::SearchNetwork::system().open(hosts, true);
    ASSERT_EQ(ports->unusable().size(), 1U);
    EXPECT_EQ(ports->unusable()[0].interface_index, 1U);
    EXPECT_NE(ports->unusable()[0].reason.find("192.0.2.1"), std::string::npos);
    EXPECT_TRUE(ports->send(1, {loopback_address, 9}, Bytes{1}));
}

}  // namespace
