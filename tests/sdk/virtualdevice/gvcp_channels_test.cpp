// Stream channel registers, resend, actions, FORCEIP, pending acknowledges.
#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;

using StreamRegisters = Responder;
using PacketResendCommand = Responder;
using ActionCommand = Responder;
using ForceIpCommand = Responder;
using PendingAcknowledge = Responder;

namespace {

// FORCEIP: MAC at 2, address at 20, mask at 36, gateway at 52.
Bytes force_ip(unsigned id, const Bytes& mac, std::uint32_t address)
{
    Bytes payload(56);
    std::copy(mac.begin(), mac.end(), payload.begin() + 2);
    const Bytes ip = be32(address);
    std::copy(ip.begin(), ip.end(), payload.begin() + 20);
    const Bytes mask = be32(0xFFFFFF00);
    std::copy(mask.begin(), mask.end(), payload.begin() + 36);
    return command(0x0004, id, payload);
}

Bytes action(unsigned id, std::uint32_t device_key, std::uint32_t group_key, std::uint32_t mask)
{
    return command(0x0100, id, joined({be32(device_key), be32(group_key), be32(mask)}));
}

}  // namespace

TEST_F(StreamRegisters, OpenTheChannelWithDestinationAndPort)
{
    take_control();
    EXPECT_EQ(write(0x0D18, 0xC0A80105), status::success);
    EXPECT_EQ(write(0x0D00, 0x1F90), status::success);
    EXPECT_EQ(write(0x0D08, 1000), status::success);
    EXPECT_EQ(hooks.channel.destination, (Endpoint{{0xC0A80105}, 0x1F90}));
    EXPECT_EQ(hooks.channel.packet_delay, 1000U);
    EXPECT_TRUE(hooks.channel.is_open());
    EXPECT_EQ(write(0x0D00, 0), status::success);
    EXPECT_FALSE(hooks.channel.is_open());
}

TEST_F(StreamRegisters, OnlyTheFirstNetworkInterfaceExists)
{
    take_control();
    EXPECT_EQ(write(0x0D00, 0x00011F90), status::invalid_parameter);
    EXPECT_EQ(write(0x0B00, 0x00011F90), status::invalid_parameter);
    EXPECT_EQ(read(0x0D00), 0U);
}

TEST_F(StreamRegisters, PacketSizeIsClampedToWhatTheDeviceCan)
{
    take_control();
    EXPECT_EQ(read(0x0D04), 1500U);
    EXPECT_EQ(write(0x0D04, 100), status::success);
    EXPECT_EQ(read(0x0D04), 576U);
    EXPECT_EQ(write(0x0D04, 20000), status::success);
    EXPECT_EQ(read(0x0D04), 9000U);
    EXPECT_EQ(write(0x0D04, 1503), status::success);
    EXPECT_EQ(read(0x0D04), 1500U);
}

TEST_F(StreamRegisters, TheTestPacketBitFiresOnceAndReadsAsZero)
{
    take_control();
    EXPECT_EQ(write(0x0D04, 0xC0000000U | 1400), status::success);
    EXPECT_TRUE(hooks.test_packets.empty()) << "there is nowhere to send it";
    write(0x0D18, 0x0A010164);
    write(0x0D00, 40000);
    EXPECT_EQ(write(0x0D04, 0xC0000000U | 1404), status::success);
    EXPECT_EQ(hooks.test_packets, std::vector<std::uint32_t>{1404});
    EXPECT_EQ(read(0x0D04), 0x40000000U | 1404);
    EXPECT_TRUE(hooks.channel.do_not_fragment);
}

TEST_F(StreamRegisters, ExtendedIdsCannotChangeUnderAnOpenStream)
{
    take_control();
    EXPECT_EQ(write(0x0960, 0xFFFFFFFF), status::success);
    EXPECT_EQ(read(0x0960), 0x40000000U);
    write(0x0D18, 0x0A010164);
    write(0x0D00, 40000);
    EXPECT_TRUE(hooks.channel.extended_ids);
    EXPECT_EQ(write(0x0960, 0), status::busy);
    write(0x0D00, 0);
    EXPECT_EQ(write(0x0960, 0), status::success);
}

TEST_F(PacketResendCommand, ReachesTheOwnerWithTheRangeAsSent)
{
    take_control();
    const Endpoint stream_socket{host.address, 40000};
    const Bytes payload = bytes_of({0, 0, 0x12, 0x34, 0, 0, 0, 5, 0, 0, 0, 9});
    EXPECT_TRUE(answers(command(0x0040, 1, payload, 0x00), stream_socket).empty());
    ASSERT_EQ(hooks.resends.size(), 1U);
    EXPECT_EQ(hooks.resends[0].block_id, 0x1234U);
    EXPECT_EQ(hooks.resends[0].first_packet, 5U);
    EXPECT_EQ(hooks.resends[0].last_packet, 9U);
    EXPECT_FALSE(hooks.resends[0].extended_ids);
}

TEST_F(PacketResendCommand, ExtendedFormCarriesA64BitBlockId)
{
    take_control();
    const Bytes payload = bytes_of({0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 5, 0, 0, 0, 9, 0, 0, 0, 7});
    EXPECT_EQ(status_of(ask(command(0x0040, 1, payload, 0x11))), status::success);
    ASSERT_EQ(hooks.resends.size(), 1U);
    EXPECT_EQ(hooks.resends[0].block_id, 0x0000000900000007U);
    EXPECT_EQ(hooks.resends[0].first_packet, 0x100U);
    EXPECT_EQ(hooks.resends[0].last_packet, 0x105U);
    EXPECT_TRUE(hooks.resends[0].extended_ids);
}

TEST_F(PacketResendCommand, FromAStrangerIsDenied)
{
    take_control();
    const Bytes payload = bytes_of({0, 0, 0, 1, 0, 0, 0, 5, 0, 0, 0, 9});
    EXPECT_EQ(status_of(ask(command(0x0040, 1, payload), other)), status::access_denied);
    EXPECT_TRUE(hooks.resends.empty());
}

TEST_F(PacketResendCommand, OfAnUnknownChannelOrABackwardRangeIsRefused)
{
    take_control();
    EXPECT_EQ(status_of(ask(command(0x0040, 1, bytes_of({0, 1, 0, 1, 0, 0, 0, 5, 0, 0, 0, 9})))),
              status::invalid_parameter);
    EXPECT_EQ(status_of(ask(command(0x0040, 2, bytes_of({0, 0, 0, 1, 0, 0, 0, 9, 0, 0, 0, 5})))),
              status::invalid_parameter);
    EXPECT_TRUE(hooks.resends.empty());
}

TEST_F(ActionCommand, FiresTheSignalsWhoseKeysMatch)
{
    take_control();
    ASSERT_EQ(write(0x090C, 0xD0), status::success);
    ASSERT_EQ(write(0x9800, 0x61), status::success);
    ASSERT_EQ(write(0x9804, 0x01), status::success);
    ASSERT_EQ(write(0x9810, 0x61), status::success);
    ASSERT_EQ(write(0x9814, 0x02), status::success);

    EXPECT_EQ(status_of(ask(action(1, 0xD0, 0x61, 0x03), other)), status::success);
    EXPECT_EQ(hooks.actions, (std::vector<unsigned>{0, 1}));
    EXPECT_EQ(status_of(ask(action(2, 0xD0, 0x61, 0x02), other)), status::success);
    EXPECT_EQ(hooks.actions, (std::vector<unsigned>{0, 1, 1}));
    EXPECT_TRUE(answers(action(3, 0xD1, 0x61, 0x03), other).empty());
    EXPECT_TRUE(answers(action(4, 0xD0, 0x62, 0x03), other).empty());
    EXPECT_TRUE(answers(action(5, 0xD0, 0x61, 0x04), other).empty());
    EXPECT_EQ(hooks.actions.size(), 3U);
    EXPECT_EQ(responder.statistics().not_for_us, 3U);
}

TEST_F(ActionCommand, NeedsAControlledDeviceUnlessUnconditional)
{
    take_control();
    write(0x090C, 0xD0);
    write(0x9800, 0x61);
    write(0x9804, 0x01);
    write(0x0A00, 0);
    EXPECT_TRUE(answers(action(1, 0xD0, 0x61, 1), other).empty());

    take_control();
    ASSERT_EQ(write(0x0954, 0x8), status::success);
    write(0x0A00, 0);
    EXPECT_EQ(status_of(ask(action(2, 0xD0, 0x61, 1), other)), status::success);
    EXPECT_EQ(hooks.actions, std::vector<unsigned>{0});
}

TEST_F(ActionCommand, ARepeatedRequestFiresOnce)
{
    take_control();
    write(0x9804, 0x01);
    const Bytes request = action(9, 0, 0, 1);
    ask(request, other);
    ask(request, other);
    EXPECT_EQ(hooks.actions.size(), 1U);
}

TEST_F(ActionCommand, FiresEachTimeForWhoWantsNoAcknowledge)
{
    take_control();
    write(0x9804, 0x01);
    Bytes request = action(9, 0, 0, 1);
    request[1] = 0;  // flags
    EXPECT_TRUE(answers(request, other).empty());
    EXPECT_TRUE(answers(request, other).empty());
    EXPECT_EQ(hooks.actions.size(), 2U);
}

TEST_F(ForceIpCommand, IsForTheDeviceWithThatMac)
{
    EXPECT_TRUE(answers(force_ip(1, bytes_of({0x02, 0x11, 0x22, 0x33, 0x44, 0x56}), 0x0A010209), other).empty());
    EXPECT_TRUE(hooks.forced.empty());
    EXPECT_EQ(responder.statistics().not_for_us, 1U);

    EXPECT_EQ(ask(force_ip(2, bytes_of({0x02, 0x11, 0x22, 0x33, 0x44, 0x55}), 0x0A010209), other),
              bytes_of({0, 0, 0x00, 0x05, 0, 0, 0, 2}));
    EXPECT_EQ(hooks.forced, std::vector<Ipv4Address>{{0x0A010209}});
}

TEST_F(ForceIpCommand, IsDeniedWhileAnApplicationHasControl)
{
    take_control();
    EXPECT_EQ(status_of(ask(force_ip(1, bytes_of({0x02, 0x11, 0x22, 0x33, 0x44, 0x55}), 0x0A010209))),
              status::access_denied);
    EXPECT_TRUE(hooks.forced.empty());
}

TEST_F(PendingAcknowledge, IsSentBeforeTheAnswerWhenEnabled)
{
    take_control();
    ASSERT_EQ(write(0x0954, 0x2), status::success);
    const std::vector<Bytes> sent = answers(write_register(0x0ABC, slow, 1));
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], bytes_of({0, 0, 0x00, 0x89, 0, 4, 0x0A, 0xBC, 0, 0, 0x02, 0xEE}));
    EXPECT_EQ(sent[1], bytes_of({0, 0, 0x00, 0x83, 0, 4, 0x0A, 0xBC, 0, 0, 0, 1}));
}

TEST_F(PendingAcknowledge, TellsAtMostTheLongestTimeThatItCanTell)
{
    constexpr std::uint32_t register_address = 0x00010014;
    std::chrono::milliseconds delay{};
    {
        const auto guard = responder.lock();
        responder.registers().add_register(register_address, virtual_device::Access::read_write, 0,
                                           {.refresh = {}, .accept = [&](std::uint32_t&) {
                                                responder.announce_delay(delay);
                                                return virtual_device::Status::success;
                                            }});
    }
    take_control();
    ASSERT_EQ(write(0x0954, 0x2), status::success);
    const auto announced = [&](std::chrono::milliseconds time) {
        delay = time;
        const std::vector<Bytes> sent = answers(write_register(next_id(), register_address, 1));
        EXPECT_EQ(sent.size(), 2U);
        return u16_at(sent[0], 10);
    };
    EXPECT_EQ(announced(std::chrono::milliseconds(65'535)), 65'535U);
    EXPECT_EQ(announced(std::chrono::milliseconds(65'536)), 65'535U);
    EXPECT_EQ(announced(std::chrono::milliseconds(0)), 1U);
}

TEST_F(PendingAcknowledge, IsNotSentWhenNobodyEnabledIt)
{
    take_control();
    EXPECT_EQ(answers(write_register(1, slow, 1)).size(), 1U);
}

TEST_F(PendingAcknowledge, ARetryOfTheSlowCommandGetsTheAnswerOnly)
{
    take_control();
    ASSERT_EQ(write(0x0954, 0x2), status::success);
    const Bytes request = write_register(0x0ABC, slow, 1);
    answers(request);
    const std::vector<Bytes> again = answers(request);
    ASSERT_EQ(again.size(), 1U);
    EXPECT_EQ(u16_at(again[0], 2), 0x0083U);
}
