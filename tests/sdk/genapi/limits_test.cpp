// Limits: where they come from, what is none, and what they refuse.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

/// An 8-byte big-endian register at address 0.
std::string wide(std::string_view name, std::string_view sign = "Unsigned")
{
    return int_reg(name, 0, {.length = 8, .sign = std::string(sign)});
}

/// A register whose length another node has.
std::string stretching(std::string_view kind, Properties with = {})
{
    with.length = "L";
    return register_of(kind, "R", 0, with) + integer("L", {.value = 2}) + integer("X", {.value = "R"});
}

}  // namespace

TEST(Limits, OfAnIntegerOnAFloatAreRoundedInwards)
{
    Camera camera(integer("X", {.value = "F"}) + integer("Y", {.value = "G"}) +
                  floating("F", {.value = 5, .min = 0.5, .max = 9.5}) +
                  floating("G", {.value = -5, .min = -9.5, .max = -0.5}));
    EXPECT_EQ(camera["X"].int_min(), 1);
    EXPECT_EQ(camera["X"].int_max(), 9);
    EXPECT_EQ(camera["Y"].int_min(), -9);
    EXPECT_EQ(camera["Y"].int_max(), -1);
    EXPECT_THROW(camera["X"].set_int_value(0), GenApi::ValueError);
    EXPECT_THROW(camera["X"].set_int_value(10), GenApi::ValueError);
    camera["X"].set_int_value(9);
    EXPECT_EQ(camera["F"].float_value(), 9.0);
}

TEST(Limits, OfAnIntegerFromFloatNodesAreRoundedInwards)
{
    Camera camera(integer("X", {.value = 5, .min = "F", .max = "G"}) + floating("F", {.value = 0.5}) +
                  floating("G", {.value = 9.5}));
    EXPECT_EQ(camera["X"].int_min(), 1);
    EXPECT_EQ(camera["X"].int_max(), 9);
}

TEST(Limits, TakeAnIncrementBelowOneAsOne)
{
    Camera camera(integer("Zero", {.value = 0, .inc = 0}) + integer("Minus", {.value = 0, .inc = -5}) +
                  integer("Node", {.value = 0, .inc = "Minus5"}) + integer("Minus5", {.value = -5}));
    for (const char* const name : {"Zero", "Minus", "Node"}) {
        EXPECT_EQ(camera[name].int_increment(), 1) << name;
        camera[name].set_int_value(3);
        EXPECT_EQ(camera[name].int_value(), 3) << name;
    }
}

TEST(Limits, FollowALengthThatIsComputed)
{
    Camera camera(stretching("IntReg"));
    EXPECT_EQ(camera["X"].int_min(), 0);
    EXPECT_EQ(camera["X"].int_max(), 0xFFFF);
    EXPECT_EQ(message_of([&] { camera["R"].set_int_value(0x12345); }), "R: 74565 is above its maximum of 65535");
    EXPECT_EQ(camera.port.writes, 0);
    camera["L"].set_int_value(3);
    EXPECT_EQ(camera["R"].int_max(), 0xFFFFFF);
    EXPECT_EQ(camera["X"].int_max(), 0xFFFFFF);
    camera["X"].set_int_value(0x12345);
    EXPECT_EQ(camera["R"].int_value(), 0x12345);
    camera["L"].set_int_value(8);
    EXPECT_EQ(camera["X"].int_max(), highest);
    Camera with_sign(stretching("IntReg", {.sign = "Signed"}));
    EXPECT_EQ(with_sign["X"].int_min(), -0x8000);
    EXPECT_EQ(with_sign["X"].int_max(), 0x7FFF);
    Camera with_float(stretching("FloatReg"));
    with_float["L"].set_int_value(4);
    EXPECT_EQ(with_float["R"].float_max(), FLT_MAX);
    with_float["L"].set_int_value(8);
    EXPECT_EQ(with_float["R"].float_max(), DBL_MAX);
}

TEST(MaskedRegister, CountsItsBitsInTheLengthThatItHas)
{
    Camera camera(stretching("MaskedIntReg", {.lsb = 15, .msb = 4}));
    camera.port.set32(0, 0x1ABC5678);
    EXPECT_EQ(camera["R"].int_value(), 0xABC);
    EXPECT_EQ(camera["X"].int_max(), 0xFFF);
    camera["R"].set_int_value(0x123);
    EXPECT_EQ(camera.port.get32(0), 0x11235678U);
    camera["L"].set_int_value(4);
    EXPECT_EQ(camera["R"].int_value(), 0x123);
    camera["R"].set_int_value(0x456);
    EXPECT_EQ(camera.port.get32(0), 0x14565678U);
    camera["L"].set_int_value(1);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["R"].int_value()); }),
              "R cannot be read: R has no bit 15 while its length is 1 bytes");
    EXPECT_THROW(camera["R"].set_int_value(1), GenApi::EvaluationError);
    EXPECT_EQ(camera.port.writes, 2);
}

TEST(Limits, ThatAreNotFiniteAreNone)
{
    // a register that holds no number, and formulas without a result
    Camera camera(integer("X", {.value = 0, .min = "Nan", .max = "Log", .inc = "Log"}) +
                  floating("Y", {.value = 0, .min = "Log", .max = "Nan", .inc = "Log"}) +
                  floating("Z", {.value = 0, .more = element("Min", "INF") + element("Max", "-INF")}) +
                  swiss_knife("Log", "LN(V)", {{"V", "Zero"}}) + int_reg("Zero", 4) + float_reg("Nan", 0));
    camera.port.set32(0, 0x7FC00000);
    EXPECT_EQ(camera["X"].int_min(), lowest);
    EXPECT_EQ(camera["X"].int_max(), highest);
    EXPECT_EQ(camera["X"].int_increment(), 1);
    camera["X"].set_int_value(-7);
    EXPECT_EQ(camera["X"].int_value(), -7);
    for (const char* const name : {"Y", "Z"}) {
        EXPECT_EQ(camera[name].float_min(), -DBL_MAX) << name;
        EXPECT_EQ(camera[name].float_max(), DBL_MAX) << name;
        EXPECT_EQ(camera[name].float_increment(), std::nullopt) << name;
        camera[name].set_float_value(-7.5);
        EXPECT_EQ(camera[name].float_value(), -7.5) << name;
    }
    // what they are computed from may become good
    camera["Zero"].set_int_value(1);
    EXPECT_EQ(camera["X"].int_max(), 0);
    EXPECT_EQ(camera["Y"].float_min(), 0.0);
}

TEST(Limits, ThatCannotBeReadStillRefuse)
{
    Camera camera(integer("X", {.value = 0, .max = "W"}) + int_swiss_knife("W", "1/0"));
    EXPECT_EQ(message_of([&] { camera["X"].set_int_value(1); }),
              "X cannot be written: in the formula of W: division by zero");
}

TEST(Limits, BeyondTheSignedRangeAreTheLargestValue)
{
    Camera camera(integer("Hex", {.value = 0, .more = element("Max", "0xFFFFFFFFFFFFFFFF")}) +
                  integer("Decimal", {.value = 0, .more = element("Max", "18446744073709551615")}) +
                  integer("Minus", {.value = -5, .max = -1}) +
                  integer("Lowest", {.value = 0, .more = element("Min", "0x8000000000000000")}));
    EXPECT_EQ(camera["Hex"].int_max(), highest);
    EXPECT_EQ(camera["Decimal"].int_max(), highest);
    EXPECT_EQ(camera["Minus"].int_max(), -1);
    EXPECT_EQ(camera["Lowest"].int_min(), lowest);
    camera["Hex"].set_int_value(5);
    EXPECT_EQ(camera["Hex"].int_value(), 5);
    // also where a register has it
    Camera limited(wide("R") + integer("X", {.value = 0, .max = "R"}) + integer("Y", {.value = 0, .max = "S"}) +
                   int_reg("S", 0, {.length = 8, .access = "", .sign = "Signed"}));
    limited.port.set(0, std::vector<std::uint8_t>(8, 0xFF));
    EXPECT_EQ(limited["X"].int_max(), highest);
    EXPECT_EQ(limited["Y"].int_max(), -1);
}

TEST(Limits, TakeBackAnUnsignedValueThatIsReadAsNegative)
{
    const std::string highest_unsigned = element("Max", "0xFFFFFFFFFFFFFFFF");
    Camera camera(wide("R") + integer("X", {.value = "R"}) +
                  integer("Y", {.value = "X", .min = 0, .inc = 2, .more = highest_unsigned}) +
                  integer("Small", {.value = "R", .max = 1000}));
    camera.port.set(0, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE});
    for (const char* const name : {"R", "X", "Y"}) {
        EXPECT_EQ(camera[name].int_value(), -2) << name;
        camera[name].set_int_value(-2);
        EXPECT_EQ(camera.port.bytes[7], 0xFE) << name;
    }
    EXPECT_EQ(camera.port.writes, 3);
    // 2^64-1 is odd, and 2^64-2 is more than 1000
    EXPECT_THROW(camera["Y"].set_int_value(-1), GenApi::ValueError);
    EXPECT_THROW(camera["Small"].set_int_value(-2), GenApi::ValueError);
    Camera with_sign(wide("R", "Signed") + integer("X", {.value = "R", .min = 0}));
    EXPECT_THROW(with_sign["X"].set_int_value(-2), GenApi::ValueError);
}

TEST(Limits, DoNotRefuseAnEntrysOwnValue)
{
    const auto camera_with = [](const Number& min, const Number& max) {
        return enumeration("E", "X", {{"A", 1}, {"B", 7}}) + integer("X", {.value = "C", .min = min, .max = max}) +
               // said to rise, but 0 means 4, 1 means 7 and 2 means 1
               int_converter("C", {.value = "M",
                                   .formula_to = "(FROM=4) ? 0 : ((FROM=7) ? 1 : 2)",
                                   .formula_from = "(TO=0) ? 4 : ((TO=1) ? 7 : 1)",
                                   .slope = "Increasing"}) +
               integer("M", {.value = "R", .min = 0, .max = 2}) + int_reg("R", 0);
    };
    for (const bool limits : {false, true}) {
        Camera camera(limits ? camera_with(4, 6) : camera_with({}, {}));
        camera["E"].set_entry("A");
        EXPECT_EQ(camera.port.get32(0), 2U) << limits;
        camera["E"].set_int_value(7);
        EXPECT_EQ(camera.port.get32(0), 1U) << limits;
        EXPECT_EQ(camera["E"].to_string(), "B") << limits;
        // a number that no entry stands for is measured against the limits
        EXPECT_THROW(camera["X"].set_int_value(7), GenApi::ValueError) << limits;
    }
    // what the register cannot hold is refused all the same
    Camera narrow(enumeration("E", "X", {{"A", 256}}) + integer("X", {.value = "R"}) +
                  int_reg("R", 0, {.length = 1, .byte_order = ""}));
    EXPECT_THROW(narrow["E"].set_entry("A"), GenApi::ValueError);
    EXPECT_EQ(narrow.port.writes, 0);
}

TEST(Limits, HoldBackAFloatThatIsRoundedToAnIncrement)
{
    Camera camera(floating("X", {.value = "I"}) + integer("I", {.value = "R", .min = 0, .max = 10, .inc = 4}) +
                  int_reg("R", 0));
    camera["X"].set_float_value(10);
    EXPECT_EQ(camera.port.get32(0), 8U);
    camera["X"].set_float_value(9.9);
    EXPECT_EQ(camera.port.get32(0), 8U);
}

TEST(Limits, OfAConverterAreOpenWhereOneEndDoesNotTellTheDirection)
{
    Camera camera(converter("X", {.value = "R", .formula_to = "100/FROM", .formula_from = "100/TO"}) +
                  integer("R", {.value = 4, .min = 0, .max = 100}));
    EXPECT_EQ(camera["X"].float_min(), -DBL_MAX);
    EXPECT_EQ(camera["X"].float_max(), DBL_MAX);
    camera["X"].set_float_value(50);
    EXPECT_EQ(camera["R"].int_value(), 2);
}
