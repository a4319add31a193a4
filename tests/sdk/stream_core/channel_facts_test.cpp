// What a stream tells of the system that receives for it, shown with a receiver of the test's own.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/known_path.h"
#include "sdk/net/receive_backends.h"
#include "sdk/stream_core/stream_channel.h"
#include "sdk/wire/gvcp.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/stream_core/line_backend.h"
#include "tests/sdk/stream_core/packets.h"
#include "tests/sdk/stream_core/stream_fixture.h"

using namespace vex;

namespace {

using packets::Bytes;
using packets::picture;

using stream_test::Line;
using stream_test::LineBackend;

constexpr Ipv4Address camera{0x7F000028};
constexpr Ipv4Address host{0x7F000001};
constexpr std::uint32_t ample = 10'000;

class ChannelFacts : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK()); }

    void fail_a_block()
    {
        ASSERT_TRUE(channel.queue(&buffer).IsOK());
        std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
        block[1] = packets::header({.id = 1}, 8, 1);
        line->arrive(std::move(block));
        PvBuffer* retrieved = nullptr;
        PvResult operation_result;
        ASSERT_TRUE(channel.retrieve(retrieved, operation_result, ample).IsOK());
        ASSERT_EQ(operation_result.GetCode(), PvResult::InvalidDataFormat);
    }

    std::shared_ptr<Line> line = std::make_shared<Line>(camera);
    net::AddedBackend added{std::make_shared<LineBackend>(line)};
    stream::StreamChannel channel;
    PvBuffer buffer;
};

TEST_F(ChannelFacts, TellTheSystemsBufferAndItsDropsAlsoAfterClose)
{
    line->dropped = 7;
    EXPECT_EQ(channel.system_facts().buffer_bytes, 4096U);
    EXPECT_EQ(channel.system_facts().dropped, 7U);
    channel.close();
    line->dropped = 8;
    EXPECT_EQ(channel.system_facts().buffer_bytes, 4096U);
    EXPECT_EQ(channel.system_facts().dropped, 7U);
}

TEST_F(ChannelFacts, TheLastErrorTellsOfPacketsThatTheSystemThrewAway)
{
    EXPECT_TRUE(channel.last_error().IsOK());
    line->dropped = 7;
    EXPECT_TRUE(channel.last_error().IsOK()) << "no block failed";
    fail_a_block();
    EXPECT_EQ(channel.last_error().GetCode(), PvResult::InvalidDataFormat);
    const std::string text(channel.last_error().description());
    EXPECT_NE(text.find("7 packets"), std::string::npos) << text;
    EXPECT_NE(text.find("4096 bytes"), std::string::npos) << text;
    EXPECT_NE(text.find("Block 1"), std::string::npos) << "the block's own text";
    EXPECT_EQ(channel.last_error(true, false).description(), text);
    channel.reset_statistics();
    EXPECT_TRUE(channel.last_error().IsOK());
}

TEST_F(ChannelFacts, TheLastErrorIsPlainWhenNothingWasThrownAway)
{
    fail_a_block();
    const std::string text(channel.last_error().description());
    EXPECT_EQ(text.find("threw"), std::string::npos) << text;
    EXPECT_NE(text.find("Block 1"), std::string::npos) << text;
}

TEST_F(ChannelFacts, ATimeoutTellsThatPacketsComeButNoBlockEnds)
{
    ASSERT_TRUE(channel.queue(&buffer).IsOK());
    line->arrive(packets::image_leader({.id = 1}, {}, 1));
    PvBuffer* retrieved = nullptr;
    PvResult result;
    for (int i = 0; i < 100 && channel.statistics().counters.blocks_begun == 0; ++i) {
        channel.retrieve(retrieved, result, 20);
    }
    channel.retrieve(retrieved, result, 1);
    EXPECT_EQ(result.description(), "No block was completed within 1 ms: packets have come, but no block has ended");
}

TEST_F(ChannelFacts, ATimeoutTellsOfPacketsThatAreNotAsLargeAsNegotiated)
{
    const net::KnownPath path(camera, host);
    ASSERT_TRUE(channel.queue(&buffer).IsOK());
    const auto timeout_once = [this](std::uint64_t stored) {
        stream_test::await([&] { return channel.statistics().counters.stored_bytes == stored; });
        PvBuffer* retrieved = nullptr;
        PvResult result;
        channel.retrieve(retrieved, result, 0);
        return std::string(result.description());
    };
    const std::string plain = "No block was completed within 0 ms: packets have come, but no block has ended";
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    net::note_packet_size(camera, 0, 1500);
    line->arrive(block[0]);
    line->arrive(block[1]);
    EXPECT_EQ(timeout_once(20), plain) << "the only packet of a block may be short";
    line->arrive(block[2]);
    // 20 bytes of data, 8 of their header, 28 of IP and UDP
    EXPECT_EQ(timeout_once(40),
              "No block was completed within 0 ms: packets of another size than negotiated (56 bytes, not 1500) have "
              "come, but no block has ended");
    net::note_packet_size(camera, 0, 56);
    EXPECT_EQ(timeout_once(40), plain);
    net::note_packet_size(camera, 0, 40);
    EXPECT_NE(timeout_once(40).find("(56 bytes, not 40)"), std::string::npos);
    net::note_packet_size(camera, 0, 0);
    EXPECT_EQ(timeout_once(40), plain) << "nothing was negotiated";
}

/// The device's control port, at an address that nobody else uses.
class ChannelRequests : public testing::Test {
protected:
    void lose_a_packet()
    {
        std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
        block.erase(block.begin() + 2);
        line->arrive(std::move(block));
    }

    static constexpr Ipv4Address device{0x7F00008F};  // 127.0.0.143
    std::shared_ptr<Line> line = std::make_shared<Line>(device);
    net::AddedBackend added{std::make_shared<LineBackend>(line)};
    PvBuffer buffer;
};

TEST_F(ChannelRequests, GoToTheDevicesControlPortForTheStreamsChannel)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    net::UdpSocket control = net::UdpSocket::open({device, wire::gvcp::port});
    stream::StreamChannel channel;
    ASSERT_TRUE(channel.open({.device = device, .channel = 3, .local = host}).IsOK());
    ASSERT_TRUE(channel.queue(&buffer).IsOK());
    lose_a_packet();
    std::array<std::uint8_t, 576> bytes{};
    const auto received = control.receive(bytes, std::chrono::milliseconds(ample));
    ASSERT_TRUE(received.has_value());
    EXPECT_EQ(received->source.port, channel.endpoints()->port);
    const auto command = wire::gvcp::decode_command(std::span(bytes).first(received->size));
    ASSERT_TRUE(command.has_value());
    EXPECT_FALSE(command->acknowledge_required());
    const auto range = wire::gvcp::decode_packet_resend(*command);
    ASSERT_TRUE(range.has_value());
    EXPECT_EQ(range->channel, 3U);
    EXPECT_EQ(range->block_id, 1U);
    EXPECT_EQ(range->first_packet, 2U);
    EXPECT_EQ(range->last_packet, 2U);
}

TEST_F(ChannelRequests, AreLeftToTheControllerByWhoOnlyWatches)
{
    stream::StreamChannel channel;
    ASSERT_TRUE(channel.open({.device = device, .local = host, .may_ask = false}).IsOK());
    ASSERT_TRUE(channel.queue(&buffer).IsOK());
    lose_a_packet();
    PvBuffer* retrieved = nullptr;
    PvResult result;
    ASSERT_TRUE(channel.retrieve(retrieved, result, ample).IsOK());
    EXPECT_EQ(result.GetCode(), PvResult::MissingPackets);
    EXPECT_EQ(channel.statistics().counters.resend_requests, 0U);
}

TEST_F(ChannelFacts, OfTooManyFilledBuffersTheOldestIsFilledAgain)
{
    std::array<PvBuffer, 3> buffers;
    for (PvBuffer& filled : buffers) {
        ASSERT_TRUE(channel.queue(&filled).IsOK());
    }
    ASSERT_TRUE(channel.set(stream::setting_of(&stream::StreamSettings::maximum_internal_retrieve_buffers), 2).IsOK());
    for (std::uint64_t id = 1; id <= 3; ++id) {
        line->arrive(packets::image_block({.id = id}, {}, picture(64, id), 20, id));
    }
    for (int i = 0; i < 2000 && channel.statistics().queue.blocks_recycled == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    PvBuffer* retrieved = nullptr;
    PvResult result;
    for (const std::uint64_t id : {2U, 3U}) {
        ASSERT_TRUE(channel.retrieve(retrieved, result, ample).IsOK());
        EXPECT_EQ(retrieved->GetBlockID64(), id);
    }
}

TEST_F(ChannelFacts, AWayToReceiveIsTakenByItsName)
{
    EXPECT_EQ(channel.backend(), "");
    const PvResult refused = channel.set_backend("pigeon");
    EXPECT_EQ(refused.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(refused.description().find("line, "), std::string::npos) << refused.description();
    EXPECT_EQ(channel.backend(), "");
    ASSERT_TRUE(channel.set_backend("plain").IsOK());
    EXPECT_EQ(channel.system_facts().buffer_bytes, 4096U) << "not before the next opening";
    channel.close();
    ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK());
    EXPECT_NE(channel.system_facts().buffer_bytes, 4096U);
}

}  // namespace
