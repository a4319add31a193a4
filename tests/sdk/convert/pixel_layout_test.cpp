// Every pixel type's layout in memory, in bytes worked out by hand.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "sdk/convert/PvBufferConverter.h"
#include "tests/sdk/convert/images.h"

namespace {

using test::Bytes;

Bytes converted(PvPixelType from, std::uint32_t width, const Bytes& bytes, PvPixelType to)
{
    const auto source = test::image(width, 1, from, bytes);
    const auto destination = test::blank(width, 1, to);
    PvBufferConverter converter;
    const auto result = converter.Convert(source.get(), destination.get());
    EXPECT_TRUE(result.IsOK()) << result.description();
    return test::bytes_of(*destination);
}

Bytes words(std::initializer_list<unsigned> values)
{
    Bytes bytes;
    for (const auto value : values) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
    return bytes;
}

/// Two pixels of a type in memory, and what they are with 8 and with 16 bits a channel.
struct Layout {
    PvPixelType type;
    Bytes memory;
    Bytes eight;
    Bytes sixteen;
};

// Ten bits 0x2A5 = 10 1010 0101 and 0x3FF; twelve bits 0xABC and 0x123. Sixteen bits repeat the upper bits below.
const std::vector<Layout> mono_layouts = {
    {PvPixelMono8, {0x12, 0xFF}, {0x12, 0xFF}, words({0x1212, 0xFFFF})},
    {PvPixelMono8Signed, {0x80, 0x7F}, {0x00, 0xFF}, words({0x0000, 0xFFFF})},  // -128 and 127
    {PvPixelMono10, {0xA5, 0x02, 0xFF, 0x03}, {0xA9, 0xFF}, words({0xA96A, 0xFFFF})},
    {PvPixelMono12, {0xBC, 0x0A, 0x23, 0x01}, {0xAB, 0x12}, words({0xABCA, 0x1231})},
    {PvPixelMono14, {0xFF, 0x3F, 0x01, 0x20}, {0xFF, 0x80}, words({0xFFFF, 0x8006})},  // 0x3FFF and 0x2001
    {PvPixelMono16, {0x34, 0x12, 0xFF, 0xFF}, {0x12, 0xFF}, words({0x1234, 0xFFFF})},
    // high bytes 0xA9 and 0xFF around the low bits 01 (first, bits 0-1) and 11 (second, bits 4-5)
    {PvPixelMono10Packed, {0xA9, 0x31, 0xFF}, {0xA9, 0xFF}, words({0xA96A, 0xFFFF})},
    {PvPixelMono12Packed, {0xAB, 0x3C, 0x12}, {0xAB, 0x12}, words({0xABCA, 0x1231})},
};

// Red 0x2A5, green 0x3FF, blue 0x001 and red 0, green 0x200, blue 0x155 with ten bits; 0xABC, 0xFFF, 0x001 and 0,
// 0x800, 0x555 with twelve.
const Bytes ten_as_eight = {0xA9, 0xFF, 0x00, 0x00, 0x80, 0x55};
const Bytes ten_as_sixteen = words({0xA96A, 0xFFFF, 0x0040, 0, 0x8020, 0x5555});
const Bytes twelve_as_eight = {0xAB, 0xFF, 0x00, 0x00, 0x80, 0x55};
const Bytes twelve_as_sixteen = words({0xABCA, 0xFFFF, 0x0010, 0, 0x8008, 0x5555});
const Bytes eight = {1, 2, 3, 4, 5, 6};
const Bytes eight_as_sixteen = words({0x0101, 0x0202, 0x0303, 0x0404, 0x0505, 0x0606});
const std::vector<Layout> rgb_layouts = {
    {PvPixelRGB8Packed, {1, 2, 3, 4, 5, 6}, eight, eight_as_sixteen},
    {PvPixelBGR8Packed, {3, 2, 1, 6, 5, 4}, eight, eight_as_sixteen},
    {PvPixelRGBA8Packed, {1, 2, 3, 9, 4, 5, 6, 9}, eight, eight_as_sixteen},
    {PvPixelBGRA8Packed, {3, 2, 1, 9, 6, 5, 4, 9}, eight, eight_as_sixteen},
    {PvPixelRGB10Packed, words({0x2A5, 0x3FF, 1, 0, 0x200, 0x155}), ten_as_eight, ten_as_sixteen},
    {PvPixelBGR10Packed, words({1, 0x3FF, 0x2A5, 0x155, 0x200, 0}), ten_as_eight, ten_as_sixteen},
    {PvPixelRGB12Packed, words({0xABC, 0xFFF, 1, 0, 0x800, 0x555}), twelve_as_eight, twelve_as_sixteen},
    {PvPixelBGR12Packed, words({1, 0xFFF, 0xABC, 0x555, 0x800, 0}), twelve_as_eight, twelve_as_sixteen},
    {PvPixelRGB16Packed, words({0xA96A, 0xFFFF, 0x0040, 0, 0x8020, 0x5555}), ten_as_eight, ten_as_sixteen},
    // low bits: red 01, green 11, blue 01 -> 01'11'01; then red 00, green 00, blue 01 -> 01'00'00
    {PvPixelBGR10V1Packed, {0x1D, 0xA9, 0xFF, 0x00, 0x10, 0x00, 0x80, 0x55}, ten_as_eight, ten_as_sixteen},
    // 0x2A5 | 0x3FF << 10 | 1 << 20 = 0x1FFEA5; 0x200 << 10 | 0x155 << 20 = 0x15580000
    {PvPixelBGR10V2Packed, {0xA5, 0xFE, 0x1F, 0x00, 0x00, 0x00, 0x58, 0x15}, ten_as_eight, ten_as_sixteen},
    // pairs R0 G0, B0 R1, G1 B1
    {PvPixelRGB12V1Packed, {0xAB, 0xFC, 0xFF, 0x00, 0x01, 0x00, 0x80, 0x50, 0x55}, twelve_as_eight, twelve_as_sixteen},
    {PvPixelRGB8Planar, {1, 4, 2, 5, 3, 6}, eight, eight_as_sixteen},
    {PvPixelRGB10Planar, words({0x2A5, 0, 0x3FF, 0x200, 1, 0x155}), ten_as_eight, ten_as_sixteen},
    {PvPixelRGB12Planar, words({0xABC, 0, 0xFFF, 0x800, 1, 0x555}), twelve_as_eight, twelve_as_sixteen},
    {PvPixelRGB16Planar, words({0xA96A, 0, 0xFFFF, 0x8020, 0x0040, 0x5555}), ten_as_eight, ten_as_sixteen},
    // five bits: red 31, green 1, blue 16; red 0, green 16, blue 1
    {PvPixelWinRGB16,
     words({0x7C00 | 1 << 5 | 16, 16 << 5 | 1}),
     {0xFF, 0x08, 0x84, 0x00, 0x84, 0x08},
     words({0xFFFF, 0x0808, 0x8484, 0, 0x8484, 0x0808})},
    {PvPixelWinRGB24, {3, 2, 1, 6, 5, 4}, eight, eight_as_sixteen},
    {PvPixelWinRGB32, {3, 2, 1, 0, 6, 5, 4, 0}, eight, eight_as_sixteen},
    {PvPixelWinBGR24, {1, 2, 3, 4, 5, 6}, eight, eight_as_sixteen},
    {PvPixelWinBGR32, {1, 2, 3, 0, 4, 5, 6, 0}, eight, eight_as_sixteen},
};

std::string hex(PvPixelType type)
{
    char text[16];
    std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(type));
    return text;
}

TEST(PixelLayout, MonochromeTypesAreReadAsTheyLieInMemory)
{
    for (const auto& layout : mono_layouts) {
        SCOPED_TRACE(hex(layout.type));
        EXPECT_EQ(converted(layout.type, 2, layout.memory, PvPixelMono8), layout.eight);
        EXPECT_EQ(converted(layout.type, 2, layout.memory, PvPixelMono16), layout.sixteen);
        const auto& grey = layout.eight;
        EXPECT_EQ(converted(layout.type, 2, layout.memory, PvPixelRGB8Packed),
                  (Bytes{grey[0], grey[0], grey[0], grey[1], grey[1], grey[1]}));
    }
}

TEST(PixelLayout, ColourTypesAreReadAsTheyLieInMemory)
{
    for (const auto& layout : rgb_layouts) {
        SCOPED_TRACE(hex(layout.type));
        EXPECT_EQ(converted(layout.type, 2, layout.memory, PvPixelRGB8Packed), layout.eight);
        EXPECT_EQ(converted(layout.type, 2, layout.memory, PvPixelRGB16Packed), layout.sixteen);
    }
}

TEST(PixelLayout, ColourTypesAreWrittenAsTheyAreRead)
{
    for (const auto& layout : rgb_layouts) {
        if (!PvBufferConverter::IsConversionSupported(PvPixelRGB8Packed, layout.type)) {
            continue;
        }
        SCOPED_TRACE(hex(layout.type));
        auto expected = layout.memory;
        if (PvImage::GetPixelBitCount(layout.type) == 32) {
            expected[3] = expected[7] = 255;  // opaque
        }
        EXPECT_EQ(converted(PvPixelRGB16Packed, 2, layout.sixteen, layout.type), expected);
    }
}

TEST(PixelLayout, EveryTypeHasALayoutTested)
{
    std::set<PvPixelType> tested = {PvPixelYUV411Packed, PvPixelYUV422Packed, PvPixelYUV422YUYVPacked,
                                    PvPixelYUV444Packed};  // in a test of their own
    for (const auto& layout : mono_layouts) {
        tested.insert(layout.type);
    }
    for (const auto& layout : rgb_layouts) {
        tested.insert(layout.type);
    }
    std::size_t bayer = 0;
    for (const auto type : pv_pixel_types) {
        bayer += tested.count(type) == 0;
    }
    EXPECT_EQ(tested.size(), 33u);
    EXPECT_EQ(bayer, 24u);  // likewise
}

TEST(PixelLayout, UnusedBitsOfAWordAreIgnored)
{
    EXPECT_EQ(converted(PvPixelMono10, 1, words({0xFC01}), PvPixelMono16), words({0x0040}));
    EXPECT_EQ(converted(PvPixelMono12, 1, words({0xF001}), PvPixelMono16), words({0x0010}));
    EXPECT_EQ(converted(PvPixelMono12Packed, 1, {0x00, 0xF1}, PvPixelMono16), words({0x0010}));
    EXPECT_EQ(converted(PvPixelMono10Packed, 1, {0x00, 0xFD}, PvPixelMono16), words({0x0040}));
}

TEST(PixelLayout, PackedLinesOfOddWidthEndInTheMiddleOfAGroup)
{
    const auto source =
        test::image(3, 2, PvPixelMono12Packed, {0xAB, 0x3C, 0x12, 0x45, 0x06, 0x01, 0x00, 0x02, 0x03, 0x0F});
    ASSERT_EQ(source->GetSize(), 10u);
    const auto destination = test::blank(3, 2, PvPixelMono16);
    PvBufferConverter converter;
    ASSERT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*destination),
              words({0xABCA, 0x1231, 0x4564, 0x0100, 0x0200, 0x03F0}));  // 0x010, 0x020 and 0x03F
}

TEST(PixelLayout, AlphaTravelsBetweenTheTypesThatHaveItAndIsOpaqueElsewhere)
{
    const Bytes rgba = {1, 2, 3, 40, 5, 6, 7, 80};
    EXPECT_EQ(converted(PvPixelRGBA8Packed, 2, rgba, PvPixelBGRA8Packed), (Bytes{3, 2, 1, 40, 7, 6, 5, 80}));
    EXPECT_EQ(converted(PvPixelRGBA8Packed, 2, rgba, PvPixelRGBA8Packed), rgba);
    EXPECT_EQ(converted(PvPixelRGBA8Packed, 2, rgba, PvPixelWinRGB32), (Bytes{3, 2, 1, 255, 7, 6, 5, 255}));
    EXPECT_EQ(converted(PvPixelWinRGB32, 2, rgba, PvPixelBGRA8Packed), (Bytes{1, 2, 3, 255, 5, 6, 7, 255}));
    EXPECT_EQ(converted(PvPixelMono8, 1, {9}, PvPixelBGRA8Packed), (Bytes{9, 9, 9, 255}));
    EXPECT_EQ(converted(PvPixelRGB16Packed, 1, words({0x100, 0x200, 0x300}), PvPixelRGBA8Packed),
              (Bytes{1, 2, 3, 255}));
}

TEST(PixelLayout, GreyOfColoursIsTheirLuma)
{
    // 0.299, 0.587 and 0.114 of 255
    EXPECT_EQ(converted(PvPixelRGB8Packed, 3, {255, 0, 0, 0, 255, 0, 0, 0, 255}, PvPixelMono8), (Bytes{76, 150, 29}));
    EXPECT_EQ(converted(PvPixelRGB8Packed, 2, {255, 255, 255, 77, 77, 77}, PvPixelMono8), (Bytes{255, 77}));
    EXPECT_EQ(converted(PvPixelRGB16Packed, 1, words({0xFFFF, 0xFFFF, 0xFFFF}), PvPixelMono16), words({0xFFFF}));
}

}  // namespace
