// Bursts: which registers come along when their neighbours are read, and how long that is good for.

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using namespace std::chrono_literals;
using GenApi::AccessMode;
using GenApi::ReadMode;

namespace {

std::chrono::steady_clock::time_point current_time;

GenApi::LoadOptions with_own_time()
{
    current_time = std::chrono::steady_clock::time_point(1h);
    GenApi::LoadOptions options;
    options.now = [] { return current_time; };
    return options;
}

/// R0, R1, ... side by side from address 0 on; they hold 100, 101, ...
std::string registers(int count)
{
    std::string body;
    for (int i = 0; i < count; ++i) {
        body += int_reg("R" + std::to_string(i), 4 * i);
    }
    return body;
}

/// A port that takes several registers in one message.
struct FastCamera : Camera {
    explicit FastCamera(std::string_view body) : Camera(body, with_own_time())
    {
        port.words_together = 100;
        for (int i = 0; i < 64; ++i) {
            port.set32(4 * i, 100U + static_cast<std::uint32_t>(i));
        }
    }

    std::int64_t read(int index) const { return (*this)["R" + std::to_string(index)].int_value(); }

    /// Reads as many neighbours as it takes for others to come along.
    void start_burst() const
    {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(read(i), 100 + i);
        }
    }
};

using Group = std::vector<std::int64_t>;

}  // namespace

TEST(Burst, ReadsNeighboursTogetherFromTheThirdOn)
{
    const FastCamera camera(registers(16));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(camera.read(i), 100 + i);
    }
    EXPECT_EQ(camera.port.reads, 3);
    ASSERT_EQ(camera.port.groups.size(), 1U);
    EXPECT_EQ(camera.port.groups[0].size(), 14U);
    EXPECT_EQ(camera.port.groups[0].front(), 8);
}

TEST(Burst, ReadsOneByOneWhereThePortKnowsNothingElse)
{
    FastCamera camera(registers(16));
    camera.port.words_together = 1;
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(camera.read(i), 100 + i);
    }
    EXPECT_EQ(camera.port.reads, 16);
}

TEST(Burst, TakesNoMoreThanOneMessageHolds)
{
    FastCamera camera(registers(16));
    camera.port.words_together = 4;
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(camera.read(i), 100 + i);
    }
    ASSERT_FALSE(camera.port.groups.empty());
    for (const Group& group : camera.port.groups) {
        EXPECT_LE(group.size(), 4U);
    }
    EXPECT_LT(camera.port.reads, 8);
}

TEST(Burst, BeginsAgainAfterAnInvalidation)
{
    FastCamera camera(registers(16));
    for (int round = 1; round <= 3; ++round) {
        for (int i = 15; i >= 0; --i) {
            EXPECT_EQ(camera.read(i), 100 + i);
        }
        EXPECT_LE(camera.port.reads, 3 * round);
        camera.map->invalidate_all();
    }
}

TEST(Burst, IsNoneWhenReadsAreFarApartInSpaceOrTime)
{
    FastCamera camera(int_reg("A", 0) + int_reg("B", 0x1000) + int_reg("C", 0x2000) + int_reg("D", 0x2004) +
                      int_reg("E", 0x2008));
    for (const char* name : {"A", "B", "C"}) {
        static_cast<void>(camera[name].int_value());
    }
    current_time += 1s;
    static_cast<void>(camera["D"].int_value());
    current_time += 1s;
    static_cast<void>(camera["E"].int_value());
    EXPECT_EQ(camera.port.reads, 5);
    EXPECT_TRUE(camera.port.groups.empty());
}

TEST(Burst, IsNotOneRegisterReadAgainAndAgain)
{
    FastCamera camera(registers(16));
    for (int i = 0; i < 10; ++i) {
        static_cast<void>(camera["R0"].int_value());
        camera["R0"].invalidate();
    }
    EXPECT_TRUE(camera.port.groups.empty());
}

TEST(Burst, IsOverWithAWrite)
{
    FastCamera camera(registers(16));
    static_cast<void>(camera.read(0));
    static_cast<void>(camera.read(1));
    camera["R8"].set_int_value(5);
    static_cast<void>(camera.read(2));
    EXPECT_TRUE(camera.port.groups.empty());
}

TEST(Burst, TakesNothingAlongThatReadingMayChangeOrThatMustNotBeKept)
{
    FastCamera camera(
        registers(3) + int_reg("NoCache", 12, {.cachable = "NoCache"}) + int_reg("WriteOnly", 16, "WO") +
        raw_reg("Bytes", 20) + int_reg("Start", 24) + command("Command", {.value = "Start", .command_value = 1}) +
        int_reg("Event", 28) + integer("EventData", {.event_id = "9001", .value = "Event"}) + int_reg("Shared", 32) +
        int_reg("SharedNoCache", 32, {.access = "RO", .cachable = "NoCache"}) +
        int_reg("Half", 36, {.length = 2, .access = "", .byte_order = ""}) + int_reg("Odd", 42) + int_reg("Good", 48));
    camera.start_burst();
    EXPECT_EQ(camera.port.groups, std::vector<Group>({{8, 48}}));
}

TEST(Burst, TakesNothingAlongThatSharesBytesWithWhatMustNotBeRead)
{
    const Properties two = {.length = 2, .access = "WO"};
    FastCamera camera(registers(3) + int_reg("Inside", 12) + int_reg("A", 14, two) + int_reg("Before", 16) +
                      int_reg("B", 19, two) + int_reg("Behind", 20) + int_reg("Good", 24) +
                      int_reg("Eight", 32, {.length = 8, .access = "RO", .cachable = "NoCache", .byte_order = ""}) +
                      int_reg("First", 32) + int_reg("Second", 36) + int_reg("AlsoGood", 40));
    camera.start_burst();
    EXPECT_EQ(camera.port.groups, std::vector<Group>({{8, 24, 40}}));
}

TEST(Burst, TakesNothingAlongThatMayNotBeThere)
{
    FastCamera camera(registers(3) + integer("Yes", {.value = 1}) + integer("No", {.value = 0}) +
                      int_reg("Unknown", 12, {.is_implemented = "Yes", .access = "RO"}) +
                      int_reg("Known", 16, {.is_implemented = "Yes", .access = "RO"}) +
                      int_reg("Missing", 20, {.is_available = "No", .access = "RO"}));
    EXPECT_EQ(camera["Known"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["Missing"].access(), AccessMode::not_available);
    camera.start_burst();
    EXPECT_EQ(camera.port.groups, std::vector<Group>({{8, 16}}));
}

TEST(Burst, GivesWhatCameAlongOnlyForAMoment)
{
    FastCamera camera(registers(16));
    camera.start_burst();
    EXPECT_TRUE(camera["R3"].is_cached());
    camera.port.set32(12, 55);
    camera.port.set32(16, 66);
    EXPECT_EQ(camera.read(3), 103);
    current_time += 1s;
    EXPECT_TRUE(camera["R3"].is_cached());
    EXPECT_FALSE(camera["R4"].is_cached());
    EXPECT_EQ(camera.read(4), 66);
    EXPECT_EQ(camera.read(3), 103);
}

TEST(Burst, DoesNotTakeAlongAgainWhatNobodyAskedFor)
{
    FastCamera camera(registers(16));
    camera.start_burst();
    current_time += 1s;
    camera["R0"].invalidate();
    camera["R1"].invalidate();
    camera["R2"].invalidate();
    camera.start_burst();
    EXPECT_EQ(camera.port.groups.size(), 1U);
    // until somebody does
    current_time += 1s;
    EXPECT_EQ(camera.read(9), 109);
    current_time += 1s;
    camera.map->invalidate_all();
    camera.start_burst();
    ASSERT_EQ(camera.port.groups.size(), 2U);
    EXPECT_EQ(camera.port.groups[1], Group({8, 36}));
}

TEST(Burst, GoesOnAloneWhereTheDeviceRefuses)
{
    FastCamera camera(registers(8));
    camera.port.refused = 20;
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(camera.read(i), 100 + i);
    }
    EXPECT_EQ(camera.port.groups.size(), 1U);
    EXPECT_EQ(camera.port.reads, 9);
}

TEST(Burst, TellsWhenTheDeviceCannotBeAsked)
{
    FastCamera camera(registers(8));
    static_cast<void>(camera.read(0));
    static_cast<void>(camera.read(1));
    camera.port.failure = "the cable is out";
    EXPECT_EQ(message_of([&] { static_cast<void>(camera.read(2)); }), "R2 cannot be read: the cable is out");
    EXPECT_EQ(camera.port.reads, 3);
    camera.port.failure.clear();
    EXPECT_EQ(camera.read(2), 102);
}

TEST(Burst, DoesNotMixWithFreshReads)
{
    FastCamera camera(registers(16));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(camera["R" + std::to_string(i)].int_value(ReadMode::fresh), 100 + i);
    }
    EXPECT_EQ(camera.port.reads, 16);
}

TEST(Burst, LetsInvalidatorsForgetWhatCameAlong)
{
    FastCamera camera(registers(3) + int_reg("X", 12, {.invalidators = {"Set"}}) + integer("Set", {.value = 0}));
    camera.start_burst();
    camera.port.set32(12, 9);
    camera["Set"].set_int_value(1);
    EXPECT_EQ(camera["X"].int_value(), 9);
}

TEST(Burst, LeavesAFeatureOnThreeRegistersAtThreeReads)
{
    FastCamera camera(registers(3) + int_swiss_knife("Sum", "A+B+C", {{"A", "R0"}, {"B", "R1"}, {"C", "R2"}}));
    EXPECT_EQ(camera["Sum"].int_value(), 303);
    EXPECT_EQ(camera.port.reads, 3);
}

TEST(Burst, LeavesWhatCameAlongToReadersWithoutAPort)
{
    FastCamera camera(registers(16));
    camera.start_burst();
    camera.port.open = false;
    EXPECT_EQ(camera.read(5), 105);
    current_time += 1s;
    EXPECT_EQ(code_of([&] { static_cast<void>(camera.read(6)); }), PvResult::NotConnected);
    EXPECT_EQ(camera.read(5), 105);
}

TEST(Burst, ComesAgainAfterAFreshRead)
{
    const FastCamera camera(registers(16));
    EXPECT_EQ(camera["R15"].int_value(ReadMode::fresh), 115);
    camera.start_burst();
    EXPECT_EQ(camera.port.groups.size(), 1U);
}

TEST(Burst, KeepsWhatIsWrittenToARegisterThatCameAlong)
{
    FastCamera camera(registers(16));
    camera.start_burst();
    camera["R3"].set_int_value(5);
    camera.port.set32(12, 6);
    current_time += 1s;
    EXPECT_EQ(camera.read(3), 5);
}

TEST(Burst, IsNotHinderedByARegisterOfAnImpossibleLength)
{
    for (const std::int64_t length : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
        const FastCamera camera(int_reg("Bad", 0, {.length = length}) + registers(8));
        camera.start_burst();
        EXPECT_EQ(camera.port.groups.size(), 1U) << length;
    }
}
