// The rows of a list of devices: headings, order, filter, choice, and what the application keeps out.
#include "sdk/finder/device_table.h"

#include <gtest/gtest.h>

namespace vex::finder {
namespace {

Device device(const std::string& id, const std::string& address, const std::string& name = "")
{
    Device made;
    made.id = id;
    made.interface_id = "eth0";
    made.mac = id;
    made.address = address;
    made.name = name;
    made.vendor = "Vendor";
    made.model = "Model " + id;
    made.access = PvAccessOpen;
    return made;
}

class DeviceTableTest : public testing::Test {
protected:
    void set(std::vector<Device> devices, const DeviceTable::IsListed& is_listed = nullptr)
    {
        auto found = std::make_shared<Found>();
        found->interfaces = {{"eth0", "First adapter", "10.0.0.1", "255.255.255.0"},
                             {"eth1", "Second adapter", "10.0.1.1", "255.255.255.0"}};
        found->devices = std::move(devices);
        found->is_complete = true;
        table.set(std::move(found), is_listed);
    }
    /// Headings in brackets, devices by their IDs.
    [[nodiscard]] std::string rows() const
    {
        std::string text;
        for (const Row& row : table.rows()) {
            text += row.device ? row.device->id + " " : "[" + row.heading + "] ";
        }
        return text;
    }

    DeviceTable table;
};

TEST_F(DeviceTableTest, HasARowForEachDeviceUnderItsInterface)
{
    EXPECT_EQ(rows(), "");
    auto other = device("c", "10.0.1.9");
    other.interface_id = "eth1";
    auto nowhere = device("d", "10.0.2.9");
    nowhere.interface_id = "eth2";
    set({other, device("b", "10.0.0.9"), nowhere, device("a", "10.0.0.10")});
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] a b [Second adapter  10.0.1.1] c d ");
    EXPECT_EQ(table.device_count(), 4U);
}

TEST_F(DeviceTableTest, SortsAddressesByTheirNumbersAndBothWays)
{
    set({device("a", "10.0.0.10"), device("b", "10.0.0.9"), device("c", "10.0.0.100")});
    table.sort_by(Column::address);
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] b a c ");
    table.sort_by(Column::address);
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] c a b ");
    table.sort_by(Column::mac);
    EXPECT_FALSE(table.is_descending());
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] a b c ");
}

TEST_F(DeviceTableTest, FiltersByWhatEveryColumnSays)
{
    auto busy = device("c", "10.0.0.7", "Left");
    busy.access = PvAccessControl;
    set({device("a", "10.0.0.5", "Top"), device("b", "10.0.0.6"), busy});
    table.set_filter("tOP");
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] a ");
    table.set_filter("in use");
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] c ");
    table.set_filter("0.0.6");
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] b ");
    table.set_filter("nothing");
    EXPECT_EQ(rows(), "");
    table.set_filter("");
    EXPECT_EQ(table.rows().size(), 4U);
}

TEST_F(DeviceTableTest, KeepsTheChoiceWhateverHappensToTheRows)
{
    set({device("a", "10.0.0.5"), device("b", "10.0.0.6")});
    table.choose(2);
    ASSERT_TRUE(table.chosen());
    EXPECT_EQ(table.chosen()->id, "b");
    table.sort_by(Column::name);
    EXPECT_EQ(table.chosen_row(), 1);
    table.set_filter("10.0.0.5");
    EXPECT_EQ(table.chosen_row(), std::nullopt);
    EXPECT_EQ(table.chosen()->id, "b");
    table.set_filter("");
    set({device("a", "10.0.0.5")});
    EXPECT_EQ(table.chosen()->address, "10.0.0.6");
    set({device("a", "10.0.0.5"), device("b", "10.0.0.66")});
    EXPECT_EQ(table.chosen()->address, "10.0.0.66");
    table.choose(0);  // a heading
    EXPECT_FALSE(table.chosen());
    table.choose(1);
    table.choose(-1);
    EXPECT_FALSE(table.chosen());
    table.choose(100);
    EXPECT_FALSE(table.chosen());
}

TEST_F(DeviceTableTest, AsksOnceAboutWhatSaysTheSame)
{
    std::vector<std::string> asked;
    const auto ask = [&](const Device& about) {
        asked.push_back(about.id + about.address);
        return about.id != "b";
    };
    set({device("a", "1"), device("b", "2")}, ask);
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] a ");
    EXPECT_EQ(table.device_count(), 1U);
    set({device("a", "1"), device("b", "2"), device("c", "3")}, ask);
    EXPECT_EQ(rows(), "[First adapter  10.0.0.1] a c ");
    set({device("a", "1"), device("b", "4")}, ask);
    EXPECT_EQ(asked, (std::vector<std::string>{"a1", "b2", "c3", "b4"}));
    table.forget_answers();
    set({device("a", "1")}, ask);
    EXPECT_EQ(asked.size(), 5U);
}

TEST_F(DeviceTableTest, SaysWhatStateADeviceIsIn)
{
    auto one = device("a", "1");
    EXPECT_EQ(state_text(one), "Available");
    one.access = PvAccessControl;
    EXPECT_EQ(state_text(one), "In use by another application");
    one.access = PvAccessExclusive;
    EXPECT_EQ(state_text(one), "In exclusive use by another application");
    one.access = PvAccessUnknown;
    EXPECT_EQ(state_text(one), "Unknown");
    one.is_reachable = false;
    EXPECT_EQ(state_text(one), "Wrong subnet");
}

TEST_F(DeviceTableTest, ProposesAFreeAddress)
{
    const Interface host{"eth0", "", "192.168.3.254", "255.255.255.0"};
    EXPECT_EQ(proposed_address(host, {}), "192.168.3.253");
    EXPECT_EQ(proposed_address(host, {"192.168.3.253", "10.0.0.1"}), "192.168.3.252");
    EXPECT_EQ(proposed_address({"", "", "10.1.1.1", "255.255.255.252"}, {}), "10.1.1.2");
    EXPECT_EQ(proposed_address({"", "", "10.1.1.1", "255.255.255.252"}, {"10.1.1.2"}), "");
    EXPECT_EQ(proposed_address({"", "", "10.1.1.1", "255.255.255.255"}, {}), "");
    EXPECT_EQ(proposed_address({"", "", "10.1.1.1", "255.255.255.254"}, {}), "");
    EXPECT_EQ(proposed_address({"", "", "nonsense", "255.255.255.0"}, {}), "");
}

TEST_F(DeviceTableTest, TellsDetailsWithoutEmptyLines)
{
    auto one = device("aa:bb", "10.0.0.5", "Top");
    one.serial_number = "S-1";
    EXPECT_EQ(details(one), "Name: Top\r\nVendor: Vendor\r\nModel: Model aa:bb\r\nSerial number: S-1\r\n"
                            "MAC address: aa:bb\r\nIP address: 10.0.0.5\r\nState: Available\r\n");
}

}  // namespace
}  // namespace vex::finder
