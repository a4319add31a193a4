// Values: registers and masks, indirection, converters, indexes, and the checks before a write.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "tests/sdk/genapi/memory_port.h"

using GenApi::AccessMode;

namespace {

std::string masked(std::string_view name, std::string_view bits, std::string_view endianess = "BigEndian",
                   std::string_view more = "", std::string_view access = "RW")
{
    return "<MaskedIntReg Name=\"" + std::string(name) + "\"><Address>0</Address><Length>4</Length><AccessMode>" +
           std::string(access) + "</AccessMode><pPort>Device</pPort>" + std::string(bits) + std::string(more) +
           "<Endianess>" + std::string(endianess) + "</Endianess></MaskedIntReg>";
}

std::string plain(std::string_view element, std::string_view name, int length, std::string_view endianess,
                  std::string_view more = "")
{
    return "<" + std::string(element) + " Name=\"" + std::string(name) + "\"><Address>0x10</Address><Length>" +
           std::to_string(length) + "</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>" + std::string(more) +
           "<Endianess>" + std::string(endianess) + "</Endianess></" + std::string(element) + ">";
}

std::string converter(std::string_view kind, std::string_view to, std::string_view from, std::string_view more = "")
{
    return "<" + std::string(kind) + " Name=\"X\"><pValue>R</pValue><FormulaTo>" + std::string(to) +
           "</FormulaTo><FormulaFrom>" + std::string(from) + "</FormulaFrom>" + std::string(more) + "</" +
           std::string(kind) + ">";
}

}  // namespace

TEST(IntegerRegister, HasTheByteOrderThatTheDescriptionSays)
{
    Camera camera(plain("IntReg", "B", 4, "BigEndian") + plain("IntReg", "L", 4, "LittleEndian") +
                  plain("IntReg", "B3", 3, "BigEndian") + plain("IntReg", "L8", 8, "LittleEndian"));
    camera.port.set(0x10, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08});
    EXPECT_EQ(camera["B"].int_value(), 0x01020304);
    EXPECT_EQ(camera["L"].int_value(), 0x04030201);
    EXPECT_EQ(camera["B3"].int_value(), 0x010203);
    EXPECT_EQ(camera["L8"].int_value(), 0x0807060504030201);
    camera["L"].set_int_value(0x0A0B0C0D);
    EXPECT_EQ(camera.port.get32(0x10), 0x0D0C0B0AU);
}

TEST(IntegerRegister, IsSignedOnlyWhenTheDescriptionSaysSo)
{
    Camera camera(plain("IntReg", "S", 2, "BigEndian", "<Sign>Signed</Sign>") + plain("IntReg", "U", 2, "BigEndian"));
    camera.port.set(0x10, {0xFF, 0xFE});
    EXPECT_EQ(camera["S"].int_value(), -2);
    EXPECT_EQ(camera["U"].int_value(), 0xFFFE);
    EXPECT_EQ(camera["S"].int_min(), -32768);
    EXPECT_EQ(camera["S"].int_max(), 32767);
    EXPECT_EQ(camera["U"].int_min(), 0);
    EXPECT_EQ(camera["U"].int_max(), 65535);
    camera["S"].set_int_value(-3);
    EXPECT_EQ(camera.port.get32(0x10) >> 16, 0xFFFDU);
}

TEST(IntegerRegister, DoesNotThrowForNumbersBeyondTheSignedRange)
{
    Camera camera(root({"X"}) + "<Integer Name=\"X\"><pValue>R</pValue></Integer>" +
                  plain("IntReg", "R", 8, "BigEndian"));
    camera.port.set(0x10, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE});
    EXPECT_EQ(camera["X"].int_value(), -2);
    EXPECT_EQ(camera["R"].int_value(), -2);
    EXPECT_EQ(camera["R"].int_max(), std::numeric_limits<std::int64_t>::max());
    camera["R"].set_int_value(-1);
    EXPECT_EQ(camera.port.bytes[0x17], 0xFF);
}

TEST(MaskedRegister, CountsBitsFromTheMostSignificantInBigEndian)
{
    Camera camera(masked("Top", "<Bit>0</Bit>") + masked("Last", "<Bit>31</Bit>") +
                  masked("Field", "<LSB>15</LSB><MSB>8</MSB>") + masked("Swapped", "<LSB>8</LSB><MSB>15</MSB>"));
    camera.port.set32(0, 0x80AB0000);
    EXPECT_EQ(camera["Top"].int_value(), 1);
    EXPECT_EQ(camera["Last"].int_value(), 0);
    EXPECT_EQ(camera["Field"].int_value(), 0xAB);
    EXPECT_EQ(camera["Swapped"].int_value(), 0xAB);
    EXPECT_EQ(camera["Field"].int_max(), 255);
}

TEST(MaskedRegister, CountsBitsFromTheLeastSignificantInLittleEndian)
{
    Camera camera(masked("Low", "<Bit>0</Bit>", "LittleEndian") +
                  masked("Field", "<LSB>8</LSB><MSB>15</MSB>", "LittleEndian") +
                  masked("Swapped", "<LSB>15</LSB><MSB>8</MSB>", "LittleEndian"));
    camera.port.set(0, {0x01, 0xAB, 0x00, 0x00});
    EXPECT_EQ(camera["Low"].int_value(), 1);
    EXPECT_EQ(camera["Field"].int_value(), 0xAB);
    EXPECT_EQ(camera["Swapped"].int_value(), 0xAB);
}

TEST(MaskedRegister, ExtendsTheSignOfItsField)
{
    Camera camera(masked("S", "<LSB>31</LSB><MSB>28</MSB>", "BigEndian", "<Sign>Signed</Sign>"));
    camera.port.set32(0, 0x0000000E);
    EXPECT_EQ(camera["S"].int_value(), -2);
    EXPECT_EQ(camera["S"].int_min(), -8);
    EXPECT_EQ(camera["S"].int_max(), 7);
    camera["S"].set_int_value(-8);
    EXPECT_EQ(camera.port.get32(0), 0x00000008U);
}

TEST(MaskedRegister, LeavesTheOtherBitsAsTheDeviceHasThem)
{
    Camera camera(masked("F", "<LSB>15</LSB><MSB>8</MSB>"));
    camera.port.set32(0, 0x11223344);
    EXPECT_EQ(camera["F"].int_value(), 0x22);
    // the device changes a neighbouring bit by itself: the cached word is no longer good for writing
    camera.port.set32(0, 0x11223345);
    camera["F"].set_int_value(0xFF);
    EXPECT_EQ(camera.port.get32(0), 0x11FF3345U);
    EXPECT_EQ(camera.port.writes, 1);
}

TEST(MaskedRegister, ComposesAWriteOnlyRegisterFromWhatWasWrittenBefore)
{
    Camera camera(masked("High", "<LSB>15</LSB><MSB>0</MSB>", "BigEndian", "", "WO") +
                  masked("Low", "<LSB>31</LSB><MSB>16</MSB>", "BigEndian", "", "WO"));
    camera.port.set32(0, 0xFFFFFFFF);
    camera["High"].set_int_value(0x1234);
    EXPECT_EQ(camera.port.get32(0), 0x12340000U);
    camera["Low"].set_int_value(0x5678);
    EXPECT_EQ(camera.port.get32(0), 0x12345678U);
    EXPECT_EQ(camera.port.reads, 0);
}

TEST(StructRegister, MakesANodeOfEveryEntry)
{
    Camera camera("<StructReg Comment=\"status\"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode>"
                  "<pPort>Device</pPort><Cachable>NoCache</Cachable><Endianess>BigEndian</Endianess>"
                  "<StructEntry Name=\"A\"><Bit>31</Bit></StructEntry>"
                  "<StructEntry Name=\"B\"><AccessMode>RW</AccessMode><Cachable>WriteThrough</Cachable>"
                  "<Sign>Signed</Sign><LSB>7</LSB><MSB>0</MSB></StructEntry></StructReg>");
    camera.port.set32(0, 0xFE000001);
    EXPECT_EQ(camera["A"].element(), "StructEntry");
    EXPECT_EQ(camera["A"].int_value(), 1);
    EXPECT_EQ(camera["B"].int_value(), -2);
    EXPECT_EQ(camera["A"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["B"].access(), AccessMode::read_write);
    camera["B"].set_int_value(5);
    EXPECT_EQ(camera.port.get32(0), 0x05000001U);
    EXPECT_TRUE(camera["B"].is_cached());
    EXPECT_FALSE(camera["A"].is_cached());
}

TEST(FloatRegister, HoldsSinglesAndDoubles)
{
    Camera camera(plain("FloatReg", "S", 4, "BigEndian") + plain("FloatReg", "D", 8, "LittleEndian"));
    camera.port.set32(0x10, 0x3FC00000);
    EXPECT_EQ(camera["S"].float_value(), 1.5);
    EXPECT_EQ(camera["S"].float_max(), FLT_MAX);
    camera["D"].set_float_value(-0.1);
    EXPECT_EQ(camera["D"].float_value(), -0.1);
    EXPECT_EQ(camera.port.bytes[0x17], 0xBF);
    camera["S"].set_float_value(2.5);
    EXPECT_EQ(camera.port.get32(0x10), 0x40200000U);
    EXPECT_THROW(camera["S"].set_float_value(1e300), GenApi::ValueError);
    EXPECT_THROW(camera["S"].set_float_value(std::nan("")), GenApi::ValueError);
}

TEST(Address, IsTheSumOfAllItsTerms)
{
    Camera camera("<IntReg Name=\"R\"><Address>0x100</Address><Address>0x10</Address><pAddress>Base</pAddress>"
                  "<IntSwissKnife><pVariable Name=\"B\">Base</pVariable><Formula>B*2</Formula></IntSwissKnife>"
                  "<pIndex Offset=\"8\">Index</pIndex><pIndex pOffset=\"Stride\">Index</pIndex><Length>4</Length>"
                  "<AccessMode>RW</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess></IntReg>"
                  "<Integer Name=\"Base\"><Value>0x1000</Value></Integer>"
                  "<Integer Name=\"Index\"><Value>2</Value></Integer>"
                  "<Integer Name=\"Stride\"><Value>0x20</Value></Integer>");
    EXPECT_EQ(camera["R"].register_address(), 0x100 + 0x10 + 0x1000 + 0x2000 + 16 + 0x40);
    camera.port.set32(0x3160, 99);
    EXPECT_EQ(camera["R"].int_value(), 99);
    camera["Index"].set_int_value(0);
    EXPECT_EQ(camera["R"].register_address(), 0x3110);
    EXPECT_EQ(camera["R"].int_value(), 0);
}

TEST(Address, StepsByTheRegistersOwnLengthWhenAnIndexHasNoOffset)
{
    Camera camera("<IntReg Name=\"R\"><Address>0x100</Address><pIndex>Index</pIndex><Length>4</Length>"
                  "<AccessMode>RW</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess></IntReg>"
                  "<Integer Name=\"Index\"><Value>3</Value></Integer>");
    EXPECT_EQ(camera["R"].register_address(), 0x10C);
}

TEST(Address, MayWrapAroundWithoutHarm)
{
    Camera camera("<IntReg Name=\"R\"><Address>0x7FFFFFFFFFFFFFFC</Address><pAddress>A</pAddress><Length>8</Length>"
                  "<AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>"
                  "<Integer Name=\"A\"><Value>0x7FFFFFFFFFFFFFFF</Value></Integer>" +
                  int_reg("Low", std::numeric_limits<std::int64_t>::min()) +
                  int_reg("High", std::numeric_limits<std::int64_t>::max() - 4));
    EXPECT_EQ(camera["R"].register_address(), -5);
    camera["R"].set_int_value(1);
    camera["Low"].set_int_value(1);
    camera["High"].set_int_value(2);
    EXPECT_EQ(camera["Low"].int_value(), 1);
    EXPECT_EQ(camera["High"].int_value(), 2);
}

TEST(Length, MayBeComputedAndIsChecked)
{
    Camera camera("<Register Name=\"R\"><Address>0</Address><pLength>L</pLength><AccessMode>RW</AccessMode>"
                  "<pPort>Device</pPort></Register><Integer Name=\"L\"><Value>16</Value></Integer>");
    EXPECT_EQ(camera["R"].register_length(), 16);
    for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1} << 40}) {
        camera["L"].set_int_value(length);
        EXPECT_EQ(message_of([&] { static_cast<void>(camera["R"].register_length()); }),
                  "R cannot be read: R cannot have a length of " + std::to_string(length) + " bytes");
    }
}

TEST(Integer, HasItsOwnLimitsElseThoseOfItsValue)
{
    Camera camera("<Integer Name=\"A\"><pValue>R</pValue></Integer>"
                  "<Integer Name=\"B\"><pValue>R</pValue><Min>16</Min><pMax>M</pMax><Inc>8</Inc></Integer>"
                  "<Float Name=\"M\"><Value>100.7</Value></Float>" +
                  int_reg("R", 0));
    EXPECT_EQ(camera["A"].int_max(), 0xFFFFFFFF);
    EXPECT_EQ(camera["B"].int_min(), 16);
    EXPECT_EQ(camera["B"].int_max(), 100);
    EXPECT_EQ(camera["B"].int_increment(), 8);
    camera["M"].set_float_value(50.2);
    EXPECT_EQ(camera["B"].int_max(), 50);
}

TEST(Integer, RefusesValuesOutsideItsLimitsInWords)
{
    Camera camera("<Integer Name=\"Width\"><pValue>R</pValue><Min>16</Min><Max>4096</Max><Inc>8</Inc></Integer>"
                  "<Integer Name=\"Even\"><Value>0</Value><Inc>2</Inc></Integer>"
                  "<Integer Name=\"Set\"><Value>1</Value><ValidValueSet>1;2;4</ValidValueSet></Integer>" +
                  int_reg("R", 0));
    GenApi::INode& width = camera["Width"];
    EXPECT_EQ(message_of<GenApi::ValueError>([&] { width.set_int_value(4097); }),
              "Width: 4097 is above its maximum of 4096");
    EXPECT_EQ(message_of<GenApi::ValueError>([&] { width.set_int_value(-1); }), "Width: -1 is below its minimum of 16");
    EXPECT_EQ(message_of<GenApi::ValueError>([&] { width.set_int_value(20); }),
              "Width: 20 is not its minimum of 16 plus a multiple of its increment of 8");
    EXPECT_EQ(code_of([&] { width.set_int_value(20); }), PvResult::InvalidParameter);
    width.set_int_value(24);
    EXPECT_EQ(camera.port.get32(0), 24U);
    EXPECT_EQ(camera.port.writes, 1);
    camera["Even"].set_int_value(std::numeric_limits<std::int64_t>::min());
    EXPECT_THROW(camera["Even"].set_int_value(-3), GenApi::ValueError);
    EXPECT_EQ(message_of([&] { camera["Set"].set_int_value(3); }), "Set: 3 is not one of its valid values");
    camera["Set"].set_int_value(4);
}

TEST(Integer, WritesItsCopiesToo)
{
    Camera camera("<Integer Name=\"X\"><pValue>A</pValue><pValueCopy>B</pValueCopy><pValueCopy>C</pValueCopy>"
                  "</Integer>" +
                  int_reg("A", 0) + int_reg("B", 4) + int_reg("C", 8));
    camera["X"].set_int_value(7);
    EXPECT_EQ(camera.port.get32(0), 7U);
    EXPECT_EQ(camera.port.get32(4), 7U);
    EXPECT_EQ(camera.port.get32(8), 7U);
}

TEST(Integer, ChoosesItsValueByIndex)
{
    Camera camera("<Integer Name=\"X\"><pIndex>I</pIndex><ValueIndexed Index=\"1\">11</ValueIndexed>"
                  "<pValueIndexed Index=\"2\">R</pValueIndexed><ValueDefault>99</ValueDefault></Integer>"
                  "<Float Name=\"F\"><pIndex>I</pIndex><ValueIndexed Index=\"1\">1.5</ValueIndexed></Float>"
                  "<Integer Name=\"I\"><Value>1</Value></Integer>" +
                  int_reg("R", 0));
    camera.port.set32(0, 22);
    EXPECT_EQ(camera["X"].int_value(), 11);
    EXPECT_EQ(camera["F"].float_value(), 1.5);
    camera["I"].set_int_value(2);
    EXPECT_EQ(camera["X"].int_value(), 22);
    EXPECT_EQ(camera["X"].int_max(), 0xFFFFFFFF);
    camera["X"].set_int_value(23);
    EXPECT_EQ(camera.port.get32(0), 23U);
    EXPECT_EQ(camera["F"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["F"].float_value()); }),
              "F is not available: there is no value for the index 2");
    camera["I"].set_int_value(3);
    EXPECT_EQ(camera["X"].int_value(), 99);
    camera["X"].set_int_value(98);
    EXPECT_EQ(camera["X"].int_value(), 98);
    camera["I"].set_int_value(1);
    EXPECT_EQ(camera["X"].int_value(), 11);
}

TEST(Float, RoundsToTheIntegerBehindIt)
{
    Camera camera("<Float Name=\"X\"><pValue>I</pValue></Float>"
                  "<Integer Name=\"I\"><pValue>R</pValue><Min>0</Min><Max>100</Max><Inc>5</Inc></Integer>" +
                  int_reg("R", 0));
    camera["X"].set_float_value(42.4);
    EXPECT_EQ(camera.port.get32(0), 40U);
    camera["X"].set_float_value(42.6);
    EXPECT_EQ(camera.port.get32(0), 45U);
    EXPECT_EQ(camera["X"].float_value(), 45.0);
    EXPECT_EQ(camera["X"].float_max(), 100.0);
    EXPECT_EQ(camera["X"].float_increment(), std::nullopt);
    EXPECT_EQ(message_of([&] { camera["X"].set_float_value(100.5); }), "X: 100.5 is above its maximum of 100");
}

TEST(Float, ChecksItsIncrementWithTheToleranceOfADouble)
{
    Camera camera("<Float Name=\"X\"><Value>0</Value><Min>0</Min><Max>100</Max><Inc>0.1</Inc></Float>");
    EXPECT_EQ(camera["X"].float_increment(), 0.1);
    camera["X"].set_float_value(0.3);
    camera["X"].set_float_value(99.9);
    EXPECT_THROW(camera["X"].set_float_value(0.35), GenApi::ValueError);
}

TEST(Converter, ComputesBothWays)
{
    Camera camera(converter("Converter", "FROM*10", "TO/10", "<Unit>ms</Unit>") + int_reg("R", 0));
    camera.port.set32(0, 25);
    EXPECT_EQ(camera["X"].float_value(), 2.5);
    camera["X"].set_float_value(3.14);
    EXPECT_EQ(camera.port.get32(0), 31U);
    EXPECT_EQ(camera["X"].float_min(), 0.0);
    EXPECT_EQ(camera["X"].float_max(), 429496729.5);
    EXPECT_EQ(camera["X"].unit(), "ms");
}

TEST(Converter, SwapsItsLimitsWhenItsSlopeFalls)
{
    const std::string raw = "<Integer Name=\"R\"><Value>4</Value><Min>1</Min><Max>100</Max></Integer>";
    for (const std::string slope : {"Decreasing", "Automatic"}) {
        Camera camera(converter("Converter", "100/FROM", "100/TO", "<Slope>" + slope + "</Slope>") + raw);
        EXPECT_EQ(camera["X"].float_min(), 1.0) << slope;
        EXPECT_EQ(camera["X"].float_max(), 100.0) << slope;
        EXPECT_EQ(camera["X"].float_value(), 25.0);
    }
    Camera rising(converter("Converter", "FROM/2", "TO*2", "<Slope>Increasing</Slope>") + raw);
    EXPECT_EQ(rising["X"].float_max(), 200.0);
    Camera varying(converter("Converter", "FROM", "TO", "<Slope>Varying</Slope>") + raw);
    EXPECT_EQ(varying["X"].float_max(), DBL_MAX);
    EXPECT_EQ(varying["X"].float_min(), -DBL_MAX);
}

TEST(Converter, IsOpenWhereItsFormulaHasNoResult)
{
    Camera camera(converter("Converter", "100/FROM", "100/TO", "<Slope>Decreasing</Slope>") +
                  "<Integer Name=\"R\"><Value>0</Value><Min>0</Min><Max>100</Max></Integer>");
    EXPECT_EQ(camera["X"].float_min(), 1.0);
    EXPECT_EQ(camera["X"].float_max(), DBL_MAX);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["X"].float_value()); }),
              "X cannot be read: in the formula of X: division by zero");
}

TEST(Converter, OfIntegersKeepsAllTheirBits)
{
    Camera camera(converter("IntConverter", "FROM-1", "TO+1") +
                  plain("IntReg", "R", 8, "BigEndian", "<Sign>Signed</Sign>"));
    camera.port.set(0x10, {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});
    EXPECT_EQ(camera["X"].int_value(), 0x7FFFFFFFFFFFFF01);
    camera["X"].set_int_value(0x7FFFFFFFFFFFFF03);
    EXPECT_EQ(camera.port.bytes[0x17], 0x02);
    EXPECT_EQ(camera["X"].int_max(), std::numeric_limits<std::int64_t>::max());
}

TEST(Converter, WithoutAWayBackIsReadOnly)
{
    Camera camera("<IntConverter Name=\"X\"><pValue>R</pValue><FormulaFrom>TO</FormulaFrom></IntConverter>" +
                  int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["X"].set_int_value(1); }),
              "X is not writable: it is read-only");
}

TEST(Converter, UsesVariablesBesideItsValue)
{
    Camera camera(converter("IntConverter", "FROM/F", "TO*F", "<pVariable Name=\"F\">Factor</pVariable>") +
                  "<Integer Name=\"R\"><Value>6</Value><Min>0</Min><Max>10</Max></Integer>"
                  "<Integer Name=\"Factor\"><Value>3</Value></Integer>");
    EXPECT_EQ(camera["X"].int_value(), 18);
    EXPECT_EQ(camera["X"].int_max(), 30);
    camera["Factor"].set_int_value(5);
    EXPECT_EQ(camera["X"].int_value(), 30);
    EXPECT_EQ(camera["X"].int_max(), 50);
}

TEST(SwissKnife, SeesEveryKindOfVariable)
{
    Camera camera(
        "<IntSwissKnife Name=\"X\"><pVariable Name=\"I\">I</pVariable><pVariable Name=\"F\">F</pVariable>"
        "<pVariable Name=\"B\">B</pVariable><pVariable Name=\"N\">N</pVariable>"
        "<Formula>I * 1000 + F * 100 + B * 10 + N</Formula></IntSwissKnife>"
        "<Integer Name=\"I\"><Value>1</Value></Integer><Float Name=\"F\"><Value>2.9</Value></Float>"
        "<Boolean Name=\"B\"><Value>7</Value><OnValue>7</OnValue></Boolean>"
        "<Enumeration Name=\"N\"><EnumEntry Name=\"Four\"><Value>4</Value></EnumEntry><Value>4</Value></Enumeration>");
    EXPECT_EQ(camera["X"].int_value(), 1214);
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
}

TEST(SwissKnife, SeesWhatASuffixMeans)
{
    Camera camera(
        "<IntSwissKnife Name=\"X\"><pVariable Name=\"I\">I</pVariable><pVariable Name=\"M.Max\">I</pVariable>"
        "<pVariable Name=\"N\">N</pVariable>"
        "<Formula>I.Value * 10000 + I.Min * 1000 + M.Max * 100 + I.Inc * 10 + N.Entry.Four</Formula></IntSwissKnife>"
        "<IntSwissKnife Name=\"Y\"><pVariable Name=\"I\">I</pVariable><Formula>I.Visibility * 10 + I.AccessMode"
        "</Formula></IntSwissKnife>"
        "<Integer Name=\"I\"><Visibility>Guru</Visibility><Value>5</Value><Min>1</Min><Max>9</Max><Inc>2</Inc>"
        "</Integer><Enumeration Name=\"N\"><EnumEntry Name=\"Four\"><Value>4</Value></EnumEntry><Value>4</Value>"
        "</Enumeration>");
    EXPECT_EQ(camera["X"].int_value(), 51924);
    EXPECT_EQ(camera["Y"].int_value(), 20 + static_cast<int>(AccessMode::read_write));
}

TEST(SwissKnife, TakesFormulasWithEntitiesAndLineBreaks)
{
    Camera camera("<IntSwissKnife Name=\"X\"><pVariable Name=\"V.A\">I</pVariable><Formula>\n (V.A &gt; 3 &amp;&amp; "
                  "V.A &lt;&gt; 7)\n ? \t10 : 20 </Formula></IntSwissKnife><Integer Name=\"I\"><Value>5</Value>"
                  "</Integer>");
    EXPECT_EQ(camera["X"].int_value(), 10);
    camera["I"].set_int_value(7);
    EXPECT_EQ(camera["X"].int_value(), 20);
}

TEST(SwissKnife, SaysWhatItCannotCompute)
{
    Camera camera("<SwissKnife Name=\"X\"><pVariable Name=\"V\">I</pVariable><Formula>LN(V)</Formula></SwissKnife>"
                  "<IntSwissKnife Name=\"Y\"><pVariable Name=\"V\">F</pVariable><Formula>V</Formula></IntSwissKnife>"
                  "<IntSwissKnife Name=\"Z\"><pVariable Name=\"V\">W</pVariable><Formula>V</Formula></IntSwissKnife>"
                  "<Integer Name=\"I\"><Value>0</Value></Integer><Float Name=\"F\"><Value>1e300</Value></Float>" +
                  int_reg("W", 0, "WO"));
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["X"].float_value()); }),
              "X cannot be read: in the formula of X: the result is not a finite number");
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["X"].float_value()); }), PvResult::ErrOverflow);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["Y"].int_value()); }),
              "Y cannot be read: in the formula of Y: 1e+300 does not fit a 64-bit integer");
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["Z"].int_value()); }),
              "Z is not available: in the formula of Z: W is not readable: it is write-only");
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["Z"].int_value()); }), PvResult::StateError);
}

TEST(Value, ReportsWhatTheDeviceSaysOfAWrite)
{
    Camera camera("<Integer Name=\"X\"><pError>E</pError><Value>1</Value></Integer>"
                  "<Enumeration Name=\"E\"><EnumEntry Name=\"Ok\"><Value>0</Value></EnumEntry>"
                  "<EnumEntry Name=\"Hot\"><Description>The sensor is too hot</Description><Value>3</Value>"
                  "</EnumEntry><pValue>R</pValue></Enumeration>" +
                  int_reg("R", 0, "RO"));
    camera["X"].set_int_value(2);
    camera.port.set32(0, 3);
    EXPECT_EQ(message_of([&] { camera["X"].set_int_value(3); }),
              "X: the device reports an error: The sensor is too hot");
}

TEST(Value, OfAnotherKindIsRefusedInWords)
{
    Camera camera("<Float Name=\"Gain\"><Value>1</Value></Float><Boolean Name=\"B\"><Value>1</Value></Boolean>");
    EXPECT_EQ(message_of<GenApi::TypeError>([&] { static_cast<void>(camera["Gain"].int_value()); }),
              "Gain is a Float and has no integer value");
    EXPECT_THROW(static_cast<void>(camera["Gain"].bool_value()), GenApi::TypeError);
    EXPECT_THROW(static_cast<void>(camera["Gain"].string_value()), GenApi::TypeError);
    EXPECT_THROW(static_cast<void>(camera["Gain"].current_entry()), GenApi::TypeError);
    EXPECT_THROW(camera["Gain"].execute(), GenApi::TypeError);
    EXPECT_THROW(static_cast<void>(camera["Gain"].register_length()), GenApi::TypeError);
    EXPECT_THROW(static_cast<void>(camera["B"].float_value()), GenApi::TypeError);
    EXPECT_THROW(static_cast<void>(camera["Device"].to_string()), GenApi::TypeError);
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["Gain"].int_value()); }), PvResult::InvalidParameter);
}

TEST(Text, FollowsTheRepresentation)
{
    const auto integer = [](std::string_view representation) {
        return "<Integer Name=\"" + std::string(representation) + "\"><Value>0xC0A80001</Value><Representation>" +
               std::string(representation) + "</Representation></Integer>";
    };
    Camera camera(integer("HexNumber") + integer("IPV4Address") + integer("MACAddress") + integer("Linear") +
                  "<Float Name=\"F\"><Value>0.1</Value></Float>");
    EXPECT_EQ(camera["HexNumber"].to_string(), "0xC0A80001");
    EXPECT_EQ(camera["IPV4Address"].to_string(), "192.168.0.1");
    EXPECT_EQ(camera["MACAddress"].to_string(), "00:00:C0:A8:00:01");
    EXPECT_EQ(camera["Linear"].to_string(), "3232235521");
    EXPECT_EQ(camera["F"].to_string(), "0.1");
    for (const char* const name : {"HexNumber", "IPV4Address", "MACAddress", "Linear"}) {
        const std::string text = camera[name].to_string();
        camera[name].set_int_value(0);
        camera[name].from_string(" " + text + " ");
        EXPECT_EQ(camera[name].int_value(), 0xC0A80001) << name;
    }
    camera["F"].from_string("1e-3");
    EXPECT_EQ(camera["F"].float_value(), 0.001);
    EXPECT_EQ(message_of([&] { camera["Linear"].from_string("1.2.3"); }), "Linear: \"1.2.3\" is not an integer");
    EXPECT_EQ(message_of([&] { camera["Linear"].from_string("1.2.3.4.5"); }),
              "Linear: \"1.2.3.4.5\" is not an integer");
    EXPECT_EQ(message_of([&] { camera["Linear"].from_string("256.0.0.1"); }),
              "Linear: \"256.0.0.1\" is not an integer");
    EXPECT_EQ(message_of([&] { camera["Linear"].from_string(""); }), "Linear: \"\" is not an integer");
    EXPECT_EQ(message_of([&] { camera["F"].from_string("fast"); }), "F: \"fast\" is not a number");
}
