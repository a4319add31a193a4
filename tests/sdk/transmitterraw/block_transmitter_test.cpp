#include "sdk/transmitterraw/block_transmitter.h"

#include <numeric>
#include <set>

#include "tests/sdk/transmitterraw/packets.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

using namespace vex;

using namespace std::chrono_literals;
using transmitter::Block;

namespace {

class BlockTransmitter : public testing::Test {
protected:
    static constexpr std::uint32_t packet_size = 576;  // 540 data bytes, 528 with extended IDs

    BlockTransmitter() : transmitter(socket, 4, clock)
    {
        transmitter.set_wait([this](net::Clock::time_point until, const std::atomic<bool>&) {
            if (until > clock.now()) {
                clock.advance(until - clock.now());
            }
        });
        settings.destination = {loopback_address, host.port()};
        settings.packet_size = packet_size;
        transmitter.configure(settings);
    }

    static std::shared_ptr<Block> block(std::uint64_t id, std::size_t size)
    {
        auto data = std::make_shared<std::vector<std::uint8_t>>(size);
        std::iota(data->begin(), data->end(), static_cast<std::uint8_t>(id));
        auto result = std::make_shared<Block>();
        result->block_id = id;
        result->data = *data;
        result->owner = data;
        result->leader.payload_type = 1;
        result->leader.timestamp = 0x0102030405060708;
        result->leader.image = wire::gvsp::ImageInfo{0x01080001, 20, 50, 3, 4, 0, 0};
        result->trailer.payload_type = 1;
        result->trailer.size_y = 50;
        return result;
    }

    static wire::gvcp::PacketResend range(std::uint64_t id, std::uint32_t first, std::uint32_t last)
    {
        return {.channel = 0, .block_id = id, .first_packet = first, .last_packet = last, .extended_ids = false};
    }

    HostSocket host;
    net::UdpSocket socket = net::UdpSocket::open({loopback_address, 0}, {});
    ManualClock clock;
    transmitter::StreamSettings settings;
    transmitter::BlockTransmitter transmitter;
};

class LoseThese final : public transmitter::PacketLoss {
public:
    explicit LoseThese(std::set<std::uint32_t> packets) : packets_(std::move(packets)) {}
    bool loses(std::uint64_t, std::uint32_t packet_id, bool resend) override
    {
        return !resend && packets_.contains(packet_id);
    }

private:
    std::set<std::uint32_t> packets_;
};

}  // namespace

TEST_F(BlockTransmitter, SendsLeaderPayloadAndTrailerInOrder)
{
    const auto sent = block(0x1234, 1000);
    ASSERT_FALSE(transmitter.send(sent));
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 4U);

    const std::vector<std::uint8_t> leader = {0,    0,    0x12, 0x34, 0x01, 0,    0,    0,     // header
                                              0,    0,    0,    1,                             // image
                                              0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,  // timestamp
                                              0x01, 0x08, 0x00, 0x01, 0,    0,    0,    20,   0, 0, 0, 50,
                                              0,    0,    0,    3,    0,    0,    0,    4,    0, 0, 0, 0};
    EXPECT_EQ(packets[0].bytes, leader);
    EXPECT_EQ(std::vector<std::uint8_t>(packets[1].bytes.begin(), packets[1].bytes.begin() + 8),
              (std::vector<std::uint8_t>{0, 0, 0x12, 0x34, 0x03, 0, 0, 1}));
    EXPECT_EQ(packets[1].bytes.size(), packet_size - 28U) << "the packet size counts IP and UDP headers in";
    EXPECT_EQ(packets[2].packet_id, 2U);
    EXPECT_EQ(packets[2].payload.size(), 460U);
    EXPECT_EQ(packets[3].bytes, (std::vector<std::uint8_t>{0, 0, 0x12, 0x34, 0x02, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 50}));
    EXPECT_EQ(data_of(packets), std::vector<std::uint8_t>(sent->data.begin(), sent->data.end()));

    const auto statistics = transmitter.statistics();
    EXPECT_EQ(statistics.blocks, 1U);
    EXPECT_EQ(statistics.packets, 4U);
    EXPECT_EQ(statistics.payload_bytes, 1000U);
}

TEST_F(BlockTransmitter, UsesTheLongHeaderWithExtendedIds)
{
    settings.extended_ids = true;
    transmitter.configure(settings);
    ASSERT_FALSE(transmitter.send(block(0x0102030405060708, 529)));
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 4U) << "528 data bytes fit one packet";
    EXPECT_EQ(std::vector<std::uint8_t>(packets[1].bytes.begin(), packets[1].bytes.begin() + 20),
              (std::vector<std::uint8_t>{0, 0, 0, 0, 0x83, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 1}));
    EXPECT_EQ(packets[2].payload.size(), 1U);
}

TEST_F(BlockTransmitter, ABlockWithoutDataHasLeaderAndTrailer)
{
    ASSERT_FALSE(transmitter.send(block(1, 0)));
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[1].packet_id, 1U);
}

TEST_F(BlockTransmitter, ExactlyFullPacketsNeedNoFurtherOne)
{
    ASSERT_FALSE(transmitter.send(block(1, 2 * 540)));
    EXPECT_EQ(receive_block(host).size(), 4U);
    EXPECT_EQ(transmitter::BlockTransmitter::packet_count(2 * 540, 576, false), 4U);
    EXPECT_EQ(transmitter::BlockTransmitter::packet_count(2 * 540 + 1, 576, false), 5U);
    EXPECT_EQ(transmitter::BlockTransmitter::packet_count(10, 36, false), 0U);
}

TEST_F(BlockTransmitter, SendsBlocksOfManyBatchesWhole)
{
    const auto sent = block(9, 540 * 700 + 17);
    ASSERT_FALSE(transmitter.send(sent));
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 703U);
    for (std::uint32_t i = 0; i < packets.size(); ++i) {
        ASSERT_EQ(packets[i].packet_id, i);
    }
    EXPECT_EQ(data_of(packets), std::vector<std::uint8_t>(sent->data.begin(), sent->data.end()));
}

TEST_F(BlockTransmitter, RefusesWhatCannotBeSent)
{
    EXPECT_EQ(transmitter.send(block(0, 10)), std::errc::invalid_argument) << "block ID 0";
    settings.packet_size = 36;
    transmitter.configure(settings);
    EXPECT_EQ(transmitter.send(block(1, 10)), std::errc::invalid_argument) << "no room for data";
    settings.packet_size = 576;
    settings.destination.port = 0;
    transmitter.configure(settings);
    EXPECT_EQ(transmitter.send(block(1, 10)), std::errc::invalid_argument) << "nowhere to send";
}

TEST_F(BlockTransmitter, ResendsPacketsOfTheLastBlocks)
{
    for (std::uint64_t id = 1; id <= 4; ++id) {
        ASSERT_FALSE(transmitter.send(block(id, 1000)));
    }
    std::vector<std::vector<StreamPacket>> blocks;
    for (int i = 0; i < 4; ++i) {
        blocks.push_back(receive_block(host));
    }

    transmitter.resend(range(1, 1, 2), false);
    transmitter.resend(range(3, 0, 0xFFFFFF), false);
    std::vector<StreamPacket> expected{blocks[0][1], blocks[0][2]};
    expected.insert(expected.end(), blocks[2].begin(), blocks[2].end());
    for (StreamPacket& packet : expected) {
        packet.bytes[0] = 0x01;  // the status that marks packets that are sent again
        EXPECT_EQ(parse(host.receive()->bytes).bytes, packet.bytes);
    }
    EXPECT_EQ(transmitter.statistics().resent_packets, 6U);
    EXPECT_EQ(transmitter.statistics().packets, 16U) << "resends are counted apart";
    EXPECT_EQ(transmitter.statistics().payload_bytes, 4000U);
}

TEST_F(BlockTransmitter, ResendsPacketsAsFarApartAsTheStreamIs)
{
    settings.packet_delay = 1ms;
    transmitter.configure(settings);
    ASSERT_FALSE(transmitter.send(block(1, 540 * 98)));  // 100 packets
    const auto started = clock.now();
    transmitter.resend(range(1, 0, 49), false);
    for (std::uint32_t packet = 50; packet < 100; ++packet) {
        transmitter.resend(range(1, packet, packet), false);
    }
    const auto taken = clock.now() - started;
    EXPECT_GE(taken, 97ms);
    EXPECT_LE(taken, 101ms);
    EXPECT_EQ(transmitter.statistics().resent_packets, 100U);
}

TEST_F(BlockTransmitter, ResendsNoFasterThanTheByteRate)
{
    settings.bytes_per_second = 1e6;
    transmitter.configure(settings);
    ASSERT_FALSE(transmitter.send(block(1, 100'000)));
    const auto started = clock.now();
    transmitter.resend(range(1, 0, 0xFFFFFF), false);
    EXPECT_NEAR(std::chrono::duration<double>(clock.now() - started).count(), 0.1, 0.003);
}

TEST_F(BlockTransmitter, ACancelledResendEndsBetweenPackets)
{
    settings.packet_delay = 1ms;
    transmitter.configure(settings);
    ASSERT_FALSE(transmitter.send(block(1, 540 * 98)));
    std::atomic<bool> cancelled{false};
    transmitter.set_wait([&](net::Clock::time_point, const std::atomic<bool>&) {
        cancelled = transmitter.statistics().resent_packets == 5;
        clock.advance(1ms);
    });
    transmitter.resend(range(1, 0, 99), false, cancelled);
    EXPECT_EQ(transmitter.statistics().resent_packets, 5U);
    EXPECT_FALSE(transmitter.send(block(2, 10))) << "the stream itself goes on";
}

TEST_F(BlockTransmitter, MarksResentPacketsInTheLongHeader)
{
    settings.extended_ids = true;
    transmitter.configure(settings);
    ASSERT_FALSE(transmitter.send(block(7, 1000)));
    const auto packets = receive_block(host);
    transmitter.resend({.block_id = 7, .first_packet = 2, .last_packet = 2, .extended_ids = true}, true);
    const StreamPacket again = parse(host.receive()->bytes);
    EXPECT_EQ(again.status, 0x0100U);
    EXPECT_EQ(again.flags, 0x0001U);
    EXPECT_EQ(again.payload, packets[2].payload);
}

TEST_F(BlockTransmitter, TellsThatABlockIsGone)
{
    for (std::uint64_t id = 1; id <= 5; ++id) {
        ASSERT_FALSE(transmitter.send(block(id, 10)));
        receive_block(host);
    }
    transmitter.resend(range(1, 0, 1), false);
    for (std::uint32_t id = 0; id < 2; ++id) {
        const StreamPacket refusal = parse(host.receive()->bytes);
        EXPECT_EQ(refusal.status, 0x800CU);
        EXPECT_EQ(refusal.block_id, 1U);
        EXPECT_EQ(refusal.packet_id, id);
        EXPECT_TRUE(refusal.payload.empty());
    }
    transmitter.resend(range(1, 0, 0), true);
    EXPECT_EQ(parse(host.receive()->bytes).status, 0x8011U);
    EXPECT_EQ(transmitter.statistics().refused_packets, 3U);
    EXPECT_EQ(transmitter.statistics().resent_packets, 0U);
}

TEST_F(BlockTransmitter, AnswersARequestForAWholeLostBlockWith64RefusalsOnly)
{
    transmitter.resend(range(9, 10, 0xFFFFFF), false);
    for (std::uint32_t id = 10; id < 74; ++id) {
        ASSERT_EQ(parse(host.receive()->bytes).packet_id, id);
    }
    EXPECT_EQ(transmitter.statistics().refused_packets, 64U);
}

TEST_F(BlockTransmitter, TellsThatAPacketNeverWas)
{
    ASSERT_FALSE(transmitter.send(block(1, 10)));
    receive_block(host);
    transmitter.resend(range(1, 3, 3), false);
    const StreamPacket refusal = parse(host.receive()->bytes);
    EXPECT_EQ(refusal.status, 0x800CU);
    EXPECT_EQ(refusal.packet_id, 3U);
}

TEST_F(BlockTransmitter, ForgetDropsTheHistoryAndItsData)
{
    auto sent = block(1, 10);
    const std::weak_ptr<Block> watch = sent;
    ASSERT_FALSE(transmitter.send(std::move(sent)));
    receive_block(host);
    EXPECT_FALSE(watch.expired());
    transmitter.forget();
    EXPECT_TRUE(watch.expired());
}

TEST_F(BlockTransmitter, LosesPacketsOnPurposeAndDeliversThemOnResend)
{
    transmitter.set_loss(std::make_shared<LoseThese>(std::set<std::uint32_t>{0, 2, 3}));
    const auto sent = block(5, 540 * 3);
    ASSERT_FALSE(transmitter.send(sent));
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[0].packet_id, 1U);
    EXPECT_EQ(packets[1].packet_id, 4U);
    EXPECT_EQ(transmitter.statistics().lost_packets, 3U);

    transmitter.resend(range(5, 2, 3), false);
    EXPECT_EQ(parse(host.receive()->bytes).packet_id, 2U);
    EXPECT_EQ(parse(host.receive()->bytes).packet_id, 3U);
}

TEST_F(BlockTransmitter, ResendsAPacketOfTheBatchThatIsJustBeingSent)
{
    // loses packet 1 and, before the batch that it belongs to is through, asks for it
    class LoseAndAskAtOnce final : public transmitter::PacketLoss {
    public:
        explicit LoseAndAskAtOnce(transmitter::BlockTransmitter& transmitter) : transmitter_(transmitter) {}
        bool loses(std::uint64_t, std::uint32_t packet_id, bool resend) override
        {
            if (!resend && packet_id == 3) {
                transmitter_.resend(range(5, 1, 1), false);
            }
            return !resend && packet_id == 1;
        }

    private:
        transmitter::BlockTransmitter& transmitter_;
    };
    transmitter.set_loss(std::make_shared<LoseAndAskAtOnce>(transmitter));
    ASSERT_FALSE(transmitter.send(block(5, 2000)));
    EXPECT_EQ(transmitter.statistics().lost_packets, 1U);
    EXPECT_EQ(transmitter.statistics().resent_packets, 1U);
    transmitter.set_loss(nullptr);
}

TEST_F(BlockTransmitter, WhatLeavesPassesThroughItsFaults)
{
    const auto faults = std::make_shared<transmitter::StreamFaults>(
        transmitter::StreamFaultSettings{.relost = 1000, .delayed = 1000, .delay = 10ms});
    transmitter.set_faults(faults);
    const auto sent = block(5, 540 * 3);
    ASSERT_FALSE(transmitter.send(sent));
    transmitter.resend(range(5, 0, 4), false);
    EXPECT_EQ(faults->statistics().packets, 10U);
    EXPECT_EQ(faults->statistics().lost, 5U) << "of those sent again";
    EXPECT_TRUE(transmitter.send_held());
    clock.advance(10ms);
    EXPECT_FALSE(transmitter.send_held());
    const auto packets = receive_block(host);
    EXPECT_EQ(packets.size(), 5U);
    EXPECT_EQ(data_of(packets), std::vector<std::uint8_t>(sent->data.begin(), sent->data.end()));
    transmitter.set_faults(nullptr);
    EXPECT_FALSE(transmitter.send_held());
}

TEST_F(BlockTransmitter, KeepsThePacketDelay)
{
    settings.packet_delay = 1ms;
    transmitter.configure(settings);
    const auto started = clock.now();
    ASSERT_FALSE(transmitter.send(block(1, 540 * 98)));  // 100 packets
    ASSERT_FALSE(transmitter.send(block(2, 540 * 98)));
    const auto taken = clock.now() - started;
    EXPECT_GE(taken, 195ms);
    EXPECT_LE(taken, 201ms);
}

TEST_F(BlockTransmitter, KeepsTheByteRate)
{
    settings.bytes_per_second = 1e6;
    transmitter.configure(settings);
    const auto started = clock.now();
    for (std::uint64_t id = 1; id <= 10; ++id) {
        ASSERT_FALSE(transmitter.send(block(id, 100'000)));
    }
    const double seconds = std::chrono::duration<double>(clock.now() - started).count();
    EXPECT_NEAR(seconds, 1.0, 0.02);
}

TEST_F(BlockTransmitter, TheByteRateIsThatOfThePayloadAlone)
{
    settings.bytes_per_second = 1e6;
    transmitter.configure(settings);
    const auto started = clock.now();
    for (std::uint64_t id = 1; id <= 1000; ++id) {
        ASSERT_FALSE(transmitter.send(block(id, 600)));  // a full packet, a short one, leader and trailer
    }
    const double seconds = std::chrono::duration<double>(clock.now() - started).count();
    EXPECT_NEAR(seconds, 0.6, 0.006);
}

TEST_F(BlockTransmitter, AbortEndsABlockBetweenPackets)
{
    settings.packet_delay = 1ms;
    transmitter.configure(settings);
    int waits = 0;
    transmitter.set_wait([&](net::Clock::time_point until, const std::atomic<bool>&) {
        if (++waits == 3) {
            transmitter.abort();
        }
        if (until > clock.now()) {
            clock.advance(until - clock.now());
        }
    });
    EXPECT_EQ(transmitter.send(block(1, 540 * 50)), std::errc::operation_canceled);
    EXPECT_EQ(transmitter.send(block(2, 540)), std::errc::operation_canceled) << "until it is cleared";
    transmitter.clear_abort();
    EXPECT_FALSE(transmitter.send(block(3, 540)));
    EXPECT_LT(transmitter.statistics().packets, 20U);
    EXPECT_EQ(transmitter.statistics().blocks, 1U);
}

TEST_F(BlockTransmitter, AResendRequestAheadOfTheTransmissionIsNotRefused)
{
    settings.packet_delay = 1ms;
    transmitter.configure(settings);
    int waits = 0;
    transmitter.set_wait([&](net::Clock::time_point, const std::atomic<bool>&) {
        if (++waits == 3) {
            transmitter.resend(range(1, 0, 3), false);  // two packets have left
        }
        clock.advance(10ms);
    });
    ASSERT_FALSE(transmitter.send(block(1, 540 * 2)));
    std::vector<std::uint32_t> ids;
    for (int i = 0; i < 6; ++i) {
        ids.push_back(parse(host.receive()->bytes).packet_id);
    }
    EXPECT_EQ(ids, (std::vector<std::uint32_t>{0, 1, 0, 1, 2, 3}));
    EXPECT_EQ(transmitter.statistics().refused_packets, 0U);
}

TEST_F(BlockTransmitter, ATestPacketIsAsLongAsThePacketSizeSays)
{
    ASSERT_FALSE(transmitter.send_test_packet({loopback_address, host.port()}, 1500));
    EXPECT_EQ(host.receive()->bytes, std::vector<std::uint8_t>(1472));
    EXPECT_EQ(transmitter.send_test_packet({loopback_address, host.port()}, 20), std::errc::invalid_argument);
}
