// The settings of bridges in a property list.
#include "sdk/bridge_manager/stored_settings.h"

#include <gtest/gtest.h>

#include <clocale>
#include <utility>

namespace vex::bridge_manager {
namespace {

using Items = std::vector<std::pair<std::string, std::string>>;

Items items_of(const PvPropertyList& list)
{
    Items items;
    for (std::uint32_t index = 0; index < list.GetSize(); ++index) {
        items.emplace_back(list.GetItem(index)->GetName().str(), list.GetItem(index)->GetValue().str());
    }
    return items;
}

PvPropertyList list_of(const Items& items)
{
    PvPropertyList list;
    for (const auto& [name, value] : items) {
        list.Add(PvProperty(PvString(std::string_view(name)), PvString(std::string_view(value))));
    }
    return list;
}

Settings full_settings()
{
    Settings settings;
    settings.endpoint = "tcp:5000";
    settings.line = PvSerialPortConfiguration{57'600, PvParityOdd, 7, 2};
    settings.hard_coded_baud_rate = 19'200;
    settings.has_parameters = true;
    settings.device = "GenCP:9600";
    settings.description = "camera.xml";
    return settings;
}

TEST(StoredSettings, HaveDocumentedNames)
{
    PvPropertyList list;
    store_row("Serial0", full_settings(), true, list);
    EXPECT_EQ(items_of(list), (Items{{"SerialBridge.Serial0.Running", "1"},
                                     {"SerialBridge.Serial0.Endpoint", "tcp:5000"},
                                     {"SerialBridge.Serial0.SerialPort", ""},
                                     {"SerialBridge.Serial0.BaudRate", "57600"},
                                     {"SerialBridge.Serial0.Parity", "Odd"},
                                     {"SerialBridge.Serial0.ByteSize", "7"},
                                     {"SerialBridge.Serial0.StopBits", "2"},
                                     {"SerialBridge.Serial0.HardCodedBaudRate", "19200"},
                                     {"SerialBridge.Serial0.ParameterArray", "1"},
                                     {"SerialBridge.Serial0.DeviceID", "GenCP:9600"},
                                     {"SerialBridge.Serial0.XMLID", "camera.xml"}}));
}

TEST(StoredSettings, ComeBack)
{
    Settings of_line;
    of_line.serial_port = "COM3";
    for (const Settings& settings : {full_settings(), Settings(), of_line}) {
        PvPropertyList list;
        store_row("Bulk0", settings, false, list);
        const StoredRow row = read_row("Bulk0", list, full_settings());
        EXPECT_TRUE(row.is_mentioned);
        EXPECT_EQ(row.running, false);
        EXPECT_TRUE(row.settings == settings);
        EXPECT_TRUE(row.faults.empty());
    }
}

TEST(StoredSettings, TakeTheirOwnPlaceInAListAgain)
{
    PvPropertyList list = list_of({{"Somebody", "else's"}, {"SerialBridge.Serial0.Running", "7"}});
    store_row("Serial0", full_settings(), true, list);
    store_row("Serial1", Settings(), false, list);
    const std::uint32_t size = list.GetSize();
    store_row("Serial0", Settings(), false, list);
    EXPECT_EQ(list.GetSize(), size);
    EXPECT_EQ(list.GetItem(0)->GetValue().str(), "else's");
    EXPECT_EQ(list.GetItem(1)->GetValue().str(), "0");
    EXPECT_TRUE(read_row("Serial0", list, full_settings()).settings == Settings());
}

TEST(StoredSettings, CountInTheLastOfEqualNames)
{
    PvPropertyList list = list_of({{"SerialBridge.Serial0.Endpoint", "one"}, {"SerialBridge.Serial0.Endpoint", "two"}});
    EXPECT_EQ(read_row("Serial0", list, Settings()).settings.endpoint.str(), "two");
    store_row("Serial0", full_settings(), true, list);
    EXPECT_TRUE(read_row("Serial0", list, Settings()).settings == full_settings());
}

TEST(StoredSettings, NameEachParity)
{
    Settings settings;
    const std::pair<PvParity, const char*> names[] = {
        {PvParityNone, "None"}, {PvParityEven, "Even"}, {PvParityOdd, "Odd"}};
    for (const auto& [parity, name] : names) {
        settings.line = PvSerialPortConfiguration{9600, parity, 8, 1};
        PvPropertyList list;
        store_row("Serial0", settings, false, list);
        EXPECT_EQ(list.GetItem(4)->GetValue().str(), name);
        EXPECT_TRUE(read_row("Serial0", list, Settings()).settings == settings);
    }
}

TEST(StoredSettings, KeepWhatAListDoesNotTell)
{
    const StoredRow row = read_row("Serial0", list_of({{"SerialBridge.Serial0.ByteSize", "8"}}), full_settings());
    Settings expected = full_settings();
    expected.line->ByteSize = 8;
    EXPECT_TRUE(row.is_mentioned);
    EXPECT_FALSE(row.running.has_value());
    EXPECT_TRUE(row.settings == expected);
    const StoredRow begun = read_row("Serial0", list_of({{"SerialBridge.Serial0.BaudRate", "300"}}), Settings());
    EXPECT_EQ(begun.settings.line, (PvSerialPortConfiguration{300, PvParityNone, 8, 1}));
}

TEST(StoredSettings, LeaveOtherNamesAlone)
{
    const PvPropertyList list = list_of({{"Width", "640"},
                                         {"SerialBridge.Serial01.Running", "1"},
                                         {"SerialBridge.Serial0", "1"},
                                         {"SerialBridge..Running", "1"},
                                         {"Serial0.Running", "1"}});
    EXPECT_FALSE(read_row("Serial0", list, Settings()).is_mentioned);
    const StoredRow row = read_row("Serial0", list_of({{"SerialBridge.Serial0.Colour", "red"}}), Settings());
    EXPECT_TRUE(row.faults.empty()) << "of a later version";
    const std::vector<std::string> known{"Serial0"};
    EXPECT_EQ(unknown_ports(list, known), std::vector<std::string>{"Serial01"});
    PvPropertyList full;
    store_row("Bulk1", Settings(), false, full);
    EXPECT_EQ(unknown_ports(full, known), std::vector<std::string>{"Bulk1"}) << "each once";
}

TEST(StoredSettings, NameValuesThatAreNone)
{
    const auto faults = [](const char* name, const char* value) {
        return read_row("Serial0", list_of({{std::string("SerialBridge.Serial0.") + name, value}}), Settings()).faults;
    };
    using Faults = std::vector<std::string>;
    EXPECT_EQ(faults("Running", "2"), Faults{"Running cannot be \"2\""});
    EXPECT_EQ(faults("Running", ""), Faults{"Running cannot be \"\""});
    EXPECT_EQ(faults("BaudRate", "fast"), Faults{"BaudRate cannot be \"fast\""});
    EXPECT_EQ(faults("BaudRate", "-1"), Faults{"BaudRate cannot be \"-1\""});
    EXPECT_EQ(faults("HardCodedBaudRate", "4294967296"), Faults{"HardCodedBaudRate cannot be \"4294967296\""});
    EXPECT_EQ(faults("Parity", "odd"), Faults{"Parity cannot be \"odd\""});
    EXPECT_EQ(faults("ParameterArray", "yes"), Faults{"ParameterArray cannot be \"yes\""});
    EXPECT_EQ(faults("ByteSize", "9"), Faults{"The byte size 9 is not one of 5 to 8 data bits"});
    EXPECT_EQ(faults("Endpoint", "a/b").size(), 1U);
    EXPECT_EQ(faults("HardCodedBaudRate", "4000001").size(), 1U);
    const PvPropertyList both =
        list_of({{"SerialBridge.Serial0.BaudRate", "fast"}, {"SerialBridge.Serial0.ByteSize", "9"}});
    EXPECT_EQ(read_row("Serial0", both, Settings()).faults, Faults{"BaudRate cannot be \"fast\""});
}

TEST(StoredSettings, RefuseParametersWithoutAnEndpoint)
{
    const PvPropertyList list =
        list_of({{"SerialBridge.Serial0.ParameterArray", "1"}, {"SerialBridge.Serial0.SerialPort", "COM3"}});
    EXPECT_EQ(read_row("Serial0", list, Settings()).faults,
              std::vector<std::string>{"Camera Link parameters need a bridge to a pipe or a TCP port, not COM3"});
    Settings settings;
    settings.has_parameters = true;
    EXPECT_TRUE(settings.check().IsOK());
    settings.device = "GenCP:fast";
    EXPECT_EQ(settings.check().GetCode(), PvResult::InvalidParameter);
    settings.has_parameters = false;
    settings.endpoint = "a/b";
    settings.serial_port = "COM3";
    EXPECT_TRUE(settings.check().IsOK()) << "neither is used";
}

TEST(StoredSettings, DependOnNoLocale)
{
    const char* const german = std::setlocale(LC_ALL, "de_DE.UTF-8");
    PvPropertyList list;
    store_row("Serial0", full_settings(), true, list);
    EXPECT_EQ(list.GetItem(3)->GetValue().str(), "57600");
    EXPECT_TRUE(read_row("Serial0", list, Settings()).settings == full_settings());
    std::setlocale(LC_ALL, "C");
    RecordProperty("locale", german != nullptr ? german : "none");
}

TEST(Settings, KnowWhatABridgeCanBeToldWhileItRuns)
{
    Settings other = full_settings();
    other.line.reset();
    other.hard_coded_baud_rate = 0;
    EXPECT_TRUE(full_settings().joins_as(other));
    other.endpoint = "tcp:5001";
    EXPECT_FALSE(full_settings().joins_as(other));
    other = full_settings();
    other.has_parameters = false;
    EXPECT_FALSE(full_settings().joins_as(other));
}

}  // namespace
}  // namespace vex::bridge_manager
