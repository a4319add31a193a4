// Values: registers and masks, indirection, converters, indexes, and the checks before a write.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;

TEST(IntegerRegister, HasTheByteOrderThatTheDescriptionSays)
{
    Camera camera(int_reg("B", 0x10) + int_reg("L", 0x10, {.byte_order = "LittleEndian"}) +
                  int_reg("B3", 0x10, {.length = 3}) +
                  int_reg("L8", 0x10, {.length = 8, .byte_order = "LittleEndian"}));
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
    Camera camera(int_reg("S", 0x10, {.length = 2, .sign = "Signed"}) + int_reg("U", 0x10, {.length = 2}));
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
    Camera camera(root({"X"}) + integer("X", {.value = "R"}) + int_reg("R", 0x10, {.length = 8}));
    camera.port.set(0x10, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE});
    EXPECT_EQ(camera["X"].int_value(), -2);
    EXPECT_EQ(camera["R"].int_value(), -2);
    EXPECT_EQ(camera["R"].int_max(), std::numeric_limits<std::int64_t>::max());
    camera["R"].set_int_value(-1);
    EXPECT_EQ(camera.port.bytes[0x17], 0xFF);
}

TEST(MaskedRegister, CountsBitsFromTheMostSignificantInBigEndian)
{
    Camera camera(masked_int_reg("Top", 0, {.bit = 0}) + masked_int_reg("Last", 0, {.bit = 31}) +
                  masked_int_reg("Field", 0, {.lsb = 15, .msb = 8}) +
                  masked_int_reg("Swapped", 0, {.lsb = 8, .msb = 15}));
    camera.port.set32(0, 0x80AB0000);
    EXPECT_EQ(camera["Top"].int_value(), 1);
    EXPECT_EQ(camera["Last"].int_value(), 0);
    EXPECT_EQ(camera["Field"].int_value(), 0xAB);
    EXPECT_EQ(camera["Swapped"].int_value(), 0xAB);
    EXPECT_EQ(camera["Field"].int_max(), 255);
}

TEST(MaskedRegister, CountsBitsFromTheLeastSignificantInLittleEndian)
{
    Camera camera(masked_int_reg("Low", 0, {.byte_order = "LittleEndian", .bit = 0}) +
                  masked_int_reg("Field", 0, {.byte_order = "LittleEndian", .lsb = 8, .msb = 15}) +
                  masked_int_reg("Swapped", 0, {.byte_order = "LittleEndian", .lsb = 15, .msb = 8}));
    camera.port.set(0, {0x01, 0xAB, 0x00, 0x00});
    EXPECT_EQ(camera["Low"].int_value(), 1);
    EXPECT_EQ(camera["Field"].int_value(), 0xAB);
    EXPECT_EQ(camera["Swapped"].int_value(), 0xAB);
}

TEST(MaskedRegister, ExtendsTheSignOfItsField)
{
    Camera camera(masked_int_reg("S", 0, {.sign = "Signed", .lsb = 31, .msb = 28}));
    camera.port.set32(0, 0x0000000E);
    EXPECT_EQ(camera["S"].int_value(), -2);
    EXPECT_EQ(camera["S"].int_min(), -8);
    EXPECT_EQ(camera["S"].int_max(), 7);
    camera["S"].set_int_value(-8);
    EXPECT_EQ(camera.port.get32(0), 0x00000008U);
}

TEST(MaskedRegister, LeavesTheOtherBitsAsTheDeviceHasThem)
{
    Camera camera(masked_int_reg("F", 0, {.lsb = 15, .msb = 8}));
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
    Camera camera(masked_int_reg("High", 0, {.access = "WO", .lsb = 15, .msb = 0}) +
                  masked_int_reg("Low", 0, {.access = "WO", .lsb = 31, .msb = 16}));
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
    Camera camera(float_reg("S", 0x10) + float_reg("D", 0x10, {.length = 8, .byte_order = "LittleEndian"}));
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
    const std::string formula =
        "<IntSwissKnife><pVariable Name=\"B\">Base</pVariable><Formula>B*2</Formula></IntSwissKnife>";
    Camera camera(int_reg("R", 0x100,
                          {.more = element("Address", 0x10) + element("pAddress", "Base") + formula +
                                   indexed_by("Index", 8) + "<pIndex pOffset=\"Stride\">Index</pIndex>"}) +
                  integer("Base", {.value = 0x1000}) + integer("Index", {.value = 2}) +
                  integer("Stride", {.value = 0x20}));
    EXPECT_EQ(camera["R"].register_address(), 0x100 + 0x10 + 0x1000 + 0x2000 + 16 + 0x40);
    camera.port.set32(0x3160, 99);
    EXPECT_EQ(camera["R"].int_value(), 99);
    camera["Index"].set_int_value(0);
    EXPECT_EQ(camera["R"].register_address(), 0x3110);
    EXPECT_EQ(camera["R"].int_value(), 0);
}

TEST(Address, StepsByTheRegistersOwnLengthWhenAnIndexHasNoOffset)
{
    Camera camera(int_reg("R", 0x100, {.more = element("pIndex", "Index")}) + integer("Index", {.value = 3}));
    EXPECT_EQ(camera["R"].register_address(), 0x10C);
}

TEST(Address, MayWrapAroundWithoutHarm)
{
    Camera camera(int_reg("R", 0x7FFFFFFFFFFFFFFC, {.length = 8, .more = element("pAddress", "A")}) +
                  integer("A", {.value = 0x7FFFFFFFFFFFFFFF}) +
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
    Camera camera(raw_reg("R", 0, {.length = "L"}) + integer("L", {.value = 16}));
    EXPECT_EQ(camera["R"].register_length(), 16);
    for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1} << 40}) {
        camera["L"].set_int_value(length);
        EXPECT_EQ(message_of([&] { static_cast<void>(camera["R"].register_length()); }),
                  "R cannot be read: R cannot have a length of " + std::to_string(length) + " bytes");
    }
}

TEST(Integer, HasItsOwnLimitsElseThoseOfItsValue)
{
    Camera camera(integer("A", {.value = "R"}) + integer("B", {.value = "R", .min = 16, .max = "M", .inc = 8}) +
                  floating("M", {.value = 100.7}) + int_reg("R", 0));
    EXPECT_EQ(camera["A"].int_max(), 0xFFFFFFFF);
    EXPECT_EQ(camera["B"].int_min(), 16);
    EXPECT_EQ(camera["B"].int_max(), 100);
    EXPECT_EQ(camera["B"].int_increment(), 8);
    camera["M"].set_float_value(50.2);
    EXPECT_EQ(camera["B"].int_max(), 50);
}

TEST(Integer, RefusesValuesOutsideItsLimitsInWords)
{
    Camera camera(integer("Width", {.value = "R", .min = 16, .max = 4096, .inc = 8}) +
                  integer("Even", {.value = 0, .inc = 2}) +
                  integer("Set", {.value = 1, .more = element("ValidValueSet", "1;2;4")}) + int_reg("R", 0));
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
    Camera camera(integer("X", {.value = "A", .value_copies = {"B", "C"}}) + int_reg("A", 0) + int_reg("B", 4) +
                  int_reg("C", 8));
    camera["X"].set_int_value(7);
    EXPECT_EQ(camera.port.get32(0), 7U);
    EXPECT_EQ(camera.port.get32(4), 7U);
    EXPECT_EQ(camera.port.get32(8), 7U);
}

TEST(Integer, ChoosesItsValueByIndex)
{
    Camera camera("<Integer Name=\"X\"><pIndex>I</pIndex><ValueIndexed Index=\"1\">11</ValueIndexed>"
                  "<pValueIndexed Index=\"2\">R</pValueIndexed><ValueDefault>99</ValueDefault></Integer>"
                  "<Float Name=\"F\"><pIndex>I</pIndex><ValueIndexed Index=\"1\">1.5</ValueIndexed></Float>" +
                  integer("I", {.value = 1}) + int_reg("R", 0));
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
    Camera camera(floating("X", {.value = "I"}) + integer("I", {.value = "R", .min = 0, .max = 100, .inc = 5}) +
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
    Camera camera(floating("X", {.value = 0, .min = 0, .max = 100, .inc = 0.1}));
    EXPECT_EQ(camera["X"].float_increment(), 0.1);
    camera["X"].set_float_value(0.3);
    camera["X"].set_float_value(99.9);
    EXPECT_THROW(camera["X"].set_float_value(0.35), GenApi::ValueError);
}

TEST(Converter, ComputesBothWays)
{
    Camera camera(converter("X", {.value = "R", .unit = "ms", .formula_to = "FROM*10", .formula_from = "TO/10"}) +
                  int_reg("R", 0));
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
    const std::string raw = integer("R", {.value = 4, .min = 1, .max = 100});
    for (const std::string slope : {"Decreasing", "Automatic"}) {
        Camera camera(
            converter("X", {.value = "R", .formula_to = "100/FROM", .formula_from = "100/TO", .slope = slope}) + raw);
        EXPECT_EQ(camera["X"].float_min(), 1.0) << slope;
        EXPECT_EQ(camera["X"].float_max(), 100.0) << slope;
        EXPECT_EQ(camera["X"].float_value(), 25.0);
    }
    Camera rising(
        converter("X", {.value = "R", .formula_to = "FROM/2", .formula_from = "TO*2", .slope = "Increasing"}) + raw);
    EXPECT_EQ(rising["X"].float_max(), 200.0);
    Camera varying(converter("X", {.value = "R", .formula_to = "FROM", .formula_from = "TO", .slope = "Varying"}) +
                   raw);
    EXPECT_EQ(varying["X"].float_max(), DBL_MAX);
    EXPECT_EQ(varying["X"].float_min(), -DBL_MAX);
}

TEST(Converter, IsOpenWhereItsFormulaHasNoResult)
{
    Camera camera(
        converter("X", {.value = "R", .formula_to = "100/FROM", .formula_from = "100/TO", .slope = "Decreasing"}) +
        integer("R", {.value = 0, .min = 0, .max = 100}));
    EXPECT_EQ(camera["X"].float_min(), 1.0);
    EXPECT_EQ(camera["X"].float_max(), DBL_MAX);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["X"].float_value()); }),
              "X cannot be read: in the formula of X: division by zero");
}

TEST(Converter, OfIntegersKeepsAllTheirBits)
{
    Camera camera(int_converter("X", {.value = "R", .formula_to = "FROM-1", .formula_from = "TO+1"}) +
                  int_reg("R", 0x10, {.length = 8, .sign = "Signed"}));
    camera.port.set(0x10, {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});
    EXPECT_EQ(camera["X"].int_value(), 0x7FFFFFFFFFFFFF01);
    camera["X"].set_int_value(0x7FFFFFFFFFFFFF03);
    EXPECT_EQ(camera.port.bytes[0x17], 0x02);
    EXPECT_EQ(camera["X"].int_max(), std::numeric_limits<std::int64_t>::max());
}

TEST(Converter, WithoutAWayBackIsReadOnly)
{
    Camera camera(int_converter("X", {.value = "R", .formula_from = "TO"}) + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["X"].set_int_value(1); }),
              "X is not writable: it is read-only");
}

TEST(Converter, UsesVariablesBesideItsValue)
{
    Camera camera(
        int_converter("X",
                      {.variables = {{"F", "Factor"}}, .value = "R", .formula_to = "FROM/F", .formula_from = "TO*F"}) +
        integer("R", {.value = 6, .min = 0, .max = 10}) + integer("Factor", {.value = 3}));
    EXPECT_EQ(camera["X"].int_value(), 18);
    EXPECT_EQ(camera["X"].int_max(), 30);
    camera["Factor"].set_int_value(5);
    EXPECT_EQ(camera["X"].int_value(), 30);
    EXPECT_EQ(camera["X"].int_max(), 50);
}

TEST(SwissKnife, SeesEveryKindOfVariable)
{
    Camera camera(
        int_swiss_knife("X", "I * 1000 + F * 100 + B * 10 + N", {{"I", "I"}, {"F", "F"}, {"B", "B"}, {"N", "N"}}) +
        integer("I", {.value = 1}) + floating("F", {.value = 2.9}) + boolean("B", {.value = 7, .on_value = 7}) +
        enumeration("N", 4, {{"Four", 4}}));
    EXPECT_EQ(camera["X"].int_value(), 1214);
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
}

TEST(SwissKnife, SeesWhatASuffixMeans)
{
    Camera camera(int_swiss_knife("X", "I.Value * 10000 + I.Min * 1000 + M.Max * 100 + I.Inc * 10 + N.Entry.Four",
                                  {{"I", "I"}, {"M.Max", "I"}, {"N", "N"}}) +
                  int_swiss_knife("Y", "I.Visibility * 10 + I.AccessMode", {{"I", "I"}}) +
                  integer("I", {.visibility = "Guru", .value = 5, .min = 1, .max = 9, .inc = 2}) +
                  enumeration("N", 4, {{"Four", 4}}));
    EXPECT_EQ(camera["X"].int_value(), 51924);
    EXPECT_EQ(camera["Y"].int_value(), 20 + static_cast<int>(AccessMode::read_write));
}

TEST(SwissKnife, TakesFormulasWithEntitiesAndLineBreaks)
{
    Camera camera(int_swiss_knife("X", "\n (V.A > 3 && V.A <> 7)\n ? \t10 : 20 ", {{"V.A", "I"}}) +
                  integer("I", {.value = 5}));
    EXPECT_EQ(camera["X"].int_value(), 10);
    camera["I"].set_int_value(7);
    EXPECT_EQ(camera["X"].int_value(), 20);
}

TEST(SwissKnife, SaysWhatItCannotCompute)
{
    Camera camera(swiss_knife("X", "LN(V)", {{"V", "I"}}) + int_swiss_knife("Y", "V", {{"V", "F"}}) +
                  int_swiss_knife("Z", "V", {{"V", "W"}}) + integer("I", {.value = 0}) +
                  floating("F", {.value = 1e300}) + int_reg("W", 0, "WO"));
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
    Camera camera(integer("X", {.error = "E", .value = 1}) +
                  enumeration("E", "R", {{"Ok", 0}, {"Hot", 3, {.description = "The sensor is too hot"}}}) +
                  int_reg("R", 0, "RO"));
    camera["X"].set_int_value(2);
    camera.port.set32(0, 3);
    EXPECT_EQ(message_of([&] { camera["X"].set_int_value(3); }),
              "X: the device reports an error: The sensor is too hot");
}

TEST(Value, OfAnotherKindIsRefusedInWords)
{
    Camera camera(floating("Gain", {.value = 1}) + boolean("B", {.value = 1}));
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
    const auto address = [](const std::string& representation) {
        return integer(representation, {.value = 0xC0A80001, .representation = representation});
    };
    Camera camera(address("HexNumber") + address("IPV4Address") + address("MACAddress") + address("Linear") +
                  floating("F", {.value = 0.1}));
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
