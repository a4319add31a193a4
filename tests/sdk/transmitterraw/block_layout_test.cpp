#include "sdk/transmitterraw/block_layout.h"

#include <gtest/gtest.h>

#include <array>

#include "sdk/transmitterraw/block_transmitter.h"

using namespace vex;
using transmitter::Block;
using transmitter::BlockLayout;
namespace gvsp = wire::gvsp;

namespace {

constexpr std::uint32_t packet_size = 576;  // 540 data bytes; 520 of a part with extended IDs

/// A block of a type whose bytes do not matter.
class Layout : public testing::Test {
protected:
    std::optional<BlockLayout> of(std::uint16_t type, std::size_t bytes, bool extended_ids = false)
    {
        data.assign(bytes, 0);
        block.leader.payload_type = block.trailer.payload_type = type;
        block.data = data;
        return BlockLayout::of(block, packet_size, extended_ids);
    }
    std::optional<BlockLayout> of_parts(const std::vector<std::size_t>& lengths, std::size_t bytes)
    {
        records.assign(lengths.size() * gvsp::part_size, 0);
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            gvsp::Part part;
            part.length = lengths[i];
            gvsp::encode_part(part, std::span(records).subspan(i * gvsp::part_size));
        }
        block.leader.parts = records;
        return of(gvsp::payload_type::multi_part, bytes, true);
    }

    Block block;
    std::vector<std::uint8_t> data;
    std::vector<std::uint8_t> records;
};

}  // namespace

TEST_F(Layout, PiecesFollowOneAnother)
{
    const auto layout = of(gvsp::payload_type::raw_data, 1200);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->last_packet(), 4U);
    EXPECT_EQ(layout->piece(1).offset, 0U);
    EXPECT_EQ(layout->piece(1).size, 540U);
    EXPECT_EQ(layout->piece(3).offset, 1080U);
    EXPECT_EQ(layout->piece(3).size, 120U);
    EXPECT_EQ(layout->data_bytes(0, 0), 0U);
    EXPECT_EQ(layout->data_bytes(0, 1), 540U);
    EXPECT_EQ(layout->data_bytes(2, 3), 660U);
    EXPECT_EQ(layout->data_bytes(0, 4), 1200U);
    EXPECT_EQ(layout->data_bytes(4, 4), 0U);
}

TEST_F(Layout, APacketHoldsDataOfOnePartOnly)
{
    const auto layout = of_parts({520, 0, 1040, 7}, 1567);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->last_packet(), 5U);
    const auto first = layout->piece(1);
    EXPECT_EQ(first.part, 0U);
    EXPECT_EQ(first.size, 520U);
    EXPECT_TRUE(first.ends_part) << "exactly full";
    const auto second = layout->piece(2);
    EXPECT_EQ(second.part, 2U) << "an empty part has no packet";
    EXPECT_EQ(second.offset, 520U);
    EXPECT_EQ(second.in_part, 0U);
    EXPECT_FALSE(second.ends_part);
    EXPECT_EQ(layout->piece(3).in_part, 520U);
    EXPECT_TRUE(layout->piece(3).ends_part);
    EXPECT_EQ(layout->piece(4).part, 3U);
    EXPECT_EQ(layout->piece(4).size, 7U);
    EXPECT_EQ(layout->data_bytes(2, 4), 1047U);
}

TEST_F(Layout, PartsMustBeAsLongAsTheDataAndNeedLongIds)
{
    EXPECT_FALSE(of_parts({100, 100}, 199));
    EXPECT_FALSE(of_parts({100, 100}, 201));
    EXPECT_TRUE(of_parts({100, 100}, 200));
    EXPECT_FALSE(BlockLayout::of(block, packet_size, false));
}

TEST_F(Layout, AllInHoldsLeaderTrailerAndData)
{
    block.all_in = true;
    block.leader.payload_size = 0;
    // 20 bytes of leader and 4 of trailer leave 516
    auto layout = of(gvsp::payload_type::raw_data, 516);
    ASSERT_TRUE(layout);
    EXPECT_TRUE(layout->all_in());
    EXPECT_EQ(layout->last_packet(), 0U);
    EXPECT_EQ(layout->data_bytes(0, 0), 516U);
    layout = of(gvsp::payload_type::raw_data, 517);
    ASSERT_TRUE(layout);
    EXPECT_FALSE(layout->all_in());
    EXPECT_EQ(layout->last_packet(), 2U);
    EXPECT_FALSE(of(gvsp::payload_type::raw_data, 0)->all_in()) << "no data";
}

TEST_F(Layout, TypesWithoutKnownPacketsCannotBeSent)
{
    EXPECT_FALSE(of(gvsp::payload_type::multi_zone, 100));
    EXPECT_FALSE(of(gvsp::payload_type::gendc, 100));
}
