#include <gtest/gtest.h>

#include <string>

#include "sdk/base/address.h"

using namespace vex;

namespace {

TEST(Ipv4Address, ReadsAndWritesDottedDecimal)
{
    for (const std::string text : {"0.0.0.0", "127.0.0.1", "192.168.7.50", "255.255.255.255", "1.20.30.4"}) {
        const auto address = Ipv4Address::parse(text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(address->to_string(), text);
    }
    EXPECT_EQ(Ipv4Address::parse("192.168.7.50")->value, 0xC0A80732U);
    EXPECT_EQ(Ipv4Address::parse("010.001.000.009")->to_string(), "10.1.0.9");
}

TEST(Ipv4Address, RejectsEverythingElse)
{
    for (const char* text : {"", "1", "1.2.3", "1.2.3.", "1.2.3.4.", "1.2.3.4.5", "256.1.1.1", "1.2.3.-4", "1.2.3.+4",
                             " 1.2.3.4", "1.2.3.4 ", "1..2.3", "0001.2.3.4", "a.b.c.d", "1.2.3.4x", "0x1.2.3.4",
                             "99999999999.1.1.1", "1,2,3,4", "::1"}) {
        EXPECT_FALSE(Ipv4Address::parse(text)) << '"' << text << '"';
    }
    EXPECT_FALSE(Ipv4Address::parse(std::string_view("1.2.3.4\0", 8)));
}

TEST(Ipv4Address, KnowsItsRanges)
{
    EXPECT_TRUE(any_address.is_any());
    EXPECT_TRUE(Ipv4Address::parse("127.9.8.7")->is_loopback());
    EXPECT_FALSE(Ipv4Address::parse("128.0.0.1")->is_loopback());
    EXPECT_TRUE(Ipv4Address::parse("224.0.0.1")->is_multicast());
    EXPECT_TRUE(Ipv4Address::parse("239.255.255.255")->is_multicast());
    EXPECT_FALSE(Ipv4Address::parse("240.0.0.0")->is_multicast());
    EXPECT_FALSE(limited_broadcast.is_multicast());
}

TEST(Ipv4Address, SubnetAndItsBroadcastFollowFromTheMask)
{
    const Ipv4Address address = *Ipv4Address::parse("169.254.3.4");
    const Ipv4Address mask = *Ipv4Address::parse("255.255.0.0");
    EXPECT_EQ(directed_broadcast(address, mask).to_string(), "169.254.255.255");
    EXPECT_TRUE(same_subnet(address, *Ipv4Address::parse("169.254.200.1"), mask));
    EXPECT_FALSE(same_subnet(address, *Ipv4Address::parse("169.253.3.4"), mask));
}

TEST(MacAddress, ReadsTheUsualSpellingsAndWritesColons)
{
    EXPECT_EQ(MacAddress::parse("00:11:22:33:44:aA")->to_string(), "00:11:22:33:44:aa");
    EXPECT_EQ(MacAddress::parse("FE-DC-BA-98-76-54")->to_string(), "fe:dc:ba:98:76:54");
    EXPECT_EQ(MacAddress::parse("fedc.ba98.7654")->to_string(), "fe:dc:ba:98:76:54");
    EXPECT_EQ(MacAddress::parse("FEDCBA987654")->to_string(), "fe:dc:ba:98:76:54");
    EXPECT_TRUE(MacAddress::parse("00:00:00:00:00:00")->is_zero());
    EXPECT_FALSE(MacAddress::parse("00:00:00:00:00:01")->is_zero());
}

TEST(MacAddress, RejectsEverythingElse)
{
    for (const char* text :
         {"", "00:11:22:33:44", "00:11:22:33:44:5", "00:11:22:33:44:55:", "00:11:22:33:44:5g", "00112233445",
          "0011223344556", "00112233445g", "00.11.22.33.44.55", "0011.2233:4455", "0011-2233-4455", "0011.2233.445",
          "00:11-22:33:44:55", "00:11:22:33:4455", " 0:11:22:33:44:55"}) {
        EXPECT_FALSE(MacAddress::parse(text)) << '"' << text << '"';
    }
}

TEST(Endpoint, IsWrittenAsAddressAndPort)
{
    EXPECT_EQ((Endpoint{loopback_address, 3956}).to_string(), "127.0.0.1:3956");
}

}  // namespace
