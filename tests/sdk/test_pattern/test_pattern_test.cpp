// The pictures, checked against values worked out by hand and against an unpacking of their own.
#include "sdk/test_pattern/test_pattern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace vex;

using test_pattern::FrameSettings;
using test_pattern::Pattern;
using test_pattern::Rgb16;

namespace {

constexpr std::uint32_t all_formats[] = {
    0x01080001, 0x01100003, 0x010C0004, 0x01100005, 0x010C0006, 0x01100007, 0x01080008, 0x01080009, 0x0108000A,
    0x0108000B, 0x0110000C, 0x0110000D, 0x0110000E, 0x0110000F, 0x01100010, 0x01100011, 0x01100012, 0x01100013,
    0x010C0026, 0x010C0027, 0x010C0028, 0x010C0029, 0x010C002A, 0x010C002B, 0x010C002C, 0x010C002D, 0x0110002E,
    0x0110002F, 0x01100030, 0x01100031, 0x02180014, 0x02180015, 0x0210001F, 0x02100032};

std::vector<std::uint8_t> rendered(const FrameSettings& settings, std::uint64_t block_id)
{
    std::vector<std::uint8_t> image(test_pattern::image_bytes(settings));
    test_pattern::render(settings, block_id, image);
    return image;
}

FrameSettings settings_for(std::uint32_t format)
{
    FrameSettings settings;
    settings.pattern = Pattern::color_gradient_moving;
    settings.pixel_format = format;
    settings.width = 48;
    settings.height = 20;
    return settings;
}

// The one colour of a mosaic position, by the format's name: 0 red, 1 green, 2 blue.
int mosaic_colour(const char* two_by_two, std::uint32_t x, std::uint32_t y)
{
    const char c = two_by_two[(y % 2) * 2 + x % 2];
    return c == 'R' ? 0 : c == 'G' ? 1 : 2;
}

int component(Rgb16 value, int index) { return index == 0 ? value.red : index == 1 ? value.green : value.blue; }

}  // namespace

TEST(TestPatternCard, ShowsColouredCornersTheRightWayUp)
{
    const auto at = [](std::uint32_t x, std::uint32_t y) { return test_pattern::scene(Pattern::card, 1, x, y); };
    EXPECT_EQ(at(5, 5), (Rgb16{0xFFFF, 0, 0})) << "top left is red";
    EXPECT_EQ(at(634, 5), (Rgb16{0, 0xFFFF, 0})) << "top right is green";
    EXPECT_EQ(at(5, 474), (Rgb16{0, 0, 0xFFFF})) << "bottom left is blue";
    EXPECT_EQ(at(634, 474), (Rgb16{0xFFFF, 0xFFFF, 0xFFFF})) << "bottom right is white";
    EXPECT_EQ(at(250, 300), (Rgb16{0xFFFF, 0xFFFF, 0xFFFF})) << "the stem of the F";
    EXPECT_EQ(at(390, 120), (Rgb16{0xFFFF, 0xFFFF, 0xFFFF})) << "its upper arm reaches right";
    EXPECT_NE(at(390, 220), (Rgb16{0xFFFF, 0xFFFF, 0xFFFF})) << "its middle arm is shorter";
    EXPECT_EQ(at(640 + 5, 480 + 5), at(5, 5)) << "the card repeats";
}

TEST(TestPatternCard, MovesWithTheBlockIdAndComesBack)
{
    const auto same = [](std::uint64_t a, std::uint64_t b) {
        for (std::uint32_t y = 390; y < 450; ++y) {
            for (std::uint32_t x = 0; x < 640; ++x) {
                if (test_pattern::scene(Pattern::card, a, x, y) != test_pattern::scene(Pattern::card, b, x, y)) {
                    return false;
                }
            }
        }
        return true;
    };
    for (std::uint64_t id = 1; id < test_pattern::cycle; ++id) {
        EXPECT_FALSE(same(id, id + 1)) << id;
    }
    EXPECT_TRUE(same(3, 3 + test_pattern::cycle));
    EXPECT_TRUE(same(3, 3 + (std::uint64_t{1} << 40)));
}

TEST(TestPatternScene, StaticPatternsDoNotMoveAndMovingOnesDo)
{
    for (std::uint32_t index = 0; index < test_pattern::pattern_count; ++index) {
        const auto pattern = static_cast<Pattern>(index);
        const bool moving = pattern == Pattern::card || pattern == Pattern::grey_horizontal_ramp_moving ||
                            pattern == Pattern::grey_vertical_ramp_moving || pattern == Pattern::color_gradient_moving;
        bool differs = false;
        for (std::uint32_t y = 0; y < 480; y += 3) {
            for (std::uint32_t x = 0; x < 640; x += 3) {
                differs |= test_pattern::scene(pattern, 1, x, y) != test_pattern::scene(pattern, 2, x, y);
            }
        }
        EXPECT_EQ(differs, moving) << index;
    }
}

TEST(TestPatternScene, GradientHasTheValuesItsFormulaGives)
{
    EXPECT_EQ(test_pattern::scene(Pattern::color_gradient_moving, 0, 0, 0), (Rgb16{0, 0, 0}));
    // block 2: phase 32; x = 10, y = 7
    EXPECT_EQ(test_pattern::scene(Pattern::color_gradient_moving, 2, 10, 7),
              (Rgb16{42 * 257, 39 * 257 + 30, 49 * 129 + 35}));
    EXPECT_EQ(test_pattern::scene(Pattern::grey_horizontal_ramp, 9, 3, 100), (Rgb16{771, 771, 771}));
}

TEST(TestPatternRender, HasTheSizeThatTheFormatSays)
{
    for (const std::uint32_t format : all_formats) {
        ASSERT_TRUE(test_pattern::supports(format)) << std::hex << format;
        const FrameSettings settings = settings_for(format);
        EXPECT_EQ(test_pattern::image_bytes(settings), std::size_t{48} * 20 * ((format >> 16) & 0xFF) / 8)
            << std::hex << format;
    }
    EXPECT_FALSE(test_pattern::supports(0x01080002));
    EXPECT_FALSE(test_pattern::supports(0));
}

TEST(TestPatternRender, MonoIsTheLumaOfTheScene)
{
    const FrameSettings eight = settings_for(0x01080001);
    const FrameSettings twelve = settings_for(0x01100005);
    const auto image8 = rendered(eight, 5);
    const auto image12 = rendered(twelve, 5);
    for (std::uint32_t y = 0; y < 20; ++y) {
        for (std::uint32_t x = 0; x < 48; ++x) {
            const Rgb16 c = test_pattern::scene(Pattern::color_gradient_moving, 5, x, y);
            const unsigned luma = (77U * c.red + 150U * c.green + 29U * c.blue) / 256;
            const std::size_t at = y * 48 + x;
            ASSERT_EQ(image8[at], luma / 256) << x << "," << y;
            ASSERT_EQ(image12[2 * at] + 256 * image12[2 * at + 1], static_cast<int>(luma / 16)) << x << "," << y;
        }
    }
}

TEST(TestPatternRender, BayerFormatsCarryTheColourTheirNameSays)
{
    struct Case {
        std::uint32_t format;
        const char* cell;
    };
    for (const Case& c :
         {Case{0x01080008, "GRBG"}, Case{0x01080009, "RGGB"}, Case{0x0108000A, "GBRG"}, Case{0x0108000B, "BGGR"}}) {
        const auto image = rendered(settings_for(c.format), 3);
        for (std::uint32_t y = 0; y < 20; ++y) {
            for (std::uint32_t x = 0; x < 48; ++x) {
                const Rgb16 value = test_pattern::scene(Pattern::color_gradient_moving, 3, x, y);
                ASSERT_EQ(image[y * 48 + x], component(value, mosaic_colour(c.cell, x, y)) / 256)
                    << c.cell << " " << x << "," << y;
            }
        }
    }
}

TEST(TestPatternRender, PackedFormatsHoldTheSameSamplesAsUnpackedOnes)
{
    struct Pair {
        std::uint32_t unpacked;
        std::uint32_t packed;
        unsigned bits;
    };
    for (const Pair& pair : {Pair{0x01100003, 0x010C0004, 10}, Pair{0x01100005, 0x010C0006, 12},
                             Pair{0x0110000D, 0x010C0027, 10}, Pair{0x01100013, 0x010C002D, 12}}) {
        const auto words = rendered(settings_for(pair.unpacked), 7);
        const auto packed = rendered(settings_for(pair.packed), 7);
        for (std::size_t i = 0; i + 1 < words.size() / 2; i += 2) {
            const unsigned first = words[2 * i] + 256U * words[2 * i + 1];
            const unsigned second = words[2 * i + 2] + 256U * words[2 * i + 3];
            const std::uint8_t* triple = packed.data() + i / 2 * 3;
            if (pair.bits == 12) {
                ASSERT_EQ(first, (triple[0] << 4) | (triple[1] & 0xFU));
                ASSERT_EQ(second, (triple[2] << 4) | (unsigned{triple[1]} >> 4));
            } else {
                ASSERT_EQ(first, (triple[0] << 2) | (triple[1] & 0x3U));
                ASSERT_EQ(second, (triple[2] << 2) | ((triple[1] >> 4) & 0x3U));
            }
        }
    }
}

TEST(TestPatternRender, RgbAndBgrDifferOnlyInOrder)
{
    FrameSettings settings = settings_for(0x02180014);
    settings.pattern = Pattern::card;
    const auto rgb = rendered(settings, 1);
    settings.pixel_format = 0x02180015;
    auto bgr = rendered(settings, 1);
    EXPECT_EQ((std::vector<std::uint8_t>{rgb[0], rgb[1], rgb[2]}), (std::vector<std::uint8_t>{255, 0, 0}));
    for (std::size_t i = 0; i < bgr.size(); i += 3) {
        std::swap(bgr[i], bgr[i + 2]);
    }
    EXPECT_EQ(rgb, bgr);
}

TEST(TestPatternRender, YuvPutsLumaAndChromaWhereTheFormatSays)
{
    FrameSettings settings = settings_for(0x0210001F);
    settings.pattern = Pattern::card;
    const auto uyvy = rendered(settings, 1);
    settings.pixel_format = 0x02100032;
    const auto yuyv = rendered(settings, 1);
    // red: Y = 0.299, U below the middle, V at the top
    EXPECT_EQ(uyvy[1], 76);
    EXPECT_NEAR(uyvy[0], 85, 1);
    EXPECT_NEAR(uyvy[2], 255, 1);
    for (std::size_t i = 0; i < uyvy.size(); i += 2) {
        ASSERT_EQ(uyvy[i], yuyv[i + 1]);
        ASSERT_EQ(uyvy[i + 1], yuyv[i]);
    }
}

TEST(TestPatternRender, RegionReversalAndBinningShowTheRightPartOfTheScene)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 random(seed);
    for (int round = 0; round < 100; ++round) {
        FrameSettings settings;
        settings.pattern = static_cast<Pattern>(random() % test_pattern::pattern_count);
        settings.binning_x = 1 + static_cast<std::uint32_t>(random() % 4);
        settings.binning_y = 1 + static_cast<std::uint32_t>(random() % 4);
        settings.reverse_x = random() % 2 != 0;
        settings.reverse_y = random() % 2 != 0;
        settings.width = 16 + static_cast<std::uint32_t>(random() % 900);
        settings.height = 2 + static_cast<std::uint32_t>(random() % 30);
        const std::uint32_t columns = settings.sensor_width / settings.binning_x;
        const std::uint32_t lines = settings.sensor_height / settings.binning_y;
        settings.offset_x = static_cast<std::uint32_t>(random() % (columns - settings.width + 1));
        settings.offset_y = static_cast<std::uint32_t>(random() % (lines - settings.height + 1));
        const std::uint64_t block_id = random();
        const auto image = rendered(settings, block_id);
        for (std::uint32_t y = 0; y < settings.height; ++y) {
            for (std::uint32_t x = 0; x < settings.width; ++x) {
                std::uint32_t column = settings.offset_x + x;
                std::uint32_t line = settings.offset_y + y;
                if (settings.reverse_x) {
                    column = columns - 1 - column;
                }
                if (settings.reverse_y) {
                    line = lines - 1 - line;
                }
                unsigned sum[3] = {};
                for (std::uint32_t j = 0; j < settings.binning_y; ++j) {
                    for (std::uint32_t i = 0; i < settings.binning_x; ++i) {
                        const Rgb16 value = test_pattern::scene(
                            settings.pattern, block_id, column * settings.binning_x + i, line * settings.binning_y + j);
                        for (int c = 0; c < 3; ++c) {
                            sum[c] += static_cast<unsigned>(component(value, c));
                        }
                    }
                }
                const unsigned n = settings.binning_x * settings.binning_y;
                const Rgb16 mean{static_cast<std::uint16_t>(sum[0] / n), static_cast<std::uint16_t>(sum[1] / n),
                                 static_cast<std::uint16_t>(sum[2] / n)};
                ASSERT_EQ(test_pattern::pixel(settings, block_id, x, y), mean) << round << ": " << x << "," << y;
                const unsigned luma = (77U * mean.red + 150U * mean.green + 29U * mean.blue) / 256;
                ASSERT_EQ(image[y * settings.width + x], luma / 256) << round << ": " << x << "," << y;
            }
        }
    }
}

TEST(TestPatternRender, GainAndBlackLevelSaturate)
{
    FrameSettings settings;
    settings.pattern = Pattern::grey_horizontal_ramp;
    settings.width = 256;
    settings.height = 2;
    settings.gain = 2 * 65536;
    settings.black_level = 0x0800;
    const auto image = rendered(settings, 1);
    EXPECT_EQ(image[0], 8);
    EXPECT_EQ(image[10], 28);
    EXPECT_EQ(image[123], 254);
    EXPECT_EQ(image[200], 255);
}

TEST(TestPatternRender, AnOddNumberOfPackedPixelsFillsItsLastTriple)
{
    struct Case {
        std::uint32_t unpacked;
        std::uint32_t packed;
        unsigned low_bits;
    };
    for (const Case& c : {Case{0x01100003, 0x010C0004, 2}, Case{0x01100005, 0x010C0006, 4}}) {
        FrameSettings settings = settings_for(c.unpacked);
        settings.width = 3;
        settings.height = 3;
        const auto words = rendered(settings, 1);
        const unsigned last = words[16] + 256U * words[17];
        settings.pixel_format = c.packed;
        ASSERT_EQ(test_pattern::image_bytes(settings), 15U);
        std::vector<std::uint8_t> image(15, 0xFF);
        test_pattern::render(settings, 1, image);
        EXPECT_EQ(image[12], last >> c.low_bits);
        EXPECT_EQ(image[13], last & ((1U << c.low_bits) - 1));
        EXPECT_EQ(image[14], 0);
    }
}
