// Caching: what costs a transfer, and what registers at one place know of each other.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/changes.h"

using GenApi::ReadMode;

namespace {

/// A register whose place is computed: `place` is made of address elements.
std::string placed(std::string_view element, std::string_view name, std::string_view place, int length,
                   std::string_view more = "", std::string_view access = "RW")
{
    return "<" + std::string(element) + " Name=\"" + std::string(name) + "\">" + std::string(place) + "<Length>" +
           std::to_string(length) + "</Length><AccessMode>" + std::string(access) +
           "</AccessMode><pPort>Device</pPort>" + std::string(more) + "<Endianess>BigEndian</Endianess></" +
           std::string(element) + ">";
}

std::string value_in_memory(std::string_view name, std::int64_t value)
{
    return "<Integer Name=\"" + std::string(name) + "\"><Value>" + std::to_string(value) + "</Value></Integer>";
}

}  // namespace

TEST(Cache, AnswersASecondReadWithoutATransfer)
{
    Camera camera(feature("X") + int_reg("R", 0));
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
    Camera camera(int_reg("A", 0, "RW", "<Cachable>WriteThrough</Cachable>"));
    camera["A"].set_int_value(5);
    EXPECT_EQ(camera["A"].int_value(), 5);
    EXPECT_EQ(camera.port.reads, 0);
}

TEST(Cache, FetchesWhatWasWrittenAround)
{
    Camera camera(int_reg("A", 0, "RW", "<Cachable>WriteAround</Cachable>"));
    camera["A"].set_int_value(5);
    camera.port.set32(0, 6);
    EXPECT_EQ(camera["A"].int_value(), 6);
    EXPECT_EQ(camera["A"].int_value(), 6);
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Cache, AsksEveryTimeWhereTheDescriptionForbidsIt)
{
    Camera camera(feature("X", "", "K") + knife("K", "R", "V+1") +
                  int_reg("R", 0, "RW", "<Cachable>NoCache</Cachable>"));
    EXPECT_EQ(camera["X"].int_value(), 1);
    camera.port.set32(0, 5);
    EXPECT_EQ(camera["X"].int_value(), 6);
    EXPECT_EQ(camera.port.reads, 2);
    EXPECT_FALSE(camera["X"].is_cached());
}

TEST(Cache, AsksOncePerOperationWhereTheDescriptionForbidsIt)
{
    Camera camera("<IntSwissKnife Name=\"X\"><pVariable Name=\"A\">R</pVariable><pVariable Name=\"B\">K</pVariable>"
                  "<Formula>A + B + A</Formula></IntSwissKnife>" +
                  knife("K", "R", "V*2") + int_reg("R", 0, "RW", "<Cachable>NoCache</Cachable>"));
    camera.port.set32(0, 10);
    EXPECT_EQ(camera["X"].int_value(), 40);
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Cache, OfFloatRegistersIsWrittenAround)
{
    Camera camera("<FloatReg Name=\"F\"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode>"
                  "<pPort>Device</pPort><Endianess>BigEndian</Endianess></FloatReg>");
    camera["F"].set_float_value(1.1);
    // the register holds a single: what it made of the value is read back
    EXPECT_EQ(camera["F"].float_value(), static_cast<double>(1.1F));
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Cache, IsSharedByRegistersAtOnePlace)
{
    const auto bit = [](std::string_view name, int number) {
        return "<MaskedIntReg Name=\"" + std::string(name) + "\">" +
               reg(0, "RW", "<Bit>" + std::to_string(number) + "</Bit>") + "</MaskedIntReg>";
    };
    Camera camera(bit("A", 31) + bit("B", 30) + int_reg("W", 0));
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
    Camera camera("<Register Name=\"Block\"><Address>0</Address><Length>16</Length><AccessMode>RW</AccessMode>"
                  "<pPort>Device</pPort></Register>" +
                  int_reg("A", 4) + int_reg("B", 16));
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
    Camera camera(feature("X") + knife("K", "X", "V+1") + int_reg("R", 0));
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
    Camera camera(feature("X") + feature("Y", "", "X") + int_reg("R", 0));
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
    Camera camera("<Register Name=\"Block\"><Address>0</Address><Length>5</Length><AccessMode>RW</AccessMode>"
                  "<pPort>Device</pPort></Register>" +
                  int_reg("Behind", 4) + int_reg("Before", -3));
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
    Camera camera(placed("IntReg", "A", "<Address>4</Address><pAddress>Base</pAddress>", 4) +
                  placed("IntReg", "B", "<Address>4</Address><pAddress>Base</pAddress>", 4) +
                  placed("IntReg", "Half", "<Address>6</Address><pAddress>Base</pAddress>", 2) +
                  placed("IntReg", "Next", "<Address>8</Address><pAddress>Base</pAddress>", 4) + int_reg("F", 0x104) +
                  value_in_memory("Base", 0x100));
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
    Camera camera(placed("IntReg", "A", "<Address>0</Address><pIndex Offset=\"4\">I</pIndex>", 4) + int_reg("Old", 4) +
                  int_reg("New", 8) + value_in_memory("I", 1));
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
    const auto bits = [](std::string_view name, std::string_view field, std::string_view endianess) {
        return "<MaskedIntReg Name=\"" + std::string(name) + "\"><Address>0</Address><Length>4</Length>" +
               std::string(field) + "<AccessMode>RW</AccessMode><pPort>Device</pPort><Endianess>" +
               std::string(endianess) + "</Endianess></MaskedIntReg>";
    };
    // both are the last byte
    Camera camera(bits("Big", "<LSB>31</LSB><MSB>24</MSB>", "BigEndian") +
                  bits("Little", "<LSB>24</LSB><MSB>31</MSB>", "LittleEndian"));
    EXPECT_EQ(camera["Little"].int_value(), 0);
    camera["Big"].set_int_value(5);
    EXPECT_EQ(camera["Little"].int_value(), 5);
}

TEST(Cache, OfLimitsIsForgottenWithEverythingElse)
{
    Camera camera(feature("X", "<pMax>Most</pMax>") + int_reg("R", 0) + int_reg("Most", 4) +
                  "<IntConverter Name=\"C\"><pVariable Name=\"V\">Most</pVariable><FormulaTo>FROM-V</FormulaTo>"
                  "<FormulaFrom>TO+V</FormulaFrom><pValue>M</pValue></IntConverter>"
                  "<Integer Name=\"M\"><Value>0</Value><Min>0</Min><Max>10</Max></Integer>");
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
                  value_in_memory("I", 1) + int_reg("R", 0));
    EXPECT_EQ(camera["X"].int_value(), 0);
    camera.port.set32(0, 5);
    camera["X"].invalidate();
    EXPECT_EQ(camera["X"].int_value(), 5);
}

TEST(Cache, OfAWriteOnlyRegisterStaysWhereItWas)
{
    const std::string place = "<Address>0</Address><pIndex Offset=\"4\">I</pIndex>";
    Camera camera("<StructReg>" + place +
                  "<Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess>"
                  "<StructEntry Name=\"High\"><LSB>15</LSB><MSB>0</MSB></StructEntry>"
                  "<StructEntry Name=\"Low\"><LSB>31</LSB><MSB>16</MSB></StructEntry></StructReg>" +
                  value_in_memory("I", 0));
    camera["High"].set_int_value(0x1234);
    camera["I"].set_int_value(1);
    camera["Low"].set_int_value(0x5678);
    EXPECT_EQ(camera.port.get32(0), 0x12340000U);
    EXPECT_EQ(camera.port.get32(4), 0x00005678U);
}

TEST(Cache, IsDoubtfulAfterAPartThatCouldNotBeWritten)
{
    Camera camera("<Register Name=\"Block\"><Address>0</Address><Length>16</Length><AccessMode>RW</AccessMode>"
                  "<pPort>Device</pPort></Register>" +
                  int_reg("A", 4));
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
    Camera camera("<String Name=\"S\"><pValue>S</pValue></String><String Name=\"A\"><pValue>B</pValue></String>"
                  "<String Name=\"B\"><pValue>A</pValue></String><String Name=\"C\"><pValue>A</pValue></String>");
    for (const char* const name : {"S", "A", "B", "C"}) {
        EXPECT_FALSE(camera[name].is_cached()) << name;
        EXPECT_THROW(static_cast<void>(camera[name].string_value()), GenApi::Error) << name;
        EXPECT_THROW(static_cast<void>(camera[name].string_max_length()), GenApi::Error) << name;
    }
}

TEST(Cache, TellsTheNeighboursOfBitsThatTheDeviceChanged)
{
    const auto bits = [](std::string_view name, std::string_view field) {
        return "<MaskedIntReg Name=\"" + std::string(name) + "\">" + reg(0, "RW", field) + "</MaskedIntReg>";
    };
    Camera camera(bits("Written", "<Bit>31</Bit>") + bits("Other", "<Bit>0</Bit>"));
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
