// Limits: where they come from, what is none, and what they refuse.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "tests/sdk/genapi/memory_port.h"

using GenApi::AccessMode;

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

std::string integer(std::string_view name, std::string_view inside)
{
    return "<Integer Name=\"" + std::string(name) + "\">" + std::string(inside) + "</Integer>";
}

/// An 8-byte big-endian register at address 0.
std::string wide(std::string_view name, std::string_view sign = "Unsigned")
{
    return "<IntReg Name=\"" + std::string(name) +
           "\"><Address>0</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>" +
           std::string(sign) + "</Sign><Endianess>BigEndian</Endianess></IntReg>";
}

/// A register whose length another node has.
std::string stretching(std::string_view element, std::string_view inside = "")
{
    return "<" + std::string(element) +
           " Name=\"R\"><Address>0</Address><pLength>L</pLength><AccessMode>RW</AccessMode><pPort>Device</pPort>" +
           std::string(inside) + "<Endianess>BigEndian</Endianess></" + std::string(element) + ">" +
           integer("L", "<Value>2</Value>") + integer("X", "<pValue>R</pValue>");
}

}  // namespace

TEST(Limits, OfAnIntegerOnAFloatAreRoundedInwards)
{
    Camera camera(integer("X", "<pValue>F</pValue>") + integer("Y", "<pValue>G</pValue>") +
                  "<Float Name=\"F\"><Value>5</Value><Min>0.5</Min><Max>9.5</Max></Float>"
                  "<Float Name=\"G\"><Value>-5</Value><Min>-9.5</Min><Max>-0.5</Max></Float>");
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
    Camera camera(integer("X", "<Value>5</Value><pMin>F</pMin><pMax>G</pMax>") +
                  "<Float Name=\"F\"><Value>0.5</Value></Float><Float Name=\"G\"><Value>9.5</Value></Float>");
    EXPECT_EQ(camera["X"].int_min(), 1);
    EXPECT_EQ(camera["X"].int_max(), 9);
}

TEST(Limits, TakeAnIncrementBelowOneAsOne)
{
    Camera camera(integer("Zero", "<Value>0</Value><Inc>0</Inc>") + integer("Minus", "<Value>0</Value><Inc>-5</Inc>") +
                  integer("Node", "<Value>0</Value><pInc>Minus5</pInc>") + integer("Minus5", "<Value>-5</Value>"));
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
    Camera with_sign(stretching("IntReg", "<Sign>Signed</Sign>"));
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
    Camera camera(stretching("MaskedIntReg", "<LSB>15</LSB><MSB>4</MSB>"));
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
    Camera camera(
        integer("X", "<Value>0</Value><pMin>Nan</pMin><pMax>Log</pMax><pInc>Log</pInc>") +
        "<Float Name=\"Y\"><Value>0</Value><pMin>Log</pMin><pMax>Nan</pMax><pInc>Log</pInc></Float>"
        "<Float Name=\"Z\"><Value>0</Value><Min>INF</Min><Max>-INF</Max></Float>"
        "<SwissKnife Name=\"Log\"><pVariable Name=\"V\">Zero</pVariable><Formula>LN(V)</Formula></SwissKnife>" +
        int_reg("Zero", 4) + "<FloatReg Name=\"Nan\">" + reg(0) + "</FloatReg>");
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
    Camera camera(integer("X", "<Value>0</Value><pMax>W</pMax>") +
                  "<IntSwissKnife Name=\"W\"><Formula>1/0</Formula></IntSwissKnife>");
    EXPECT_EQ(message_of([&] { camera["X"].set_int_value(1); }),
              "X cannot be written: in the formula of W: division by zero");
}

TEST(Limits, BeyondTheSignedRangeAreTheLargestValue)
{
    Camera camera(integer("Hex", "<Value>0</Value><Max>0xFFFFFFFFFFFFFFFF</Max>") +
                  integer("Decimal", "<Value>0</Value><Max>18446744073709551615</Max>") +
                  integer("Minus", "<Value>-5</Value><Max>-1</Max>") +
                  integer("Lowest", "<Value>0</Value><Min>0x8000000000000000</Min>"));
    EXPECT_EQ(camera["Hex"].int_max(), highest);
    EXPECT_EQ(camera["Decimal"].int_max(), highest);
    EXPECT_EQ(camera["Minus"].int_max(), -1);
    EXPECT_EQ(camera["Lowest"].int_min(), lowest);
    camera["Hex"].set_int_value(5);
    EXPECT_EQ(camera["Hex"].int_value(), 5);
    // also where a register has it
    Camera limited(wide("R") + integer("X", "<Value>0</Value><pMax>R</pMax>") +
                   integer("Y", "<Value>0</Value><pMax>S</pMax>") +
                   "<IntReg Name=\"S\"><Address>0</Address><Length>8</Length><pPort>Device</pPort><Sign>Signed</Sign>"
                   "<Endianess>BigEndian</Endianess></IntReg>");
    limited.port.set(0, std::vector<std::uint8_t>(8, 0xFF));
    EXPECT_EQ(limited["X"].int_max(), highest);
    EXPECT_EQ(limited["Y"].int_max(), -1);
}

TEST(Limits, TakeBackAnUnsignedValueThatIsReadAsNegative)
{
    const std::string all = "<Min>0</Min><Max>0xFFFFFFFFFFFFFFFF</Max><Inc>2</Inc>";
    Camera camera(wide("R") + integer("X", "<pValue>R</pValue>") + integer("Y", "<pValue>X</pValue>" + all) +
                  integer("Small", "<pValue>R</pValue><Max>1000</Max>"));
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
    Camera with_sign(wide("R", "Signed") + integer("X", "<pValue>R</pValue><Min>0</Min>"));
    EXPECT_THROW(with_sign["X"].set_int_value(-2), GenApi::ValueError);
}

TEST(Limits, DoNotRefuseAnEntrysOwnValue)
{
    const auto camera_with = [](std::string_view limits) {
        return "<Enumeration Name=\"E\"><EnumEntry Name=\"A\"><Value>1</Value></EnumEntry>"
               "<EnumEntry Name=\"B\"><Value>7</Value></EnumEntry><pValue>X</pValue></Enumeration>" +
               integer("X", "<pValue>C</pValue>" + std::string(limits)) +
               // said to rise, but 0 means 4, 1 means 7 and 2 means 1
               "<IntConverter Name=\"C\"><FormulaTo>(FROM=4) ? 0 : ((FROM=7) ? 1 : 2)</FormulaTo>"
               "<FormulaFrom>(TO=0) ? 4 : ((TO=1) ? 7 : 1)</FormulaFrom><pValue>M</pValue>"
               "<Slope>Increasing</Slope></IntConverter>" +
               integer("M", "<pValue>R</pValue><Min>0</Min><Max>2</Max>") + int_reg("R", 0);
    };
    for (const char* const limits : {"", "<Min>4</Min><Max>6</Max>"}) {
        Camera camera(camera_with(limits));
        camera["E"].set_entry("A");
        EXPECT_EQ(camera.port.get32(0), 2U) << limits;
        camera["E"].set_int_value(7);
        EXPECT_EQ(camera.port.get32(0), 1U) << limits;
        EXPECT_EQ(camera["E"].to_string(), "B") << limits;
        // a number that no entry stands for is measured against the limits
        EXPECT_THROW(camera["X"].set_int_value(7), GenApi::ValueError) << limits;
    }
    // what the register cannot hold is refused all the same
    Camera narrow("<Enumeration Name=\"E\"><EnumEntry Name=\"A\"><Value>256</Value></EnumEntry><pValue>X</pValue>"
                  "</Enumeration>" +
                  integer("X", "<pValue>R</pValue>") +
                  "<IntReg Name=\"R\"><Address>0</Address><Length>1</Length><AccessMode>RW</AccessMode>"
                  "<pPort>Device</pPort></IntReg>");
    EXPECT_THROW(narrow["E"].set_entry("A"), GenApi::ValueError);
    EXPECT_EQ(narrow.port.writes, 0);
}

TEST(Limits, HoldBackAFloatThatIsRoundedToAnIncrement)
{
    Camera camera("<Float Name=\"X\"><pValue>I</pValue></Float>" +
                  integer("I", "<pValue>R</pValue><Min>0</Min><Max>10</Max><Inc>4</Inc>") + int_reg("R", 0));
    camera["X"].set_float_value(10);
    EXPECT_EQ(camera.port.get32(0), 8U);
    camera["X"].set_float_value(9.9);
    EXPECT_EQ(camera.port.get32(0), 8U);
}

TEST(Limits, OfAConverterAreOpenWhereOneEndDoesNotTellTheDirection)
{
    Camera camera("<Converter Name=\"X\"><pValue>R</pValue><FormulaTo>100/FROM</FormulaTo>"
                  "<FormulaFrom>100/TO</FormulaFrom></Converter>" +
                  integer("R", "<Value>4</Value><Min>0</Min><Max>100</Max>"));
    EXPECT_EQ(camera["X"].float_min(), -DBL_MAX);
    EXPECT_EQ(camera["X"].float_max(), DBL_MAX);
    camera["X"].set_float_value(50);
    EXPECT_EQ(camera["R"].int_value(), 2);
}
