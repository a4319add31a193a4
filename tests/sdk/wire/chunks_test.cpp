// Areas of chunks, laid out by hand.
#include <gtest/gtest.h>

#include "sdk/wire/chunks.h"
#include "sdk/wire/gvsp.h"
#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

using golden::copy;
using wire::chunks::area_of;
using wire::chunks::Chunk;
namespace type = wire::gvsp::payload_type;

/// Two chunks: 0x00a1 of three bytes, 0xf00000b2 of none.
const golden::Bytes two = golden::bytes("010203"
                                        "000000a1"
                                        "00000003"
                                        "f00000b2"
                                        "00000000");

golden::Bytes with(golden::Bytes before, const golden::Bytes& after)
{
    before.insert(before.end(), after.begin(), after.end());
    return before;
}

TEST(Chunks, AreReadFromTheEnd)
{
    const auto last = wire::chunks::last_of(two);
    ASSERT_TRUE(last);
    EXPECT_EQ(last->id, 0xF00000B2U);
    EXPECT_TRUE(last->data.empty());
    const auto rest = wire::chunks::before(two, *last);
    const auto first = wire::chunks::last_of(rest);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->id, 0xA1U);
    EXPECT_EQ(copy(first->data), golden::bytes("010203"));
    EXPECT_TRUE(wire::chunks::before(rest, *first).empty());
    EXPECT_TRUE(wire::chunks::is_well_formed(two));
}

TEST(Chunks, HaveATailAsItIsWritten)
{
    golden::Bytes tail(8, 0xEE);
    wire::chunks::encode_tail(0x00A1, 3, tail);
    EXPECT_EQ(with(golden::bytes("010203"), tail), copy(std::span(two).first(11)));
}

TEST(Chunks, LengthsAreNotTrusted)
{
    for (std::size_t cut = 1; cut < two.size(); ++cut) {
        // without its first 11 bytes the area has one chunk
        EXPECT_EQ(wire::chunks::is_well_formed(std::span(two).subspan(cut)), cut == 11) << cut;
    }
    for (const char* length : {"00000001", "0000000c", "7fffffff", "fffffff8", "ffffffff"}) {
        golden::Bytes lying(two.begin(), two.end() - 4);
        EXPECT_FALSE(wire::chunks::is_well_formed(with(lying, golden::bytes(length)))) << length;
    }
    // all of the rest is one chunk
    golden::Bytes whole(two.begin(), two.end() - 4);
    EXPECT_TRUE(wire::chunks::is_well_formed(with(whole, golden::bytes("0000000b"))));
    EXPECT_FALSE(wire::chunks::last_of(std::span(two).first(7)));
    EXPECT_FALSE(wire::chunks::is_well_formed({}));
}

TEST(Chunks, AFloodOfThemIsDamage)
{
    EXPECT_TRUE(wire::chunks::is_well_formed(golden::Bytes(wire::chunks::most_chunks * 8)));
    EXPECT_FALSE(wire::chunks::is_well_formed(golden::Bytes((wire::chunks::most_chunks + 1) * 8)));
}

TEST(Chunks, FillABlockOfTheChunkTypes)
{
    for (const std::uint16_t chunk_type : {type::chunk_data, type::extended_chunk_data}) {
        EXPECT_EQ(copy(area_of({.bytes = two, .payload_type = chunk_type, .chunk_data_length = 19})), two);
        EXPECT_EQ(copy(area_of({.bytes = two, .payload_type = chunk_type, .chunk_data_length = {}})), two);
        EXPECT_EQ(copy(area_of({.bytes = two, .payload_type = chunk_type, .chunk_data_length = 7})), two);
        // the device filled its last packet up
        const golden::Bytes filled = with(two, golden::Bytes(100, 0xEE));
        EXPECT_EQ(copy(area_of({.bytes = filled, .payload_type = chunk_type, .chunk_data_length = 19})), two);
        EXPECT_TRUE(area_of({.bytes = filled, .payload_type = chunk_type, .chunk_data_length = {}}).empty());
    }
    EXPECT_TRUE(area_of({.bytes = two, .payload_type = type::image, .chunk_data_length = 19}).empty());
    EXPECT_TRUE(area_of({.bytes = two, .payload_type = 0x8001, .chunk_data_length = 19}).empty());
}

TEST(Chunks, StandBehindTheDataThatTheyAreAppendedTo)
{
    constexpr std::uint16_t image = type::image | type::chunks_appended;
    const golden::Bytes pixels(10, 0x55);
    const golden::Bytes block = with(pixels, two);
    const auto at = [&](const golden::Bytes& bytes, std::optional<std::uint32_t> length) {
        const auto area =
            area_of({.bytes = bytes, .payload_type = image, .data_size = 10, .chunk_data_length = length});
        return area.empty() ? -1 : area.data() - bytes.data();
    };
    EXPECT_EQ(at(block, 19), 10);
    EXPECT_EQ(at(block, std::nullopt), -1);
    EXPECT_EQ(at(block, 0), -1);
    EXPECT_EQ(at(block, 20), -1);
    EXPECT_EQ(at(block, 0xFFFFFFFF), -1);
    // a device may count less than it sends, as long as whole chunks remain
    EXPECT_EQ(at(block, 8), 21);
    // the image is longer than announced, or the last packet was filled up
    EXPECT_EQ(at(with(golden::Bytes(12, 0x55), two), 19), 12);
    EXPECT_EQ(at(with(block, golden::Bytes(5, 0xEE)), 19), 10);
    // the image itself is a chunk
    const golden::Bytes whole = with(with(pixels, golden::bytes("00000001"
                                                                "0000000a")),
                                     two);
    EXPECT_EQ(at(whole, 37), 0);
}

}  // namespace
