// Acknowledges against the golden messages, in both directions.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "sdk/wire/gvcp.h"
#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

using namespace vex::wire::gvcp;
using golden::copy;
using Decoded = golden::Decoded<decode_acknowledge>;

TEST(GvcpDiscoveryAcknowledge, TellsWhoTheDeviceIs)
{
    const Decoded message(golden::discovery_ack());
    EXPECT_EQ(message.view.acknowledge, Command::discovery_ack);
    EXPECT_EQ(message.view.status, Status::success);
    EXPECT_EQ(message.view.request_id, 1U);
    const auto device = decode_discovery_acknowledge(message.view.payload);
    ASSERT_TRUE(device);
    EXPECT_EQ(device->version_major, 2U);
    EXPECT_EQ(device->version_minor, 0U);
    EXPECT_EQ(device->device_mode, 0x80000001U);
    EXPECT_EQ(device->mac.to_string(), "00:11:22:33:44:aa");
    EXPECT_EQ(device->supported_ip_configuration, 7U);
    EXPECT_EQ(device->current_ip_configuration, 5U);
    EXPECT_EQ(device->address.to_string(), "192.168.7.50");
    EXPECT_EQ(device->mask.to_string(), "255.255.255.0");
    EXPECT_EQ(device->gateway.to_string(), "192.168.7.1");
    EXPECT_EQ(device->manufacturer, "ManuF");
    EXPECT_EQ(device->model, "ModelX");
    EXPECT_EQ(device->device_version, "1.0");
    EXPECT_EQ(device->manufacturer_info, "info");
    EXPECT_EQ(device->serial_number, "SN123");
    EXPECT_EQ(device->user_defined_name, "user");

    std::array<std::uint8_t, discovery_ack_size> bootstrap{};
    std::copy(message.view.payload.begin(), message.view.payload.end(), bootstrap.begin());
    EXPECT_EQ(copy(discovery_acknowledge(1, bootstrap).bytes()), golden::discovery_ack());
}

TEST(GvcpDiscoveryAcknowledge, StringsMayFillTheirFieldsWithoutAZero)
{
    golden::Bytes payload(discovery_ack_size, 'x');
    const auto device = decode_discovery_acknowledge(payload);
    ASSERT_TRUE(device);
    EXPECT_EQ(device->manufacturer, std::string(32, 'x'));
    EXPECT_EQ(device->model, std::string(32, 'x'));
    EXPECT_EQ(device->device_version, std::string(32, 'x'));
    EXPECT_EQ(device->manufacturer_info, std::string(48, 'x'));
    EXPECT_EQ(device->serial_number, std::string(16, 'x'));
    EXPECT_EQ(device->user_defined_name, std::string(16, 'x'));
}

TEST(GvcpDiscoveryAcknowledge, LongerIsToleratedShorterIsNot)
{
    golden::Bytes payload(discovery_ack_size + 8, 0);
    EXPECT_TRUE(decode_discovery_acknowledge(payload));
    payload.resize(discovery_ack_size - 1);
    EXPECT_FALSE(decode_discovery_acknowledge(payload));
}

TEST(GvcpForceIpAcknowledge, IsEmpty)
{
    const Decoded message(golden::force_ip_ack());
    EXPECT_EQ(message.view.acknowledge, Command::force_ip_ack);
    EXPECT_TRUE(message.view.payload.empty());
    EXPECT_EQ(copy(Message::acknowledge(Command::force_ip_ack, 2, Status::success).bytes()), golden::force_ip_ack());
}

TEST(GvcpReadRegistersAcknowledge, ListsValues)
{
    const Decoded message(golden::read_registers_ack());
    EXPECT_EQ(message.view.acknowledge, Command::read_register_ack);
    EXPECT_EQ(message.view.payload.size(), 12U);
    const std::array<std::uint32_t, 3> values{2, 0x80000047, 1500};
    EXPECT_EQ(copy(read_registers_acknowledge(3, Status::success, values).bytes()), golden::read_registers_ack());
}

TEST(GvcpWriteAcknowledge, CountsWhatWasDone)
{
    EXPECT_EQ(decode_write_done(Decoded(golden::write_registers_ack()).view.payload), 2U);
    EXPECT_EQ(decode_write_done(Decoded(golden::write_stream_port_ack()).view.payload), 1U);
    EXPECT_EQ(decode_write_done(Decoded(golden::write_memory_ack()).view.payload), 16U);
    EXPECT_EQ(copy(write_acknowledge(Command::write_register_ack, 4, Status::success, 2).bytes()),
              golden::write_registers_ack());
    EXPECT_EQ(copy(write_acknowledge(Command::write_register_ack, 5, Status::success, 1).bytes()),
              golden::write_stream_port_ack());
    EXPECT_EQ(copy(write_acknowledge(Command::write_memory_ack, 7, Status::success, 16).bytes()),
              golden::write_memory_ack());
    EXPECT_FALSE(decode_write_done(golden::Bytes(3)));
}

TEST(GvcpReadMemoryAcknowledge, CarriesAddressAndData)
{
    const Decoded message(golden::read_memory_ack());
    EXPECT_EQ(message.view.acknowledge, Command::read_memory_ack);
    const auto memory = decode_read_memory_acknowledge(message.view.payload);
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->address, 0x200U);
    EXPECT_EQ(memory->data.size(), 512U);
    EXPECT_EQ(std::string(memory->data.begin(), memory->data.begin() + 12), "Local:x.zip;");
    EXPECT_EQ(copy(read_memory_acknowledge(6, 0x200, memory->data).bytes()), golden::read_memory_ack());
}

TEST(GvcpPendingAcknowledge, TellsTheTimeToCompletion)
{
    const Decoded message(golden::pending_ack());
    EXPECT_EQ(message.view.acknowledge, Command::pending_ack);
    EXPECT_EQ(message.view.request_id, 7U);
    EXPECT_EQ(decode_pending(message.view.payload), 1500U);
    EXPECT_EQ(copy(pending_acknowledge(7, 1500).bytes()), golden::pending_ack());
    EXPECT_FALSE(decode_pending(golden::Bytes(3)));
}

TEST(GvcpStatus, TravelsInTheFirstTwoBytes)
{
    const Message message = Message::acknowledge(Command::write_memory_ack, 0x0102, Status::access_denied);
    EXPECT_EQ(copy(message.bytes()), (golden::Bytes{0x80, 0x06, 0x00, 0x87, 0, 0, 1, 2}));
    const auto view = decode_acknowledge(message.bytes());
    ASSERT_TRUE(view);
    EXPECT_EQ(view->status, Status::access_denied);
}

TEST(GvcpStatus, EveryKnownCodeHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (std::uint32_t code = 0; code <= 0xFFFF; ++code) {
        texts.insert(text_of(static_cast<Status>(code)));
    }
    EXPECT_EQ(texts.size(), 27U);  // 26 codes and the unknown ones
    EXPECT_TRUE(texts.contains("unknown status"));
    EXPECT_STREQ(text_of(Status::access_denied), "access denied");
    EXPECT_STREQ(text_of(static_cast<Status>(0x8018)), "unknown status");
}

}  // namespace
