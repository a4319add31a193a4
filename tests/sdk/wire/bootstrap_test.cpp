// The register map against a table of its own.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

namespace bootstrap = wire::bootstrap;

struct Row {
    std::uint32_t constant;
    std::uint32_t address;
};

constexpr Row rows[] = {
    {bootstrap::version, 0x0000},
    {bootstrap::device_mode, 0x0004},
    {bootstrap::mac_high, 0x0008},
    {bootstrap::mac_low, 0x000C},
    {bootstrap::supported_ip_configuration, 0x0010},
    {bootstrap::current_ip_configuration, 0x0014},
    {bootstrap::current_ip, 0x0024},
    {bootstrap::current_mask, 0x0034},
    {bootstrap::current_gateway, 0x0044},
    {bootstrap::manufacturer_name, 0x0048},
    {bootstrap::model_name, 0x0068},
    {bootstrap::device_version, 0x0088},
    {bootstrap::manufacturer_info, 0x00A8},
    {bootstrap::serial_number, 0x00D8},
    {bootstrap::user_defined_name, 0x00E8},
    {bootstrap::first_url, 0x0200},
    {bootstrap::second_url, 0x0400},
    {bootstrap::interface_count, 0x0600},
    {bootstrap::persistent_ip, 0x064C},
    {bootstrap::persistent_mask, 0x065C},
    {bootstrap::persistent_gateway, 0x066C},
    {bootstrap::link_speed, 0x0670},
    {bootstrap::message_channel_count, 0x0900},
    {bootstrap::stream_channel_count, 0x0904},
    {bootstrap::action_signal_count, 0x0908},
    {bootstrap::action_device_key, 0x090C},
    {bootstrap::active_link_count, 0x0910},
    {bootstrap::stream_channel_capability, 0x092C},
    {bootstrap::message_channel_capability, 0x0930},
    {bootstrap::gvcp_capability, 0x0934},
    {bootstrap::heartbeat_timeout, 0x0938},
    {bootstrap::timestamp_frequency_high, 0x093C},
    {bootstrap::timestamp_frequency_low, 0x0940},
    {bootstrap::timestamp_control, 0x0944},
    {bootstrap::timestamp_value_high, 0x0948},
    {bootstrap::timestamp_value_low, 0x094C},
    {bootstrap::discovery_ack_delay, 0x0950},
    {bootstrap::gvcp_configuration, 0x0954},
    {bootstrap::pending_timeout, 0x0958},
    {bootstrap::control_switchover_key, 0x095C},
    {bootstrap::gvsp_configuration, 0x0960},
    {bootstrap::physical_link_capability, 0x0964},
    {bootstrap::physical_link_configuration, 0x0968},
    {bootstrap::control_channel_privilege, 0x0A00},
    {bootstrap::primary_application_port, 0x0A04},
    {bootstrap::primary_application_ip, 0x0A14},
    {bootstrap::message_channel_port, 0x0B00},
    {bootstrap::message_channel_destination, 0x0B10},
    {bootstrap::message_channel_timeout, 0x0B14},
    {bootstrap::message_channel_retry_count, 0x0B18},
    {bootstrap::message_channel_source_port, 0x0B1C},
    {bootstrap::stream_register(0, bootstrap::stream::port), 0x0D00},
    {bootstrap::stream_register(0, bootstrap::stream::packet_size), 0x0D04},
    {bootstrap::stream_register(0, bootstrap::stream::packet_delay), 0x0D08},
    {bootstrap::stream_register(0, bootstrap::stream::destination), 0x0D18},
    {bootstrap::stream_register(0, bootstrap::stream::source_port), 0x0D1C},
    {bootstrap::stream_register(0, bootstrap::stream::capability), 0x0D20},
    {bootstrap::stream_register(0, bootstrap::stream::configuration), 0x0D24},
    {bootstrap::manifest_table, 0x9000},
    {bootstrap::action_group_key, 0x9800},
    {bootstrap::action_group_mask, 0x9804},
};

TEST(Bootstrap, RegistersStandWhereTheMapSays)
{
    std::set<std::uint32_t> addresses;
    std::set<std::string> names;
    for (const Row& row : rows) {
        EXPECT_EQ(row.constant, row.address);
        EXPECT_TRUE(addresses.insert(row.address).second) << std::hex << row.address;
        const char* const name = bootstrap::name_of(row.address);
        ASSERT_NE(name, nullptr) << std::hex << row.address;
        EXPECT_TRUE(names.insert(name).second) << name;
    }
}

TEST(Bootstrap, StringFieldsEndWhereTheNextBegins)
{
    EXPECT_EQ(bootstrap::manufacturer_name + bootstrap::manufacturer_name_length, bootstrap::model_name);
    EXPECT_EQ(bootstrap::model_name + bootstrap::model_name_length, bootstrap::device_version);
    EXPECT_EQ(bootstrap::device_version + bootstrap::device_version_length, bootstrap::manufacturer_info);
    EXPECT_EQ(bootstrap::manufacturer_info + bootstrap::manufacturer_info_length, bootstrap::serial_number);
    EXPECT_EQ(bootstrap::serial_number + bootstrap::serial_number_length, bootstrap::user_defined_name);
    EXPECT_EQ(bootstrap::first_url + bootstrap::url_length, bootstrap::second_url);
    EXPECT_EQ(bootstrap::second_url + bootstrap::url_length, bootstrap::interface_count);
}

TEST(Bootstrap, NamesStreamChannelsAndActionSignalsByTheirStride)
{
    EXPECT_EQ(bootstrap::stream_register(3, bootstrap::stream::destination), 0x0DD8U);
    EXPECT_STREQ(bootstrap::name_of(0x0DD8), "stream channel destination address");
    EXPECT_STREQ(bootstrap::name_of(bootstrap::stream_register(511, 0)), "stream channel port");
    EXPECT_STREQ(bootstrap::name_of(0x9834), "action group mask");
}

TEST(Bootstrap, AddressesBetweenRegistersHaveNoName)
{
    for (const std::uint32_t address : {0x0001U, 0x0018U, 0x0918U, 0x0D01U, 0x0D0CU, 0x9808U, 0xA000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(bootstrap::name_of(address), nullptr) << std::hex << address;
    }
}

TEST(Bootstrap, CapabilityBitsAreSingleAndDistinct)
{
    namespace capability = bootstrap::capability;
    std::uint32_t all = 0;
    for (const std::uint32_t bit : {capability::user_defined_name,
                                    capability::serial_number,
                                    capability::heartbeat_disable,
                                    capability::link_speed,
                                    capability::application_port_and_ip,
                                    capability::manifest_table,
                                    capability::test_data,
                                    capability::discovery_ack_delay,
                                    capability::discovery_ack_delay_writable,
                                    capability::extended_status_1_1,
                                    capability::application_switchover,
                                    capability::unconditional_action,
                                    capability::ieee_1588,
                                    capability::extended_status_2_0,
                                    capability::scheduled_action,
                                    capability::action,
                                    capability::pending_ack,
                                    capability::event_data,
                                    capability::event,
                                    capability::packet_resend,
                                    capability::write_memory,
                                    capability::concatenation}) {
        EXPECT_EQ(bit & (bit - 1), 0U);
        EXPECT_EQ(all & bit, 0U) << std::hex << bit;
        all |= bit;
    }
    EXPECT_EQ(all, 0xFFFE007FU);
}

}  // namespace
