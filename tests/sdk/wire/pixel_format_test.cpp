#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sdk/wire/pixel_format.h"

using namespace vex;

namespace {

struct Row {
    std::string name;
    std::uint32_t code;
    unsigned bits;
    bool color;
};

const std::vector<Row>& table()
{
    static const std::vector<Row> rows{
#define PIXEL_FORMAT(name, code, bits, color) {#name, code, bits, color},
#include "tests/sdk/wire/golden/pixel_formats.inc"
#undef PIXEL_FORMAT
    };
    return rows;
}

TEST(PixelFormat, EveryNameHasItsCodeAndBack)
{
    EXPECT_EQ(table().size(), 276U);
    for (const Row& row : table()) {
        EXPECT_EQ(wire::pixel_format_name(row.code), row.name);
        EXPECT_EQ(wire::pixel_format_of_name(row.name), row.code) << row.name;
    }
}

TEST(PixelFormat, SizeAndColourAreInTheCode)
{
    for (const Row& row : table()) {
        EXPECT_EQ(wire::bits_per_pixel(row.code), row.bits) << row.name;
        EXPECT_EQ(wire::is_color(row.code), row.color) << row.name;
    }
}

TEST(PixelFormat, EveryNamedCodeIsWellFormed)
{
    for (const Row& row : table()) {
        EXPECT_TRUE(wire::is_well_formed(row.code)) << row.name;
    }
}

TEST(PixelFormat, WellFormedCodesTellTheirKindAndAPossibleSize)
{
    for (const std::uint32_t code :
         {0x01060FFFU, 0x010A0046U, 0x02180000U, 0x810800FFU, 0x82200001U, 0x01010000U, 0x02800000U}) {
        EXPECT_TRUE(wire::is_well_formed(code)) << std::hex << code;
    }
    // no size, more bits than four components of 32 bits have, no kind or one that is reserved
    for (const std::uint32_t code : {0U, 0xFFFFFFFFU, 0x01000001U, 0x02810001U, 0x01FF0001U, 0x00080001U, 0x80080001U,
                                     0x03080001U, 0x41080001U, 0xFF080001U}) {
        EXPECT_FALSE(wire::is_well_formed(code)) << std::hex << code;
    }
}

TEST(PixelFormat, PackedAndUnpackedSpellingsAreDifferentFormats)
{
    EXPECT_EQ(wire::pixel_format_of_name("Mono12Packed"), 0x010C0006U);
    EXPECT_EQ(wire::pixel_format_of_name("Mono12p"), 0x010C0047U);
    EXPECT_EQ(wire::pixel_format_name(0x010C0006), "Mono12Packed");
}

TEST(PixelFormat, UnknownCodesAndNamesHaveNone)
{
    EXPECT_TRUE(wire::pixel_format_name(0).empty());
    EXPECT_TRUE(wire::pixel_format_name(0xFFFFFFFF).empty());
    EXPECT_TRUE(wire::pixel_format_name(0x810800FF).empty());
    EXPECT_FALSE(wire::pixel_format_of_name(""));
    EXPECT_FALSE(wire::pixel_format_of_name("Mono9"));
    EXPECT_FALSE(wire::pixel_format_of_name("mono8"));
}

TEST(PixelFormat, LinesOfUnknownFormatsAreSizedFromTheCode)
{
    EXPECT_EQ(wire::line_bytes(0x01080001, 640), 640U);
    EXPECT_EQ(wire::line_bytes(0x010C0006, 640), 960U);
    EXPECT_EQ(wire::line_bytes(0x010C0006, 641), 962U);
    EXPECT_EQ(wire::line_bytes(0x810A1234, 3), 4U);
    EXPECT_EQ(wire::line_bytes(0x01FF0000, 0xFFFFFFFF), (std::uint64_t{0xFFFFFFFF} * 255 + 7) / 8);
}

}  // namespace
