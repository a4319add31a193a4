// Values as a browser shows and takes them.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "sdk/browser/editing.h"

using namespace vex::browser;
using GenApi::Representation;

TEST(Editing, ShowsIntegersInTheirRepresentation)
{
    EXPECT_EQ(integer_text(-12, Representation::linear), "-12");
    EXPECT_EQ(integer_text(255, Representation::hex_number), "0xFF");
    EXPECT_EQ(integer_text(-1, Representation::hex_number), "0xFFFFFFFFFFFFFFFF");
    EXPECT_EQ(integer_text(0xC0A80001, Representation::ipv4_address), "192.168.0.1");
    EXPECT_EQ(integer_text(0x100000000, Representation::ipv4_address), "4294967296");
    EXPECT_EQ(integer_text(0x0011223344FF, Representation::mac_address), "00:11:22:33:44:FF");
    EXPECT_EQ(integer_text(-1, Representation::mac_address), "-1");
}

TEST(Editing, TakesIntegersInAnyNotation)
{
    EXPECT_EQ(integer_of(" 42 ", Representation::linear), 42);
    EXPECT_EQ(integer_of("0x10", Representation::linear), 16);
    EXPECT_EQ(integer_of("10", Representation::hex_number), 10);
    EXPECT_EQ(integer_of("1f", Representation::hex_number), 31);
    EXPECT_FALSE(integer_of("1f", Representation::linear));
    EXPECT_EQ(integer_of("192.168.0.1", Representation::ipv4_address), 0xC0A80001);
    EXPECT_EQ(integer_of("00-11-22-33-44-ff", Representation::mac_address), 0x0011223344FF);
    for (const char* const text : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1..2.3", "0:1:2:3:4:100", "4,5", "a b"}) {
        EXPECT_FALSE(integer_of(text, Representation::ipv4_address)) << text;
        EXPECT_FALSE(integer_of(text, Representation::hex_number)) << text;
    }
}

TEST(Editing, ShowsFloatsInTheirNotation)
{
    using GenApi::DisplayNotation;
    EXPECT_EQ(float_text(1.0 / 3), "0.3333333333333333");
    EXPECT_EQ(float_text(1e7), "10000000");
    EXPECT_EQ(float_text(-0.0002), "-0.0002");
    EXPECT_EQ(float_text(0.00002), "2e-05");
    EXPECT_EQ(float_text(1e15), "1e+15");
    EXPECT_EQ(float_text(0), "0");
    EXPECT_EQ(float_text(-std::numeric_limits<double>::infinity()), "-INF");
    EXPECT_EQ(float_text(1.0 / 3, DisplayNotation::automatic, 6), "0.333333");
    EXPECT_EQ(float_text(2500, DisplayNotation::automatic, 6), "2500");
    EXPECT_EQ(float_text(1.0 / 3, DisplayNotation::fixed, 2), "0.33");
    EXPECT_EQ(float_text(7, DisplayNotation::fixed, 0), "7");
    EXPECT_EQ(float_text(12346, DisplayNotation::scientific, 3), "1.235e+04");
    EXPECT_EQ(float_text(1e300, DisplayNotation::fixed, 30).size(), 301U + 1 + 17);
    EXPECT_EQ(float_text(std::numeric_limits<double>::infinity(), DisplayNotation::automatic, 6), "INF");
}

TEST(Editing, ShowsAndTakesBytesAsHexadecimalDigits)
{
    const std::vector<std::uint8_t> bytes{0x00, 0xA5, 0xFF};
    EXPECT_EQ(hex_text(bytes), "00 A5 FF");
    EXPECT_EQ(hex_text({}), "");
    EXPECT_EQ(bytes_of("00 a5\r\nFF"), bytes);
    EXPECT_EQ(bytes_of("0x00A5FF"), bytes);
    EXPECT_EQ(bytes_of(" "), std::vector<std::uint8_t>());
    for (const char* const text : {"0", "00 A", "0 0A", "zz", "00,11", "-1"}) {
        EXPECT_FALSE(bytes_of(text)) << text;
    }
}

TEST(Editing, ALinearSliderMeetsTheIncrement)
{
    const SliderScale scale = SliderScale::of_integers(16, 4099, 4, Representation::linear);
    ASSERT_TRUE(scale.is_useful());
    EXPECT_EQ(scale.position_of(16), 0);
    EXPECT_EQ(scale.position_of(5000), SliderScale::steps);
    EXPECT_EQ(scale.integer_at(0), 16);
    EXPECT_EQ(scale.integer_at(SliderScale::steps), 4096);
    for (int position = 0; position <= SliderScale::steps; ++position) {
        EXPECT_EQ((scale.integer_at(position) - 16) % 4, 0) << position;
        EXPECT_NEAR(scale.position_of(static_cast<double>(scale.integer_at(position))), position, 1) << position;
    }
}

TEST(Editing, ALogarithmicSliderHasRoomForSmallValues)
{
    const SliderScale scale = SliderScale::of_floats(1, 1e6, Representation::logarithmic);
    ASSERT_TRUE(scale.is_useful());
    EXPECT_EQ(scale.position_of(1000), SliderScale::steps / 2);
    EXPECT_NEAR(scale.float_at(SliderScale::steps / 2), 1000, 1e-6);
    EXPECT_EQ(scale.float_at(0), 1);
    EXPECT_EQ(scale.float_at(SliderScale::steps), 1e6);
    const SliderScale from_zero = SliderScale::of_floats(0, 100, Representation::logarithmic);
    EXPECT_TRUE(from_zero.is_useful());
    EXPECT_EQ(from_zero.position_of(50), SliderScale::steps / 2);
}

TEST(Editing, ThereIsNoSliderWithoutLimits)
{
    EXPECT_FALSE(SliderScale::of_integers(0, 10, 1, Representation::pure_number).is_useful());
    EXPECT_FALSE(SliderScale::of_integers(5, 5, 1, Representation::linear).is_useful());
    const SliderScale whole = SliderScale::of_integers(
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(), 1, Representation::linear);
    EXPECT_FALSE(whole.is_useful());
    EXPECT_EQ(whole.position_of(7), 0);
    EXPECT_EQ(whole.integer_at(SliderScale::steps), std::numeric_limits<std::int64_t>::max());
}
