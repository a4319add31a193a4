// Commands against the golden messages, in both directions.
#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

#include "sdk/wire/gvcp.h"
#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

using namespace vex::wire::gvcp;
using golden::copy;
using Decoded = golden::Decoded<decode_command>;

const MacAddress mac{{0x00, 0x11, 0x22, 0x33, 0x44, 0xAA}};
constexpr Ipv4Address device_address{0xC0A80732};
constexpr Ipv4Address host_address{0xC0A80701};
constexpr Ipv4Address mask{0xFFFFFF00};

TEST(GvcpDiscovery, IsHeaderOnlyAndAllowsBroadcastAcknowledge)
{
    const Decoded command(golden::discovery());
    EXPECT_EQ(command.view.command, Command::discovery);
    EXPECT_EQ(command.view.flags, 0x11);
    EXPECT_EQ(command.view.request_id, 1);
    EXPECT_TRUE(command.view.acknowledge_required());
    EXPECT_TRUE(command.view.payload.empty());
    EXPECT_EQ(copy(discovery(1, true).bytes()), golden::discovery());
    EXPECT_EQ(discovery(1, false).bytes()[1], 0x01);
}

TEST(GvcpForceIp, CarriesMacAddressMaskAndGateway)
{
    const Decoded command(golden::force_ip());
    EXPECT_EQ(command.view.command, Command::force_ip);
    const auto settings = decode_force_ip(command.view.payload);
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->mac, mac);
    EXPECT_EQ(settings->address, device_address);
    EXPECT_EQ(settings->mask, mask);
    EXPECT_EQ(settings->gateway, host_address);
    EXPECT_EQ(copy(force_ip(2, {mac, device_address, mask, host_address}, true).bytes()), golden::force_ip());
}

TEST(GvcpReadRegisters, ListsAddresses)
{
    const Decoded command(golden::read_registers());
    EXPECT_EQ(command.view.command, Command::read_register);
    EXPECT_EQ(command.view.payload.size(), 12U);
    const std::array<std::uint32_t, 3> addresses{0x0A00, 0x0934, 0x0D04};
    EXPECT_EQ(copy(read_registers(3, addresses).bytes()), golden::read_registers());
}

TEST(GvcpReadRegisters, TakesAsManyAddressesAsOneMessageHolds)
{
    const std::vector<std::uint32_t> addresses(135, 0x0A00);
    const Message message = read_registers(1, addresses);
    EXPECT_EQ(message.bytes().size(), largest_message);
    EXPECT_EQ(message.room(), 0U);
    ASSERT_TRUE(decode_command(message.bytes()));
    EXPECT_EQ(decode_command(message.bytes())->payload.size(), 540U);
}

TEST(GvcpWriteRegisters, PairsAddressAndValue)
{
    const std::array<RegisterWrite, 2> writes{{{0x0D18, host_address.value}, {0x0D00, 50001}}};
    EXPECT_EQ(copy(write_registers(4, writes).bytes()), golden::write_registers());
    const std::array<RegisterWrite, 1> stream_port{{{0x0D00, 50001}}};
    EXPECT_EQ(copy(write_registers(5, stream_port).bytes()), golden::write_stream_port());
    const std::array<RegisterWrite, 1> message_port{{{0x0B00, 50002}}};
    EXPECT_EQ(copy(write_registers(12, message_port).bytes()), golden::write_message_port());
    EXPECT_EQ(write_registers(4, writes, false).bytes()[1], 0x00);

    const Decoded command(golden::write_registers());
    EXPECT_EQ(command.view.command, Command::write_register);
    EXPECT_EQ(command.view.payload.size(), 16U);
}

TEST(GvcpReadMemory, CarriesAddressAndCount)
{
    const Decoded command(golden::read_memory());
    EXPECT_EQ(command.view.command, Command::read_memory);
    const auto read = decode_read_memory(command.view.payload);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->address, 0x200U);
    EXPECT_EQ(read->count, 512U);
    EXPECT_EQ(copy(read_memory(6, {0x200, 512}).bytes()), golden::read_memory());
}

TEST(GvcpWriteMemory, CarriesAddressAndData)
{
    const Decoded command(golden::write_memory());
    EXPECT_EQ(command.view.command, Command::write_memory);
    const auto write = decode_write_memory(command.view.payload);
    ASSERT_TRUE(write);
    EXPECT_EQ(write->address, 0xE8U);
    golden::Bytes name{'n', 'e', 'w', 'n', 'a', 'm', 'e'};
    name.resize(16);
    EXPECT_EQ(copy(write->data), name);
    EXPECT_EQ(copy(write_memory(7, {0xE8, name}).bytes()), golden::write_memory());
}

TEST(GvcpPacketResend, AsksForNoAcknowledgeInBothForms)
{
    const Decoded standard(golden::packet_resend());
    EXPECT_FALSE(standard.view.acknowledge_required());
    const auto range = decode_packet_resend(standard.view);
    ASSERT_TRUE(range);
    EXPECT_FALSE(range->extended_ids);
    EXPECT_EQ(range->channel, 0U);
    EXPECT_EQ(range->block_id, 0x1234U);
    EXPECT_EQ(range->first_packet, 5U);
    EXPECT_EQ(range->last_packet, 9U);
    EXPECT_EQ(copy(packet_resend(8, *range).bytes()), golden::packet_resend());

    const Decoded extended(golden::packet_resend_extended());
    const auto extended_range = decode_packet_resend(extended.view);
    ASSERT_TRUE(extended_range);
    EXPECT_TRUE(extended_range->extended_ids);
    EXPECT_EQ(extended_range->block_id, 0x123456789AU);
    EXPECT_EQ(extended_range->first_packet, 5U);
    EXPECT_EQ(extended_range->last_packet, 9U);
    EXPECT_EQ(copy(packet_resend(9, *extended_range).bytes()), golden::packet_resend_extended());
}

TEST(GvcpPacketResend, IgnoresTheUpperByteOfStandardPacketIds)
{
    golden::Bytes message = golden::packet_resend();
    message[12] = 0xFF;
    message[16] = 0xEE;
    const auto range = decode_packet_resend(Decoded(message).view);
    ASSERT_TRUE(range);
    EXPECT_EQ(range->first_packet, 5U);
    EXPECT_EQ(range->last_packet, 9U);
}

TEST(GvcpPacketResend, RejectsReversedRangeAndBlockZero)
{
    golden::Bytes reversed = golden::packet_resend();
    reversed[15] = 10;
    EXPECT_FALSE(decode_packet_resend(Decoded(reversed).view));
    golden::Bytes block_zero = golden::packet_resend();
    block_zero[10] = block_zero[11] = 0;
    EXPECT_FALSE(decode_packet_resend(Decoded(block_zero).view));
}

TEST(GvcpAction, HasATimeOnlyWhenScheduled)
{
    const auto at_once = decode_action(Decoded(golden::action()).view);
    ASSERT_TRUE(at_once);
    EXPECT_EQ(at_once->device_key, 0x11U);
    EXPECT_EQ(at_once->group_key, 0x22U);
    EXPECT_EQ(at_once->group_mask, 0x33U);
    EXPECT_FALSE(at_once->time);
    EXPECT_EQ(copy(action(10, *at_once, true).bytes()), golden::action());

    const auto scheduled = decode_action(Decoded(golden::action_scheduled()).view);
    ASSERT_TRUE(scheduled);
    EXPECT_EQ(scheduled->group_mask, 0x33U);
    EXPECT_EQ(scheduled->time, 0xABCDEFU);
    EXPECT_EQ(copy(action(11, *scheduled, true).bytes()), golden::action_scheduled());
    EXPECT_EQ(action(11, *scheduled, false).bytes()[1], 0x80);
}

TEST(GvcpEvent, SeveralStandardEventsShareACommand)
{
    const Decoded command(golden::event_two());
    EXPECT_EQ(command.view.command, Command::event);
    EXPECT_TRUE(command.view.acknowledge_required());
    std::vector<Event> events;
    EXPECT_EQ(for_each_event(command.view, [&](const Event& one) { events.push_back(one); }), 2U);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].event_id, 0x9001U);
    EXPECT_EQ(events[0].channel, 0U);
    EXPECT_EQ(events[0].block_id, 7U);
    EXPECT_EQ(events[0].timestamp, 111U);
    EXPECT_TRUE(events[0].data.empty());
    EXPECT_EQ(events[1].event_id, 7U);
    EXPECT_EQ(events[1].block_id, 8U);
    EXPECT_EQ(events[1].timestamp, 222U);
    EXPECT_EQ(copy(event(13, events, false, true).bytes()), golden::event_two());
}

TEST(GvcpEvent, ExtendedFormHasA64BitBlockId)
{
    const Decoded command(golden::event_extended());
    std::vector<Event> events;
    for_each_event(command.view, [&](const Event& one) { events.push_back(one); });
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].event_id, 0x9001U);
    EXPECT_EQ(events[0].block_id, 7U);
    EXPECT_EQ(events[0].timestamp, 111U);
    EXPECT_EQ(copy(event(14, events, true, true).bytes()), golden::event_extended());
}

TEST(GvcpEvent, ExtendedFormKeepsAllOfABlockId)
{
    const std::array<Event, 1> sent{Event{1, 0, 0x0123456789ABCDEF, 2, {}}};
    const Message message = event(14, sent, true, true);
    EXPECT_EQ(copy(message.bytes().subspan(header_size + 8, 8)), golden::bytes("0123456789abcdef"));
    std::vector<Event> events;
    const Decoded command(copy(message.bytes()));
    for_each_event(command.view, [&](const Event& one) { events.push_back(one); });
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].block_id, 0x0123456789ABCDEFU);
    EXPECT_EQ(events[0].timestamp, 2U);
}

TEST(GvcpEventData, StandardFormIsOneEventUpToTheEnd)
{
    const Decoded command(golden::event_data());
    std::vector<Event> events;
    EXPECT_EQ(for_each_event(command.view, [&](const Event& one) { events.push_back(one); }), 1U);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].event_id, 0x9002U);
    EXPECT_EQ(events[0].timestamp, 333U);
    EXPECT_EQ(copy(events[0].data), (golden::Bytes{1, 2, 3, 4}));
    EXPECT_EQ(copy(event_data(15, events[0], false, true).bytes()), golden::event_data());
}

TEST(GvcpEventData, ExtendedEventsFollowOneAnotherBySize)
{
    const Decoded command(golden::event_data_extended());
    std::vector<Event> events;
    for_each_event(command.view, [&](const Event& one) { events.push_back(one); });
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].block_id, 7U);
    EXPECT_EQ(copy(events[0].data), (golden::Bytes{1, 2, 3, 4}));
    EXPECT_EQ(copy(event_data(16, events[0], true, true).bytes()), golden::event_data_extended());

    golden::Bytes twice = golden::event_data_extended();
    twice.insert(twice.end(), twice.begin() + header_size, twice.end());
    twice[5] = 56;
    EXPECT_EQ(for_each_event(Decoded(twice).view, [](const Event&) {}), 2U);
}

TEST(GvcpEventData, SizeBelowTheHeadEndsTheWalk)
{
    for (std::uint8_t size = 0; size < 24; ++size) {
        golden::Bytes message = golden::event_data_extended();
        message[9] = size;
        EXPECT_EQ(for_each_event(Decoded(message).view, [](const Event&) {}), 0U) << int{size};
    }
}

TEST(GvcpEventData, SizeBeyondTheMessageEndsTheWalk)
{
    golden::Bytes message = golden::event_data_extended();
    message[9] = 29;
    EXPECT_EQ(for_each_event(Decoded(message).view, [](const Event&) {}), 0U);
}

TEST(GvcpCommand, RejectsAnotherKeyAndRequestIdZero)
{
    golden::Bytes key = golden::read_memory();
    key[0] = 0x43;
    EXPECT_FALSE(decode_command(key));
    golden::Bytes request_id = golden::read_memory();
    request_id[6] = request_id[7] = 0;
    EXPECT_FALSE(decode_command(request_id));
}

TEST(GvcpCommand, DropsBytesBeyondItsLength)
{
    golden::Bytes message = golden::read_memory();
    message.push_back(0xEE);
    const auto view = decode_command(message);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->payload.size(), 8U);
}

TEST(GvcpOpcodes, AreUniqueAndAcknowledgesFollowTheirCommands)
{
    const std::array<std::pair<Command, std::uint16_t>, 21> table{{
        {Command::discovery, 0x0002},      {Command::discovery_ack, 0x0003},
        {Command::force_ip, 0x0004},       {Command::force_ip_ack, 0x0005},
        {Command::packet_resend, 0x0040},  {Command::packet_resend_ack, 0x0041},
        {Command::read_register, 0x0080},  {Command::read_register_ack, 0x0081},
        {Command::write_register, 0x0082}, {Command::write_register_ack, 0x83},
        {Command::read_memory, 0x0084},    {Command::read_memory_ack, 0x0085},
        {Command::write_memory, 0x0086},   {Command::write_memory_ack, 0x0087},
        {Command::pending_ack, 0x0089},    {Command::event, 0x00C0},
        {Command::event_ack, 0x00C1},      {Command::event_data, 0x00C2},
        {Command::event_data_ack, 0x00C3}, {Command::action, 0x0100},
        {Command::action_ack, 0x0101},
    }};
    std::set<std::uint16_t> codes;
    for (const auto& [command, code] : table) {
        EXPECT_EQ(static_cast<std::uint16_t>(command), code);
        EXPECT_TRUE(codes.insert(code).second) << code;
    }
    EXPECT_EQ(acknowledge_of(Command::discovery), Command::discovery_ack);
    EXPECT_EQ(acknowledge_of(Command::force_ip), Command::force_ip_ack);
    EXPECT_EQ(acknowledge_of(Command::packet_resend), Command::packet_resend_ack);
    EXPECT_EQ(acknowledge_of(Command::read_register), Command::read_register_ack);
    EXPECT_EQ(acknowledge_of(Command::write_register), Command::write_register_ack);
    EXPECT_EQ(acknowledge_of(Command::read_memory), Command::read_memory_ack);
    EXPECT_EQ(acknowledge_of(Command::write_memory), Command::write_memory_ack);
    EXPECT_EQ(acknowledge_of(Command::event), Command::event_ack);
    EXPECT_EQ(acknowledge_of(Command::event_data), Command::event_data_ack);
    EXPECT_EQ(acknowledge_of(Command::action), Command::action_ack);
}

}  // namespace
