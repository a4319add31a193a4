// A stream that is sent more than it can take in, with a sender, a system's buffer and a clock of the test's own.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <numeric>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/receive_backends.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/stream_core/flood.h"

namespace {

using namespace flooding;
using stream::BlockFate;

class ChannelOverload : public testing::Test {
protected:
    /// Receives the whole flood and compares every good block, byte by byte, with what was sent.
    void run()
    {
        for (const auto setting : {&stream::StreamSettings::maximum_pre_queued_buffers,
                                   &stream::StreamSettings::maximum_internal_retrieve_buffers}) {
            ASSERT_TRUE(channel.set(stream::setting_of(setting), 4096).IsOK());
        }
        const net::AddedBackend added(std::make_shared<FloodBackend>(flood));
        ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK());
        // one for each block: none is thrown away because the test is slow
        std::vector<PvBuffer> buffers(static_cast<std::size_t>(flood.blocks));
        for (PvBuffer& buffer : buffers) {
            buffer.Alloc(image_bytes);
            ASSERT_TRUE(channel.queue(&buffer).IsOK());
        }
        flood.begin();
        ASSERT_TRUE(flood.await_end());
        ASSERT_TRUE(channel.abort().IsOK());
        for (std::size_t i = 0; i < buffers.size(); ++i) {
            PvBuffer* buffer = nullptr;
            PvResult result;
            ASSERT_TRUE(channel.retrieve(buffer, result, ample).IsOK());
            if (result.IsOK()) {
                ++whole;
                const Bytes data(buffer->GetDataPointer(), buffer->GetDataPointer() + image_bytes);
                ASSERT_EQ(data, pixels(buffer->GetBlockID64()));
            }
        }
        counters = channel.statistics().counters;
        channel.close();
        EXPECT_EQ(std::accumulate(counters.packets.begin(), counters.packets.end(), std::uint64_t{0}), flood.read);
        EXPECT_EQ(flood.read + flood.dropped, flood.blocks * packets_of_block);
        EXPECT_EQ(std::accumulate(counters.blocks.begin(), counters.blocks.end(), std::uint64_t{0}),
                  counters.blocks_begun);
        EXPECT_EQ(counters.of(BlockFate::complete), whole);
    }

    Flood flood;
    stream::StreamChannel channel{flood.clock};
    std::uint64_t whole = 0;
    stream::Counters counters;
};

TEST_F(ChannelOverload, MostOfWhatCanBeTakenInArrivesAsWholeBlocks)
{
    run();
    EXPECT_GT(flood.refusals, 2U);
    EXPECT_EQ(counters.overloads, flood.refusals);
    EXPECT_GE(whole * packets_of_block, flood.read_once_refused * 9 / 10);
    EXPECT_LE(counters.resend_packets_requested, 2U * 512) << "before it was noticed, and no more";
}

TEST_F(ChannelOverload, AStreamThatKeepsUpIsLeftAlone)
{
    flood.sent_per_read = 60;
    run();
    EXPECT_EQ(flood.refusals, 0U);
    EXPECT_EQ(whole, flood.blocks);
}

TEST_F(ChannelOverload, ABurstThatWasTooMuchIsAskedFor)
{
    flood.burst = 6000;
    flood.sent_per_read = 40;
    run();
    EXPECT_GT(flood.dropped, 0U);
    EXPECT_EQ(flood.refusals, 0U);
    EXPECT_GT(counters.resend_packets_requested, 0U);
}

TEST_F(ChannelOverload, ASystemThatCannotBeToldIsTakenAsItIs)
{
    flood.can_refuse = false;
    run();
    EXPECT_EQ(counters.overloads, 0U);
    EXPECT_GT(counters.of(BlockFate::complete) + counters.failed_blocks(), 0U);
}

}  // namespace
