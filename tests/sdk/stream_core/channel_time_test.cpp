// What a stream does by its clock, which the test moves, and what it begins anew when it is opened again.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/known_path.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/stream_core/line_backend.h"
#include "tests/sdk/stream_core/stream_fixture.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using packets::picture;
using stream::StreamSettings;
using stream_test::ample;
using stream_test::await;
using stream_test::Bytes;
using stream_test::camera;
using stream_test::host;

class RequestTimeout : public testing::Test {
protected:
    void SetUp() override
    {
        set(&StreamSettings::request_timeout_ms, 50);
        set(&StreamSettings::inter_packet_timeout_ms, 60'000);
        channel.set(*std::ranges::find(stream::switch_settings(), &StreamSettings::resend_packet_enable,
                                       &stream::SwitchSetting::value),
                    false);
        ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK());
        for (PvBuffer& buffer : buffers) {
            ASSERT_TRUE(channel.queue(&buffer).IsOK());
        }
    }
    void set(std::uint32_t StreamSettings::*setting, std::uint32_t value)
    {
        ASSERT_TRUE(channel.set(stream::setting_of(setting), value).IsOK());
    }
    [[nodiscard]] std::uint64_t packets_taken_in() const
    {
        std::uint64_t count = 0;
        for (const std::uint64_t packets : channel.statistics().counters.packets) {
            count += packets;
        }
        return count;
    }
    /// Has packets taken in at the time that it is now.
    void arrive(const std::vector<Bytes>& packets)
    {
        const std::uint64_t all = packets_taken_in() + packets.size();
        line->arrive(packets);
        await([&] { return packets_taken_in() == all; });
        ASSERT_EQ(packets_taken_in(), all);
    }
    [[nodiscard]] std::uint64_t expired() const { return channel.statistics().queue.requests_expired; }
    [[nodiscard]] PvResult::Code retrieve(PvBuffer*& buffer)
    {
        PvResult operation;
        const PvResult::Code code = channel.retrieve(buffer, operation, ample).GetCode();
        return code == PvResult::OK ? operation.GetCode() : code;
    }

    ManualClock clock;
    std::shared_ptr<stream_test::Line> line = std::make_shared<stream_test::Line>(camera);
    net::AddedBackend added{std::make_shared<stream_test::LineBackend>(line)};
    std::array<PvBuffer, 2> buffers;
    stream::StreamChannel channel{clock};
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    PvBuffer* retrieved = nullptr;
};

TEST_F(RequestTimeout, GivesBuffersBackThatNoBlockBeganToFill)
{
    clock.advance(49ms);
    arrive({Bytes(5)});
    EXPECT_EQ(expired(), 0U);
    clock.advance(1ms);
    EXPECT_EQ(retrieve(retrieved), PvResult::Timeout);
    EXPECT_EQ(retrieved, &buffers[0]);
    EXPECT_EQ(expired(), 1U) << "the next one's time begins now";
}

TEST_F(RequestTimeout, DoesNotRunWhileABlockIsBeingFilled)
{
    arrive({block[0], block[1]});
    clock.advance(10s);
    arrive({block[2]});
    EXPECT_EQ(expired(), 0U);
    arrive({block[3], block[4], block[5]});
    EXPECT_EQ(retrieve(retrieved), PvResult::OK);
    EXPECT_EQ(retrieved, &buffers[0]);
    // it begins with the end of the block
    clock.advance(49ms);
    arrive({Bytes(5)});
    EXPECT_EQ(expired(), 0U);
    clock.advance(1ms);
    EXPECT_EQ(retrieve(retrieved), PvResult::Timeout);
    EXPECT_EQ(retrieved, &buffers[1]);
}

TEST(ReopenedChannel, OpensTheFirewallFromItsNewPort)
{
    const ManualClock clock;
    const net::KnownPath path(host, host);
    net::UdpSocket device = net::UdpSocket::open({host, 0});
    net::note_stream_source(host, 2, device.local().port);
    stream::StreamChannel channel(clock);
    for (int opening = 0; opening < 2; ++opening) {
        ASSERT_TRUE(channel.open({.device = host, .channel = 2, .local = host}).IsOK());
        std::array<std::uint8_t, 64> bytes{};
        const auto received = device.receive(bytes, std::chrono::milliseconds(ample));
        ASSERT_TRUE(received.has_value()) << "opening " << opening;
        EXPECT_EQ(received->source.port, channel.endpoints()->port);
        channel.close();
    }
}

}  // namespace
