#include <gtest/gtest.h>

#include <algorithm>

#include "sdk/net/clock.h"
#include "sdk/net/interfaces.h"

using namespace vex;

namespace {

TEST(Interfaces, ListLoopbackWithItsMask)
{
    const auto interfaces = net::list_interfaces();
    const auto loopback = std::ranges::find(interfaces, loopback_address, &net::Interface::address);
    ASSERT_NE(loopback, interfaces.end());
    EXPECT_TRUE(loopback->loopback);
    EXPECT_EQ(loopback->mask.to_string(), "255.0.0.0");
    EXPECT_TRUE(loopback->mac.is_zero());
    EXPECT_FALSE(loopback->id.empty());
    EXPECT_FALSE(loopback->description.empty());
}

TEST(Interfaces, HaveAddressAndContiguousMask)
{
    for (const net::Interface& one : net::list_interfaces()) {
        EXPECT_FALSE(one.address.is_any()) << one.id;
        const std::uint32_t host_part = ~one.mask.value;
        EXPECT_EQ(host_part & (host_part + 1), 0U) << one.id << ' ' << one.mask.to_string();
        EXPECT_EQ(one.loopback, one.address.is_loopback()) << one.id;
    }
}

TEST(Interfaces, AreTheSameWhenAskedTwice) { EXPECT_EQ(net::list_interfaces(), net::list_interfaces()); }

TEST(LocalAddressTowards, LoopbackIsReachedFromLoopback)
{
    EXPECT_TRUE(net::local_address_towards(*Ipv4Address::parse("127.3.2.1")).is_loopback());
}

TEST(LocalAddressTowards, EachInterfaceReachesItsOwnSubnetFromItself)
{
    for (const net::Interface& one : net::list_interfaces()) {
        // nothing to be reached in a host route, and all of loopback is one address's neighbourhood
        if (one.loopback || one.mask.value >= 0xFFFFFFFE) {
            continue;
        }
        const Ipv4Address neighbour{one.address.value ^ 1};
        const Ipv4Address local = net::local_address_towards(neighbour);
        EXPECT_TRUE(same_subnet(local, one.address, one.mask)) << one.id << ' ' << local.to_string();
    }
}

TEST(SteadyClock, NeverGoesBack)
{
    const net::Clock& clock = net::Clock::steady();
    const auto first = clock.now();
    EXPECT_GE(clock.now(), first);
    EXPECT_EQ(&clock, &net::Clock::steady());
}

}  // namespace
