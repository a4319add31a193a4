// Caching: what costs a transfer, and what registers at one place know of each other.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/changes.h"

using namespace camera_xml;
using GenApi::ReadMode;

TEST(Cache, AnswersASecondReadWithoutATransfer)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0));
    EXPECT_FALSE(camera["X"].is_cached());
    static_cast<void>(camera["X"].int_value());
    EXPECT_TRUE(camera["X"].is_cached());
    for (int i = 0; i < 10; ++i) {
        static_cast<void>(camera["X"].int_value());
    }
    EXPECT_EQ(camera.port.transfers(), 1);
}

TEST(Cache, KeepsWhatWasWrittenThrough)
{
    Camera camera(int_reg("A", 0, {.cachable = "WriteThrough"}));
    camera["A"].set_int_value(5);
    EXPECT_EQ(camera["A"].int_value(), 5);
    EXPECT_EQ(camera.port.reads, 0);
}

TEST(Cache, FetchesWhatWasWrittenAround)
{
    Camera camera(int_reg("A", 0, {.cachable = "WriteAround"}));
    camera["A"].set_int_value(5);
    camera.port.set32(0, 6);
    EXPECT_EQ(camera["A"].int_value(), 6);
    EXPECT_EQ(camera["A"].int_value(), 6);
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Cache, AsksEveryTimeWhereTheDescriptionForbidsIt)
{
    Camera camera(integer("X", {.value = "K"}) + int_swiss_knife("K", "V+1", {{"V", "R"}}) +
                  int_reg("R", 0, {.cachable = "NoCache"}));
    EXPECT_EQ(camera["X"].int_value(), 1);
    camera.port.set32(0, 5);
    EXPECT_EQ(camera["X"].int_value(), 6);
    EXPECT_EQ(camera.port.reads, 2);
    EXPECT_FALSE(camera["X"].is_cached());
}

TEST(Cache, AsksOncePerOperationWhereTheDescriptionForbidsIt)
{
    Camera camera(int_swiss_knife("X", "A + B + A", {{"A", "R"}, {"B", "K"}}) +
                  int_swiss_knife("K", "V*2", {{"V", "R"}}) + int_reg("R", 0, {.cachable = "NoCache"}));
    camera.port.set32(0, 10);
    EXPECT_EQ(camera["X"].int_value(), 40);
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Cache, OfFloatRegistersIsWrittenAround)
{
    Camera camera(float_reg("F", 0));
    camera["F"].set_float_value(1.1);
    // the register holds a single: what it made of the value is read back
    EXPECT_EQ(camera["F"].float_value(), static_cast<double>(1.1F));
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Cache, IsSharedByRegistersAtOnePlace)
{
    Camera camera(masked_int_reg("A", 0, {.bit = 31}) + masked_int_reg("B", 0, {.bit = 30}) + int_reg("W", 0));
    camera.port.set32(0, 2);
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera["B"].int_value(), 1);
    EXPECT_EQ(camera["W"].int_value(), 2);
    EXPECT_EQ(camera.port.reads, 1);
    camera["A"].set_int_value(1);
    EXPECT_EQ(camera["W"].int_value(), 3);
    camera["W"].set_int_value(0);
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera["B"].int_value(), 0);
}

TEST(Cache, SeesAWriteThroughAnOverlappingRegister)
{
    Camera camera(raw_reg("Block", 0, {.length = 16}) + int_reg("A", 4) + int_reg("B", 16));
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera["B"].int_value(), 0);
    std::vector<std::uint8_t> bytes(16, 1);
    camera["Block"].set_bytes(bytes);
    EXPECT_EQ(camera["A"].int_value(), 0x01010101);
    const int reads = camera.port.reads;
    EXPECT_EQ(camera["B"].int_value(), 0);
    EXPECT_EQ(camera.port.reads, reads);
    camera["A"].set_int_value(2);
    camera["Block"].get_bytes(bytes);
    EXPECT_EQ(bytes[7], 2);
}

TEST(Cache, IsBypassedByAFreshRead)
{
    Camera camera(integer("X", {.value = "R"}) + int_swiss_knife("K", "V+1", {{"V", "X"}}) + int_reg("R", 0));
    EXPECT_EQ(camera["K"].int_value(), 1);
    camera.port.set32(0, 5);
    EXPECT_EQ(camera["X"].int_value(), 0);
    Watch watch(camera["K"]);
    EXPECT_EQ(camera["X"].int_value(ReadMode::fresh), 5);
    EXPECT_EQ(camera["K"].int_value(), 6);
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(camera["X"].int_value(ReadMode::fresh), 5);
    EXPECT_EQ(watch.count, 1);
    camera.port.set32(0, 7);
    EXPECT_EQ(camera["K"].int_value(ReadMode::fresh), 8);
}

TEST(Cache, IsForgottenByANode)
{
    Camera camera(integer("X", {.value = "R"}) + integer("Y", {.value = "X"}) + int_reg("R", 0));
    EXPECT_EQ(camera["Y"].int_value(), 0);
    camera.port.set32(0, 5);
    camera["X"].invalidate();
    EXPECT_FALSE(camera["Y"].is_cached());
    EXPECT_EQ(camera["Y"].int_value(), 5);
    camera.port.set32(0, 6);
    camera.map->invalidate_all();
    EXPECT_EQ(camera["Y"].int_value(), 6);
}

TEST(Cache, IsDoubtfulAfterAFailedWrite)
{
    Camera camera(int_reg("R", 0));
    EXPECT_EQ(camera["R"].int_value(), 0);
    camera.port.failure = "no answer";
    EXPECT_THROW(camera["R"].set_int_value(4), GenApi::PortError);
    camera.port.failure.clear();
    camera.port.set32(0, 4);
    EXPECT_EQ(camera["R"].int_value(), 4);
}

TEST(Cache, SeesAWriteThroughARegisterThatSharesOneByte)
{
    Camera camera(raw_reg("Block", 0, {.length = 5}) + int_reg("Behind", 4) + int_reg("Before", -3));
    EXPECT_EQ(camera["Behind"].int_value(), 0);
    EXPECT_EQ(camera["Before"].int_value(), 0);
    std::vector<std::uint8_t> bytes(5, 1);
    camera["Block"].set_bytes(bytes);
    EXPECT_EQ(camera["Behind"].int_value(), 0x01000000);
    EXPECT_EQ(camera["Before"].int_value(), 1);
    camera["Behind"].set_int_value(0x02000000);
    camera["Before"].set_int_value(3);
    camera["Block"].get_bytes(bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{3, 1, 1, 1, 2}));
}

TEST(Cache, SeesAWriteThroughARegisterAtTheSameComputedPlace)
{
    const std::string in_base = element("pAddress", "Base");
    Camera camera(int_reg("A", 4, {.more = in_base}) + int_reg("B", 4, {.more = in_base}) +
                  int_reg("Half", 6, {.length = 2, .more = in_base}) + int_reg("Next", 8, {.more = in_base}) +
                  int_reg("F", 0x104) + integer("Base", {.value = 0x100}));
    for (const char* const name : {"A", "B", "Half", "Next", "F"}) {
        EXPECT_EQ(camera[name].int_value(), 0) << name;
    }
    Watch watch(camera["B"]);
    Watch next(camera["Next"]);
    camera["A"].set_int_value(0x10005);
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(camera["B"].int_value(), 0x10005);
    EXPECT_EQ(camera["Half"].int_value(), 5);
    EXPECT_EQ(camera["F"].int_value(), 0x10005);
    // and the other way, through a register whose place is fixed
    camera["F"].set_int_value(0x20006);
    EXPECT_EQ(watch.count, 2);
    EXPECT_EQ(camera["A"].int_value(), 0x20006);
    EXPECT_EQ(camera["B"].int_value(), 0x20006);
    EXPECT_EQ(camera["Half"].int_value(), 6);
    const int reads = camera.port.reads;
    EXPECT_EQ(camera["Next"].int_value(), 0);
    EXPECT_EQ(camera.port.reads, reads);
    EXPECT_EQ(next.count, 0);
}

TEST(Cache, SeesAWriteWhereARegisterHasMovedTo)
{
    Camera camera(int_reg("A", 0, {.more = indexed_by("I", 4)}) + int_reg("Old", 4) + int_reg("New", 8) +
                  integer("I", {.value = 1}));
    EXPECT_EQ(camera["A"].int_value(), 0);
    camera["I"].set_int_value(2);
    EXPECT_EQ(camera["A"].int_value(), 0);
    Watch watch(camera["A"]);
    camera["Old"].set_int_value(7);
    EXPECT_EQ(watch.count, 0);
    EXPECT_EQ(camera["A"].int_value(), 0);
    camera["New"].set_int_value(9);
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(camera["A"].int_value(), 9);
}

TEST(Cache, SeesAWriteThroughARegisterOfTheOtherByteOrder)
{
    // both are the last byte
    Camera camera(masked_int_reg("Big", 0, {.lsb = 31, .msb = 24}) +
                  masked_int_reg("Little", 0, {.byte_order = "LittleEndian", .lsb = 24, .msb = 31}));
    EXPECT_EQ(camera["Little"].int_value(), 0);
    camera["Big"].set_int_value(5);
    EXPECT_EQ(camera["Little"].int_value(), 5);
}

TEST(Cache, OfLimitsIsForgottenWithEverythingElse)
{
    Camera camera(
        integer("X", {.value = "R", .max = "Most"}) + int_reg("R", 0) + int_reg("Most", 4) +
        int_converter("C",
                      {.variables = {{"V", "Most"}}, .value = "M", .formula_to = "FROM-V", .formula_from = "TO+V"}) +
        integer("M", {.value = 0, .min = 0, .max = 10}));
    camera.port.set32(4, 100);
    EXPECT_EQ(camera["X"].int_max(), 100);
    EXPECT_EQ(camera["C"].int_max(), 110);
    camera.port.set32(4, 200);
    camera.map->invalidate_all();
    EXPECT_EQ(camera["X"].int_max(), 200);
    EXPECT_EQ(camera["C"].int_max(), 210);
}

TEST(Cache, OfAValueByIndexIsForgottenDownToItsRegister)
{
    Camera camera("<Integer Name=\"X\"><pIndex>I</pIndex><pValueIndexed Index=\"1\">R</pValueIndexed>"
                  "<ValueDefault>99</ValueDefault></Integer>" +
                  integer("I", {.value = 1}) + int_reg("R", 0));
    EXPECT_EQ(camera["X"].int_value(), 0);
    camera.port.set32(0, 5);
    camera["X"].invalidate();
    EXPECT_EQ(camera["X"].int_value(), 5);
}

TEST(Cache, OfAWriteOnlyRegisterStaysWhereItWas)
{
    const auto half = [](std::string_view name, int lsb, int msb) {
        return masked_int_reg(name, 0, {.access = "WO", .lsb = lsb, .msb = msb, .more = indexed_by("I", 4)});
    };
    Camera camera(half("High", 15, 0) + half("Low", 31, 16) + integer("I", {.value = 0}));
    camera["High"].set_int_value(0x1234);
    camera["I"].set_int_value(1);
    camera["Low"].set_int_value(0x5678);
    EXPECT_EQ(camera.port.get32(0), 0x12340000U);
    EXPECT_EQ(camera.port.get32(4), 0x00005678U);
}

TEST(Cache, IsDoubtfulAfterAPartThatCouldNotBeWritten)
{
    Camera camera(raw_reg("Block", 0, {.length = 16}) + int_reg("A", 4));
    EXPECT_EQ(camera["A"].int_value(), 0);
    Watch watch(camera["A"]);
    camera.port.failure = "no answer";
    const std::vector<std::uint8_t> bytes(8, 1);
    EXPECT_THROW(camera["Block"].set_bytes(bytes), GenApi::PortError);
    camera.port.failure.clear();
    // the device took the write all the same
    camera.port.set(0, bytes);
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(camera["A"].int_value(), 0x01010101);
}

TEST(Cache, OfStringsInACircleAnswers)
{
    Camera camera(string("S", {.value = "S"}) + string("A", {.value = "B"}) + string("B", {.value = "A"}) +
                  string("C", {.value = "A"}));
    for (const char* const name : {"S", "A", "B", "C"}) {
        EXPECT_FALSE(camera[name].is_cached()) << name;
        EXPECT_THROW(static_cast<void>(camera[name].string_value()), GenApi::Error) << name;
        EXPECT_THROW(static_cast<void>(camera[name].string_max_length()), GenApi::Error) << name;
    }
}

TEST(Cache, TellsTheNeighboursOfBitsThatTheDeviceChanged)
{
    Camera camera(masked_int_reg("Written", 0, {.bit = 31}) + masked_int_reg("Other", 0, {.bit = 0}));
    EXPECT_EQ(camera["Other"].int_value(), 0);
    Watch watch(camera["Other"]);
    camera["Written"].set_int_value(1);
    EXPECT_EQ(watch.count, 0);
    camera.port.set32(0, 0x80000000);
    camera["Written"].set_int_value(0);
    EXPECT_EQ(watch.count, 1);
    const int reads = camera.port.reads;
    EXPECT_EQ(camera["Other"].int_value(), 1);
    EXPECT_EQ(camera.port.reads, reads);
}
