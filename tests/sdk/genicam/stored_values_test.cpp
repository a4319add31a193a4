// Storing and restoring a parameter array's values over a camera in memory.

#include "sdk/genicam/stored_values.h"

#include <gtest/gtest.h>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/genapi/memory_port.h"

using namespace vex;

namespace {

using namespace camera_xml;

/// As "Gain[Source=A]=7", one for each value.
std::vector<std::string> lines(const std::vector<StoredValue>& values)
{
    std::vector<std::string> result;
    for (const StoredValue& value : values) {
        std::string line = value.name;
        for (const SelectorValue& selector : value.selectors) {
            line += '[' + selector.name + '=' + selector.value + ']';
        }
        result.push_back(line + '=' + value.value);
    }
    return result;
}

std::string text(const PvResult& result) { return std::string(result.description()); }

/// A camera in memory and its array. `listed` are the features, in this order.
struct Stored : testing::Test {
    void load(const Names& listed, const std::string& nodes)
    {
        array.emplace(GenApi::load_node_map(description(root(listed) + nodes), port));
    }
    void set(const char* name, const char* value) { array->GetNodeMap()->node(name)->from_string(value); }
    std::string get(const char* name) { return array->GetNodeMap()->node(name)->to_string(); }

    StoredValues store(const StoreLimits& limits = {})
    {
        const auto before = present();
        StoredValues stored = store_values(*array, limits);
        EXPECT_TRUE(present() == before) << "something in the device has changed";
        return stored;
    }

    MemoryPort port;
    std::optional<PvGenParameterArray> array;

private:
    /// What was never written and what is 0 are the same.
    std::map<std::int64_t, std::uint8_t> present() const
    {
        auto bytes = port.bytes;
        std::erase_if(bytes, [](const auto& byte) { return byte.second == 0; });
        return bytes;
    }
};

const Properties streamable = {.streamable = "Yes"};

/// Gain for each of two sources, and for each of their three taps an offset.
const Names nested_features = {"Source", "Gain", "Tap", "Offset"};
const std::string nested =
    enumeration("Source", "SourceReg", {{"A", 0}, {"B", 1}}, {.streamable = "Yes", .selected = {"Gain", "Tap"}}) +
    int_reg("SourceReg", 0) +
    int_reg("Gain", 0x10, {.streamable = "Yes", .cachable = "NoCache", .more = indexed_by("SourceReg", 4)}) +
    integer("Tap", {.streamable = "Yes", .value = "TapReg", .min = 1, .max = 5, .inc = 2, .selected = {"Offset"}}) +
    int_reg("TapReg", 0x20, {.more = indexed_by("SourceReg", 4)}) +
    int_reg("Offset", 0x100, {.streamable = "Yes", .more = indexed_by("SourceReg", 0x40) + indexed_by("TapReg", 4)});

}  // namespace

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

TEST_F(Stored, ComesBackAsItWas)
{
    load(nested_features, nested);
    port.set32(0, 1);
    port.set32(0x10, 7);
    port.set32(0x14, 8);
    port.set32(0x20, 3);
    port.set32(0x24, 5);
    port.set32(0x104, 99);
    port.set32(0x154, 98);
    const StoredValues stored = store();
    const auto bytes = port.bytes;
    port.bytes.clear();
    port.set32(0x20, 1);
    port.set32(0x24, 1);
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    const RestoredValues restored = restore_values(*array, stored.values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    for (const auto& [address, byte] : bytes) {
        EXPECT_EQ(port.bytes[address], byte) << address;
    }
}

TEST_F(Stored, ComesBackWithSelectorsThreeDeep)
{
    load({"Bank", "Source", "Tap", "Offset"},
         integer("Bank", {.streamable = "Yes", .value = "BankReg", .min = 0, .max = 1, .selected = {"Source"}}) +
             int_reg("BankReg", 0) +
             integer("Source", {.streamable = "Yes", .value = "SourceReg", .min = 0, .max = 1, .selected = {"Tap"}}) +
             int_reg("SourceReg", 0x10, {.more = indexed_by("BankReg", 4)}) +
             integer("Tap", {.streamable = "Yes", .value = "TapReg", .min = 0, .max = 1, .selected = {"Offset"}}) +
             int_reg("TapReg", 0x20, {.more = indexed_by("BankReg", 8) + indexed_by("SourceReg", 4)}) +
             int_reg("Offset", 0x40,
                     {.streamable = "Yes",
                      .more = indexed_by("BankReg", 16) + indexed_by("SourceReg", 8) + indexed_by("TapReg", 4)}));
    for (const int address : {0, 0x10, 0x24, 0x28, 0x44, 0x50, 0x5c}) {
        port.set32(address, 1);
    }
    const StoredValues stored = store();
    EXPECT_EQ(stored.values.size(), 1U + 2 + 4 + 8);
    const auto bytes = port.bytes;
    for (int address = 0; address < 0x60; address += 4) {
        port.set32(address, address < 0x40 ? 1 - port.get32(address) : 7);
    }
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    const RestoredValues restored = restore_values(*array, stored.values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    for (const int address : {0, 0x10, 0x14, 0x20, 0x24, 0x28, 0x2c, 0x40, 0x44, 0x48, 0x4c, 0x50, 0x54, 0x58, 0x5c}) {
        EXPECT_EQ(port.bytes[address + 3], bytes.contains(address + 3) ? bytes.at(address + 3) : 0) << address;
    }
}

TEST_F(Stored, WritesOnlyWhatDiffers)
{
    load({"A", "B", "C"}, int_reg("A", 0, {.streamable = "Yes", .representation = "HexNumber"}) +
                              int_reg("B", 4, streamable) + floating("C", {.streamable = "Yes", .value = 2.5}));
    set("A", "255");
    port.writes = 0;
    const std::vector<StoredValue> values{{"A", "255", {}}, {"B", "1", {}}, {"C", "2.50", {}}};
    EXPECT_TRUE(restore_values(*array, values).result.IsOK());
    EXPECT_EQ(port.writes, 1);
    EXPECT_EQ(get("B"), "1");
}

TEST_F(Stored, TriesAgainWhatDependsOnLaterValues)
{
    load({"Width", "Offset", "Binning"},
         integer("Width", {.streamable = "Yes", .value = "W", .min = 8, .max = "WidthMax"}) +
             int_swiss_knife("WidthMax", "1000 / BIN - OFF", {{"BIN", "Binning"}, {"OFF", "Offset"}}) +
             int_reg("W", 0) + int_reg("Offset", 4, streamable) +
             integer("Binning", {.streamable = "Yes", .value = "Bin", .min = 1, .max = 4}) + int_reg("Bin", 8));
    set("Binning", "4");
    set("Offset", "150");
    set("Width", "100");
    const std::vector<StoredValue> values{{"Width", "1000", {}}, {"Offset", "0", {}}, {"Binning", "1", {}}};
    const RestoredValues restored = restore_values(*array, values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(get("Width"), "1000");
}

TEST_F(Stored, WritesAgainWhatAnotherWriteHasChanged)
{
    load({"Width", "Format"}, int_reg("Width", 0, {.streamable = "Yes", .cachable = "NoCache"}) +
                                  int_reg("Format", 4, {.streamable = "Yes", .cachable = "NoCache"}));
    std::uint32_t format = 0;
    port.on_access = [&] {
        if (port.get32(4) != format) {
            format = port.get32(4);
            port.set32(0, 16);
        }
    };
    const std::vector<StoredValue> values{{"Width", "640", {}}, {"Format", "9", {}}};
    EXPECT_TRUE(restore_values(*array, values).result.IsOK());
    EXPECT_EQ(port.get32(0), 640U);
    EXPECT_EQ(port.get32(4), 9U);
}

TEST_F(Stored, GoesOnForAsLongAsItHelps)
{
    Names names;
    std::string nodes;
    std::vector<StoredValue> values;
    for (int i = 0; i < 12; ++i) {
        const std::string name = "Step" + std::to_string(i);
        nodes += integer(name, {.streamable = "Yes",
                                .value = name + "Reg",
                                .min = 0,
                                .max = i == 11 ? Number(1000) : Number("Step" + std::to_string(i + 1))}) +
                 int_reg(name + "Reg", 4 * i);
        names.push_back(name);
        values.push_back({name, "500", {}});
    }
    load(names, nodes);
    const RestoredValues restored = restore_values(*array, values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(get("Step0"), "500");
}

TEST_F(Stored, NamesWhatAnotherWriteUndoesEveryTime)
{
    load({"Left", "Right"}, int_reg("Left", 0, {.streamable = "Yes", .cachable = "NoCache"}) +
                                int_reg("Right", 4, {.streamable = "Yes", .cachable = "NoCache"}));
    port.on_access = [&, left = std::uint32_t{0}]() mutable {
        if (port.get32(4) != 0 && port.get32(0) != 0) {
            port.set32(left == port.get32(0) ? 0 : 4, 0);
        }
        left = port.get32(0);
    };
    const RestoredValues restored =
        restore_values(*array, std::vector<StoredValue>{{"Left", "5", {}}, {"Right", "6", {}}});
    EXPECT_EQ(restored.result.GetCode(), PvResult::GenericError);
    ASSERT_EQ(restored.failures.size(), 1U) << text(restored.result);
    EXPECT_EQ(restored.failures[0].name, "Left");
    EXPECT_EQ(text(restored.failures[0].reason), "Left is 0 after 5 was written");
}

TEST_F(Stored, ReadsBackWhateverIsCached)
{
    load({"Stuck"}, int_reg("Stuck", 8, streamable));
    port.on_access = [&] { port.set32(8, 0); };
    const RestoredValues restored = restore_values(*array, std::vector<StoredValue>{{"Stuck", "5", {}}});
    EXPECT_EQ(text(restored.result), "1 parameter could not be restored: Stuck is 0 after 5 was written");
}

TEST_F(Stored, LooksOnceAtWhatNothingHasChanged)
{
    load(nested_features, nested);
    port.set32(0x20, 1);
    port.set32(0x24, 1);
    const StoredValues stored = store();
    port.set32(0x104, 99);
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    std::size_t turned = 0;
    std::uint32_t source = 0;
    port.on_access = [&] {
        turned += port.get32(0) != source ? 1 : 0;
        source = port.get32(0);
    };
    EXPECT_TRUE(restore_values(*array, stored.values).result.IsOK());
    EXPECT_EQ(port.get32(0x104), 0U);
    EXPECT_LE(turned, 8U) << "there and back for each group, and again for Gain, which may change by itself";
}

TEST_F(Stored, LeavesASelectorWhoseValueHasGone)
{
    load({"Last", "Index", "Gain"},
         integer("Last", {.streamable = "Yes", .value = "LastReg", .min = 0, .max = 3}) + int_reg("LastReg", 0) +
             integer("Index", {.value = "IndexReg", .min = 0, .max = "Last", .selected = {"Gain"}}) +
             int_reg("IndexReg", 4) + int_reg("Gain", 0x10, {.streamable = "Yes", .more = indexed_by("IndexReg", 4)}));
    const StoredValues stored = store();
    set("Last", "3");
    set("Index", "3");
    set("Gain", "9");
    const RestoredValues restored = restore_values(*array, stored.values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(get("Last"), "0");
    EXPECT_EQ(port.get32(0x10), 0U);

    port.set32(4, 3);
    port.set32(0x10, 8);
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    const RestoredValues again = restore_values(*array, stored.values);
    EXPECT_TRUE(again.result.IsOK()) << text(again.result);
    EXPECT_EQ(port.get32(0x10), 0U);
}

TEST_F(Stored, LeavesASelectorThatStoodWhereItCannotEvenIfNothingDiffers)
{
    load({"Index", "Gain"}, integer("Index", {.value = "IndexReg", .min = 0, .max = 1, .selected = {"Gain"}}) +
                                int_reg("IndexReg", 4) +
                                int_reg("Gain", 0x10, {.streamable = "Yes", .more = indexed_by("IndexReg", 4)}));
    const StoredValues stored = store();
    port.set32(4, 3);
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    const RestoredValues restored = restore_values(*array, stored.values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
}

TEST_F(Stored, PutsSelectorsBackThatWereNotStored)
{
    load({"Line", "Inverter"}, enumeration("Line", "LineReg", {{"L0", 0}, {"L1", 1}}, {.selected = {"Inverter"}}) +
                                   int_reg("LineReg", 0) +
                                   int_reg("Inverter", 0x10, {.streamable = "Yes", .more = indexed_by("LineReg", 4)}));
    const StoredValues stored = store();
    port.set32(0x14, 1);
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    EXPECT_TRUE(restore_values(*array, stored.values).result.IsOK());
    EXPECT_EQ(port.get32(0x14), 0U);
    EXPECT_EQ(get("Line"), "L0");
}

TEST_F(Stored, NamesEachFailureWithItsReason)
{
    load({"Width", "Gain", "Stuck", "Line", "Inverter", "Go"},
         integer("TLParamsLocked", {.value = 1}) +
             integer("Width", {.is_locked = "TLParamsLocked", .streamable = "Yes", .value = "W"}) + int_reg("W", 0) +
             int_reg("Gain", 4, streamable) + int_reg("Stuck", 8, {.streamable = "Yes", .cachable = "NoCache"}) +
             enumeration("Line", 0, {{"L0", 0}}, {.selected = {"Inverter"}}) + int_reg("Inverter", 12, streamable) +
             command("Go", {.value = "C", .command_value = 1}) + int_reg("C", 16));
    port.on_access = [&] { port.set32(8, 0); };
    const std::vector<StoredValue> values{{"Width", "640", {}}, {"Gain", "3", {}},
                                          {"Stuck", "5", {}},   {"Inverter", "1", {{"Line", "L7"}}},
                                          {"Go", "1", {}},      {"Gone", "1", {}}};
    const RestoredValues restored = restore_values(*array, values);
    EXPECT_EQ(get("Gain"), "3") << "the others are restored all the same";
    EXPECT_EQ(restored.result.GetCode(), PvResult::GenericError);
    ASSERT_EQ(restored.failures.size(), 5U) << text(restored.result);
    EXPECT_EQ(restored.failures[0].name, "Width");
    EXPECT_EQ(restored.failures[0].reason.GetCode(), PvResult::StateError);
    const std::string all = text(restored.result);
    EXPECT_TRUE(all.starts_with("5 parameters could not be restored: Width is locked while the acquisition runs; "
                                "Stuck is 0 after 5 was written; Inverter (Line L7): "))
        << all;
    EXPECT_TRUE(all.ends_with("; Go is a command and has no value; Gone: There is no parameter named \"Gone\"")) << all;
    EXPECT_EQ(port.get32(16), 0U);
}

TEST_F(Stored, TellsTheDeviceThatItIsBeingRestored)
{
    load({"Width"}, command("DeviceRegistersStreamingStart", {.value = "Control", .command_value = 1}) +
                        command("DeviceRegistersStreamingEnd", {.value = "Control", .command_value = 2}) +
                        boolean("DeviceRegistersValid", {.value = "Valid"}) + int_reg("Valid", 8, "RO") +
                        int_reg("Control", 0, {.access = "WO"}) + int_reg("Width", 4, streamable));
    std::uint32_t at_write = 0;
    port.on_access = [&] { at_write = port.get32(4) == 0 ? port.get32(0) : at_write; };
    const std::vector<StoredValue> values{{"Width", "640", {}}};
    const RestoredValues restored = restore_values(*array, values);
    EXPECT_EQ(at_write, 1U);
    EXPECT_EQ(port.get32(0), 2U);
    EXPECT_EQ(text(restored.result),
              "1 parameter could not be restored: DeviceRegistersValid: The device says that its "
              "settings do not fit together");
    port.set32(8, 1);
    EXPECT_TRUE(restore_values(*array, values).result.IsOK());
}

TEST_F(Stored, NeedsAnArrayThatWasBuilt)
{
    struct Empty : PvGenParameterArray {
    } empty;
    EXPECT_EQ(store_values(empty).result.GetCode(), PvResult::NotInitialized);
    EXPECT_EQ(restore_values(empty, {}).result.GetCode(), PvResult::NotInitialized);
}
