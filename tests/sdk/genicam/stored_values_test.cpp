// Storing a parameter array's values over a camera in memory.

#include "sdk/genicam/stored_values.h"

#include <gtest/gtest.h>

#include "tests/sdk/genicam/stored_camera.h"

using namespace vex;
using namespace stored_camera;

TEST_F(Stored, TakesWhatIsStreamableAndCanBeReadAndWritten)
{
    load({"Width", "Reset", "Model", "Private", "Speed", "Absent", "Name"},
         int_reg("Width", 0, {.streamable = "Yes"}) + command("Reset", {.streamable = "Yes", .value = "R"}) +
             string_reg("Model", 0x40, {.streamable = "Yes", .access = "RO"}) + int_reg("Private", 8) +
             floating("Speed", {.streamable = "Yes", .value = 2.5}) +
             int_reg("Absent", 12, {.is_implemented = "Zero", .streamable = "Yes"}) + integer("Zero", {.value = 0}) +
             string_reg("Name", 0x80, {.streamable = "Yes", .length = 16}) + int_reg("R", 4));
    set("Width", "640");
    set("Name", "left one");
    const StoredValues stored = store();
    EXPECT_TRUE(stored.result.IsOK());
    EXPECT_EQ(lines(stored.values), (std::vector<std::string>{"Width=640", "Speed=2.5", "Name=left one"}));
    EXPECT_TRUE(stored.skipped.empty());
}

TEST_F(Stored, TakesAParameterOncePerCombinationOfItsSelectors)
{
    load(nested_features, nested);
    port.set32(0, 1);
    port.set32(0x10, 7);
    port.set32(0x14, 8);
    port.set32(0x20, 3);
    port.set32(0x24, 5);
    for (std::uint32_t tap = 1; tap <= 5; tap += 2) {
        port.set32(0x100 + 4 * tap, 10 + tap);
        port.set32(0x140 + 4 * tap, 20 + tap);
    }
    const StoredValues stored = store();
    EXPECT_TRUE(stored.result.IsOK());
    EXPECT_TRUE(stored.skipped.empty());
    EXPECT_EQ(lines(stored.values),
              (std::vector<std::string>{"Source=B", "Gain[Source=A]=7", "Tap[Source=A]=3", "Gain[Source=B]=8",
                                        "Tap[Source=B]=5", "Offset[Source=A][Tap=1]=11", "Offset[Source=A][Tap=3]=13",
                                        "Offset[Source=A][Tap=5]=15", "Offset[Source=B][Tap=1]=21",
                                        "Offset[Source=B][Tap=3]=23", "Offset[Source=B][Tap=5]=25"}));
    EXPECT_EQ(get("Source"), "B");
    EXPECT_EQ(get("Gain"), "8");
}

TEST_F(Stored, PassesOverWhatASelectedParameterHasNotForAValue)
{
    load({"Line", "Inverter"},
         enumeration("Line", "LineReg", {{"L1", 1}, {"L2", 2, {.is_available = "Zero"}}, {"L3", 3}, {"L4", 4}},
                     {.selected = {"Inverter"}}) +
             int_reg("LineReg", 0) + integer("Zero", {.value = 0}) +
             int_reg("Inverter", 0x10, {.is_available = "NotThree", .streamable = "Yes"}) +
             int_swiss_knife("NotThree", "L <> 3", {{"L", "LineReg"}}));
    port.set32(0, 4);
    const StoredValues stored = store();
    EXPECT_EQ(lines(stored.values), (std::vector<std::string>{"Inverter[Line=L1]=0", "Inverter[Line=L4]=0"}));
    EXPECT_TRUE(stored.skipped.empty());
}

TEST_F(Stored, DoesWithoutASelectorThatTheDeviceHasNot)
{
    load({"Channel", "Line", "Gain", "Gone"},
         enumeration("Channel", 0, {{"C0", 0}, {"C1", 1}}, {.is_implemented = "Zero", .selected = {"Gain", "Gone"}}) +
             enumeration("Line", "LineReg", {{"L0", 0}, {"L1", 1}}, {.selected = {"Gain"}}) + int_reg("LineReg", 0) +
             int_reg("Gain", 0x10, {.streamable = "Yes", .more = indexed_by("LineReg", 4)}) +
             int_reg("Gone", 0x20, {.is_implemented = "Zero", .streamable = "Yes"}) + integer("Zero", {.value = 0}));
    port.set32(0x14, 7);
    const StoredValues stored = store();
    EXPECT_EQ(lines(stored.values), (std::vector<std::string>{"Gain[Line=L0]=0", "Gain[Line=L1]=7"}));
    EXPECT_TRUE(stored.skipped.empty()) << text(stored.skipped[0].reason);
    EXPECT_EQ(lines({store_value(*array->Get("Gain")->GetNode())}), (std::vector<std::string>{"Gain[Line=L0]=0"}));
}

TEST_F(Stored, LeavesTheInnermostSelectorsAloneWhenThereAreTooManyCombinations)
{
    load(nested_features, nested);
    port.set32(0x20, 3);
    port.set32(0x24, 5);
    StoredValues stored = store({.combinations = 5});
    EXPECT_TRUE(stored.result.IsOK());
    EXPECT_EQ(lines(stored.values),
              (std::vector<std::string>{"Source=A", "Gain[Source=A]=0", "Tap[Source=A]=3", "Gain[Source=B]=0",
                                        "Tap[Source=B]=5", "Offset[Source=A][Tap=3]=0", "Offset[Source=B][Tap=5]=0"}));
    ASSERT_EQ(stored.skipped.size(), 2U);
    EXPECT_EQ(stored.skipped[1].name, "Tap");
    EXPECT_EQ(stored.skipped[1].selectors, (std::vector<SelectorValue>{{"Source", "B"}}));
    EXPECT_EQ(text(stored.skipped[1].reason), "Tap: its other values are not stored: there are too many");

    stored = store({.all_combinations = 2});
    EXPECT_EQ(stored.values.size(), 6U) << "nothing was left for the taps";
}

TEST_F(Stored, ComesToAnEndWithEndlessSelectors)
{
    load({"Index", "Value", "A", "B", "Deep"},
         integer("Index", {.value = "IndexReg", .selected = {"Value"}}) + int_reg("IndexReg", 0, {.length = 8}) +
             int_reg("Value", 0x10, streamable) +
             integer("A", {.streamable = "Yes", .value = 1, .min = 0, .max = 1, .selected = {"B"}}) +
             integer("B", {.streamable = "Yes", .value = 1, .min = 0, .max = 1, .selected = {"A"}}) +
             integer("S1", {.value = 0, .selected = {"Deep", "S2"}}) + integer("S2", {.value = 0, .selected = {"S3"}}) +
             integer("S3", {.value = 0, .selected = {"S1"}}) + int_reg("Deep", 0x20, streamable));
    const StoredValues stored = store({.combinations = 8, .selectors = 2});
    EXPECT_TRUE(stored.result.IsOK());
    EXPECT_EQ(lines(stored.values),
              (std::vector<std::string>{"Value[Index=0]=0", "A[B=0]=1", "A[B=1]=1", "B[A=0]=1", "B[A=1]=1"}));
    ASSERT_EQ(stored.skipped.size(), 2U);
    EXPECT_EQ(text(stored.skipped[0].reason), "Deep: it has too many selectors");
    EXPECT_EQ(text(stored.skipped[1].reason), "Index: its other values are not stored: there are too many");
}

TEST_F(Stored, NamesWhatCannotBeRead)
{
    load({"Mode", "Width", "Gain"},
         enumeration("Mode", "ModeReg", {{"On", 1}, {"Off", 2}}, {.streamable = "Yes", .selected = {"Gain"}}) +
             int_reg("ModeReg", 0) + int_reg("Width", 4, streamable) + int_reg("Gain", 8, streamable));
    port.set32(0, 77);
    const StoredValues stored = store();
    EXPECT_TRUE(stored.result.IsOK());
    EXPECT_EQ(lines(stored.values), (std::vector<std::string>{"Width=0"}));
    ASSERT_EQ(stored.skipped.size(), 2U) << "the mode, and what would be selected by it";
    EXPECT_EQ(stored.skipped[0].name, "Mode");
    EXPECT_TRUE(text(stored.skipped[0].reason).starts_with("Mode")) << text(stored.skipped[0].reason);
}

TEST_F(Stored, TakesWhatOnlyTheAcquisitionLocks)
{
    load({"Width", "Exposure", "Line", "Inverter"},
         integer("TLParamsLocked", {.value = 0}) +
             integer("Width", {.is_locked = "TLParamsLocked", .streamable = "Yes", .value = "W"}) + int_reg("W", 0) +
             integer("Exposure", {.is_locked = "Automatic", .streamable = "Yes", .value = 5}) +
             integer("Automatic", {.value = 1}) +
             enumeration("Line", "LineReg", {{"L0", 0}, {"L1", 1}},
                         {.is_locked = "TLParamsLocked", .selected = {"Inverter"}}) +
             int_reg("LineReg", 4) + int_reg("Inverter", 8, streamable));
    set("Width", "640");
    set("TLParamsLocked", "1");
    const StoredValues stored = store();
    EXPECT_EQ(lines(stored.values), (std::vector<std::string>{"Width=640", "Inverter[Line=L0]=0"}));
    ASSERT_EQ(stored.skipped.size(), 1U);
    EXPECT_EQ(text(stored.skipped[0].reason),
              "Line: its other values are not stored: it is locked while the acquisition runs");
}

TEST_F(Stored, TellsTheDeviceThatItIsBeingStored)
{
    load({"Width"}, command("DeviceFeaturePersistenceStart", {.value = "Control", .command_value = 1}) +
                        command("DeviceFeaturePersistenceEnd", {.value = "Control", .command_value = 2}) +
                        int_reg("Control", 0, {.access = "WO"}) + int_reg("Width", 4, streamable));
    std::vector<std::uint32_t> seen;
    port.on_access = [&] { seen.push_back(port.get32(0)); };
    EXPECT_TRUE(store_values(*array).result.IsOK());
    EXPECT_EQ(seen, (std::vector<std::uint32_t>{0, 1, 1})) << "start, Width, end";
    EXPECT_EQ(port.get32(0), 2U);
}

TEST_F(Stored, EndsWhenTheDeviceIsGone)
{
    load({"A", "B", "C"}, int_reg("A", 0, streamable) + int_reg("B", 4, streamable) + int_reg("C", 8, streamable));
    port.failure = "the cable is out";
    port.failure_code = PvResult::NotConnected;
    const StoredValues stored = store_values(*array);
    EXPECT_EQ(stored.result.GetCode(), PvResult::NotConnected);
    EXPECT_NE(text(stored.result).find("the cable is out"), std::string::npos) << text(stored.result);
    EXPECT_EQ(port.transfers(), 1);
    const RestoredValues restored = restore_values(*array, std::vector<StoredValue>{{"A", "1", {}}, {"B", "1", {}}});
    EXPECT_EQ(restored.result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(port.transfers(), 2);
}

TEST_F(Stored, NeedsAnArrayThatWasBuilt)
{
    struct Empty : PvGenParameterArray {
    } empty;
    EXPECT_EQ(store_values(empty).result.GetCode(), PvResult::NotInitialized);
    EXPECT_EQ(restore_values(empty, {}).result.GetCode(), PvResult::NotInitialized);
}
