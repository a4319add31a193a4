// Restoring a parameter array's values over a camera in memory.

#include "sdk/genicam/stored_values.h"

#include <gtest/gtest.h>

#include "tests/sdk/genicam/stored_camera.h"

using namespace vex;
using namespace stored_camera;

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
    load({"A", "B", "C", "D"}, int_reg("A", 0, {.streamable = "Yes", .representation = "HexNumber"}) +
                                   int_reg("B", 4, streamable) + floating("C", {.streamable = "Yes", .value = 2.5}) +
                                   raw_reg("D", 0x10, {.streamable = "Yes", .length = 4}));
    set("A", "255");
    port.writes = 0;
    port.set32(0x10, 0x0A0B0C0D);
    const std::vector<StoredValue> values{{"A", "255", {}}, {"B", "1", {}}, {"C", "2.50", {}}, {"D", "0x0a0B0C0D", {}}};
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

TEST_F(Stored, GivesAValueThatMovesInStepsSomeTries)
{
    load({"Focus"}, int_reg("Focus", 0, {.streamable = "Yes", .cachable = "NoCache"}));
    std::uint32_t place = 0;
    port.on_access = [&] {
        place += port.get32(0) > place ? 1 : 0;
        port.set32(0, place);
    };
    const RestoredValues restored = restore_values(*array, std::vector<StoredValue>{{"Focus", "4", {}}});
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(get("Focus"), "4");
}

TEST_F(Stored, LooksAgainAfterAWriteThatFailed)
{
    load({"Width", "Format"},
         int_reg("Width", 0, {.streamable = "Yes", .invalidators = {"Format"}}) + int_reg("Format", 4, streamable));
    port.on_access = [&] {
        // the second write, of the format, is taken and complained about
        const bool complains = port.writes == 2 && port.failure.empty();
        port.failure = complains ? "it is busy" : "";
        if (complains) {
            port.set32(0, 16);
            port.set32(4, 9);
        }
    };
    const RestoredValues restored =
        restore_values(*array, std::vector<StoredValue>{{"Width", "640", {}}, {"Format", "9", {}}});
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(port.get32(0), 640U);
    EXPECT_EQ(port.get32(4), 9U);
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

TEST_F(Stored, NamesNumbersAndTextsThatTheDeviceDoesNotTake)
{
    load({"Gain", "Name", "Mask", "Label"}, float_reg("Gain", 0, {.streamable = "Yes"}) +
                                                string_reg("Name", 0x10, {.streamable = "Yes", .length = 8}) +
                                                raw_reg("Mask", 0x20, {.streamable = "Yes", .length = 4}) +
                                                string_reg("Label", 0x30, {.streamable = "Yes", .length = 4}));
    set("Label", "old");
    const auto nothing = port.bytes;
    port.on_access = [&] { port.bytes = nothing; };
    const std::vector<StoredValue> values{
        {"Gain", "2.5", {}}, {"Name", "left", {}}, {"Mask", "01020304", {}}, {"Label", "", {}}};
    EXPECT_EQ(
        text(restore_values(*array, values).result),
        "4 parameters could not be restored: Gain is 0 after 2.5 was written; Name is empty after left was written; "
        "Mask is 00000000 after 01020304 was written; Label is old after nothing was written");
}

TEST_F(Stored, TakesWhatTheDeviceMakesOfNumbersAndTexts)
{
    load({"Gain", "Name"}, float_reg("Gain", 0, {.streamable = "Yes"}) +
                               string_reg("Name", 0x10, {.streamable = "Yes", .length = 8}) +
                               integer("Width", {.streamable = "Yes", .value = "W"}) + int_reg("W", 0x20));
    array->GetNodeMap()->node("Gain")->set_float_value(2.5);
    const std::vector<std::uint8_t> rounded{port.bytes[0], port.bytes[1], port.bytes[2], port.bytes[3]};
    port.on_access = [&] {
        port.set(0, rounded);
        port.bytes[0x13] = 0;
    };
    const std::vector<StoredValue> values{{"Gain", "2.51", {}}, {"Name", "left", {}}};
    const RestoredValues restored = restore_values(*array, values);
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(get("Gain"), "2.5");
    EXPECT_EQ(get("Name"), "lef");
    const RestoredValues again = restore_values(*array, values);
    EXPECT_TRUE(again.result.IsOK()) << text(again.result);
}

TEST_F(Stored, TakesANumberThatHasMovedAsRoundedHoweverOftenItIsTried)
{
    load({"Gain"}, float_reg("Gain", 0, {.streamable = "Yes"}));
    array->GetNodeMap()->node("Gain")->set_float_value(2.5);
    const auto coarse = port.bytes;
    port.bytes.clear();
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    port.writes = 0;
    port.on_access = [&] { port.bytes = port.writes > 0 ? coarse : port.bytes; };
    const RestoredValues restored = restore_values(*array, std::vector<StoredValue>{{"Gain", "2", {}}});
    EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
    EXPECT_EQ(port.writes, 2) << "written, and once more because it had changed";
    EXPECT_EQ(get("Gain"), "2.5");
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
