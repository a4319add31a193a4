#include "sdk/net/known_path.h"

#include <gtest/gtest.h>

#include <optional>

using namespace vex;

namespace {

constexpr Ipv4Address camera{0xA9FE1401};
constexpr Ipv4Address other_camera{0xA9FE1402};
constexpr Ipv4Address first{0xA9FE0A01};
constexpr Ipv4Address second{0xA9FE0A02};

TEST(KnownPath, IsKnownForItsPeerWhileItLives)
{
    EXPECT_TRUE(net::known_local_address_towards(camera).is_any());
    {
        const net::KnownPath path(camera, first);
        const net::KnownPath other(other_camera, second);
        EXPECT_EQ(net::known_local_address_towards(camera), first);
        EXPECT_EQ(net::known_local_address_towards(other_camera), second);
    }
    EXPECT_TRUE(net::known_local_address_towards(camera).is_any());
}

TEST(KnownPath, TheNewestOfSeveralCounts)
{
    std::optional<net::KnownPath> older;
    std::optional<net::KnownPath> newer;
    older.emplace(camera, first);
    newer.emplace(camera, second);
    EXPECT_EQ(net::known_local_address_towards(camera), second);
    newer.reset();
    EXPECT_EQ(net::known_local_address_towards(camera), first);
    newer.emplace(camera, second);
    older.reset();
    EXPECT_EQ(net::known_local_address_towards(camera), second);
}

TEST(KnownPath, TellsWhetherThePeerIsControlled)
{
    const net::KnownPath watching(camera, first);
    EXPECT_FALSE(net::is_controlled_from_here(camera));
    {
        const net::KnownPath other(other_camera, first, true);
        EXPECT_FALSE(net::is_controlled_from_here(camera));
        const net::KnownPath controlling(camera, second, true);
        EXPECT_TRUE(net::is_controlled_from_here(camera));
    }
    EXPECT_FALSE(net::is_controlled_from_here(camera));
}

TEST(KnownPath, KeepsThePortsThatStreamsComeFrom)
{
    net::note_stream_source(camera, 0, 1111);
    EXPECT_EQ(net::known_stream_source(camera, 0), 0U) << "there is no path";
    {
        const net::KnownPath path(camera, first);
        const net::KnownPath other(other_camera, first);
        net::note_stream_source(camera, 1, 50001);
        EXPECT_EQ(net::known_stream_source(camera, 1), 50001U);
        EXPECT_EQ(net::known_stream_source(camera, 0), 0U);
        EXPECT_EQ(net::known_stream_source(other_camera, 1), 0U);
        net::note_stream_source(camera, 1, 0);
        EXPECT_EQ(net::known_stream_source(camera, 1), 0U);
        net::note_stream_source(camera, 1, 50001);
    }
    EXPECT_EQ(net::known_stream_source(camera, 1), 0U);
}

TEST(KnownPath, KeepsTheSizesOfPacketsThatWereNegotiated)
{
    {
        const net::KnownPath path(camera, first);
        const net::KnownPath other(other_camera, first);
        net::note_packet_size(camera, 1, 9000);
        net::note_stream_source(camera, 1, 50001);
        EXPECT_EQ(net::known_packet_size(camera, 1), 9000U);
        EXPECT_EQ(net::known_packet_size(camera, 0), 0U);
        EXPECT_EQ(net::known_packet_size(other_camera, 1), 0U);
    }
    EXPECT_EQ(net::known_packet_size(camera, 1), 0U);
}

}  // namespace
