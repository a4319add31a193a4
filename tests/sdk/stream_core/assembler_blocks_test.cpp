// Assembling blocks in flight at the same time, their order and their IDs.
#include "tests/sdk/stream_core/assembler_fixture.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::picture;
using stream::BlockFate;
using stream::PacketFate;

using AssemblerBlocks = Assembly;

TEST_F(AssemblerBlocks, DropsAndCountsBlocksWithoutABuffer)
{
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1));
    queue(1, 64);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{2}));
    EXPECT_EQ(blocks(BlockFate::no_buffer), 1U);
    EXPECT_EQ(packets(PacketFate::no_buffer), 4U);
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(AssemblerBlocks, TakesTheBufferWithTheFirstPayloadNotWithTheLeader)
{
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(block[0]);
    queue(1, 64);  // during the exposure
    for (std::size_t i = 1; i < block.size(); ++i) {
        receive(block[i]);
    }
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(AssemblerBlocks, WaitsForALongExposureAfterAnEarlyLeader)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(block[0]);
    EXPECT_FALSE(assembler.next_deadline().has_value());
    pass(1h);
    EXPECT_TRUE(port.delivered.empty());
    for (std::size_t i = 1; i < block.size(); ++i) {
        receive(block[i]);
    }
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(AssemblerBlocks, LetsTheNewestBlockPauseBetweenItsLines)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    for (const Bytes& packet : block) {
        pass(900ms);
        receive(packet);
    }
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(AssemblerBlocks, GivesUpABlockThatPausesTooLong)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(block[0]);
    receive(block[1]);
    pass(999ms);
    EXPECT_TRUE(port.delivered.empty());
    pass(1ms);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 5}}));
    receive(block[2]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
}

TEST_F(AssemblerBlocks, DeliversInBlockOrderWhenALaterBlockIsCompleteFirst)
{
    queue(2, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    const std::vector<Bytes> second = packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 2);
    for (std::size_t i = 0; i + 1 < first.size(); ++i) {
        receive(first[i]);
    }
    receive(second);
    EXPECT_TRUE(port.delivered.empty());
    receive(first.back());
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    for (const Delivered& block : port.delivered) {
        EXPECT_EQ(block.result(), PvResult::OK);
    }
}

TEST_F(AssemblerBlocks, GivesUpABlockSoonAfterALaterOneIsComplete)
{
    queue(2, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U}) {
        receive(first[i]);
    }
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 2));
    pass(1999us);
    EXPECT_TRUE(port.delivered.empty());
    pass(1us);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    receive(first[2]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
}

TEST_F(AssemblerBlocks, InterleavedBlocksDoNotDisturbEachOther)
{
    queue(3, 64);
    std::vector<std::vector<Bytes>> blocks;
    for (std::uint64_t id = 1; id <= 3; ++id) {
        blocks.push_back(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id));
    }
    for (std::size_t i = 0; i < blocks[0].size(); ++i) {
        for (const std::vector<Bytes>& block : blocks) {
            receive(block[i]);
        }
    }
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3}));
    for (std::uint64_t id = 1; id <= 3; ++id) {
        EXPECT_EQ(port.delivered[static_cast<std::size_t>(id - 1)].data(64), picture(64, id));
    }
}

TEST_F(AssemblerBlocks, EndsTheOldestBlockWhenTooManyAreInFlight)
{
    queue(20, 64);
    const std::size_t window = settings.latency_level;
    for (std::uint64_t id = 1; id <= window + 1; ++id) {
        receive(packets::image_leader({.id = id}, image_8x8, id));
        receive(packets::payload({.id = id}, 1, picture(stride, id)));
    }
    EXPECT_EQ(assembler.blocks_in_flight(), window);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
}

TEST_F(AssemblerBlocks, CountsBlockIdsOfWhichNothingCame)
{
    queue(3, 64);
    for (const std::uint64_t id : {10U, 11U, 15U}) {
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id));
    }
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{10, 11, 15}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 3U);
}

TEST_F(AssemblerBlocks, GoesOnFrom65535To1)
{
    queue(4, 64);
    for (const std::uint64_t id : {65534U, 65535U, 1U, 2U}) {
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id));
    }
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{65534, 65535, 1, 2}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
}

TEST_F(AssemblerBlocks, KeepsTheOrderOfBlocksInFlightAcrossTheWrap)
{
    queue(2, 64);
    const std::vector<Bytes> last = packets::image_block({.id = 65535}, image_8x8, picture(64, 1), stride, 1);
    for (std::size_t i = 0; i + 1 < last.size(); ++i) {
        receive(last[i]);
    }
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 2), stride, 2));
    receive(last.back());
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{65535, 1}));
}

TEST_F(AssemblerBlocks, ReceivesExtendedIdsBeyond32Bits)
{
    queue(3, 64);
    const std::uint64_t base = 0x123456789ABCULL;
    for (std::uint64_t i = 0; i < 3; ++i) {
        receive(packets::image_block({.id = base + i, .extended = true}, image_8x8, picture(64, i), stride, i));
    }
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{base, base + 1, base + 2}));
    EXPECT_EQ(port.delivered[2].data(64), picture(64, 2));
    EXPECT_EQ(port.delivered[0].buffer->GetBlockID(), 0x9ABCU);
}

TEST_F(AssemblerBlocks, ExtendedIdsDoNotWrapAt65535)
{
    queue(2, 64);
    for (const std::uint64_t id : {65535U, 65536U}) {
        receive(packets::image_block({.id = id, .extended = true}, image_8x8, picture(64, id), stride, id));
    }
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{65535, 65536}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(AssemblerBlocks, FollowsADeviceThatSwitchesToExtendedIds)
{
    queue(2, 64);
    receive(packets::image_block({.id = 40}, image_8x8, picture(64, 1), stride, 1));
    receive(packets::image_block({.id = 1, .extended = true}, image_8x8, picture(64, 2), stride, 2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{40, 1}));
    EXPECT_EQ(assembler.counters().restarts, 1U);
}

TEST_F(AssemblerBlocks, FollowsADeviceThatStartsAnewAfterFewBlocks)
{
    queue(6, 64);
    for (const std::uint64_t id : {1U, 2U, 3U}) {
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, 100 + id));
    }
    for (const std::uint64_t id : {1U, 2U, 3U}) {
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, 200 + id));
    }
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3, 1, 2, 3}));
    EXPECT_EQ(assembler.counters().restarts, 1U);
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(AssemblerBlocks, FollowsADeviceThatStartsAnewAfterManyBlocks)
{
    queue(2, 64);
    receive(packets::image_block({.id = 5000}, image_8x8, picture(64, 1), stride, 1));
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 2), stride, 2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{5000, 1}));
    EXPECT_EQ(assembler.counters().restarts, 1U);
}

TEST_F(AssemblerBlocks, FollowsARestartWithoutTimestampsOnceOldPacketsCannotCome)
{
    queue(3, 64);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 0));
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 0));
    pass(1001ms);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 3), stride, 0));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 1}));
}

TEST_F(AssemblerBlocks, ALeaderSentAgainLongAfterItsBlockEndedIsNoRestart)
{
    queue(3, 64);
    const packets::BlockForm again{.id = 1, .status = 0x0100};
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 11));
    const std::vector<Bytes> second = packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 12);
    receive(second[0]);
    receive(second[1]);
    pass(500ms);
    receive(packets::image_leader(again, image_8x8, 11));
    receive(packets::image_leader({.id = 1}, image_8x8, 11));
    receive(std::vector<Bytes>(second.begin() + 2, second.end()));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(port.delivered.back().result(), PvResult::OK);
    EXPECT_EQ(assembler.counters().restarts, 0U);
    EXPECT_EQ(packets(PacketFate::late), 2U);
}

TEST_F(AssemblerBlocks, EndsAHalfReceivedBlockWhenItsNumberStartsAnew)
{
    queue(2, 64);
    const std::vector<Bytes> old = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(old[0]);
    receive(old[1]);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 2), stride, 2));
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 1}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].data(64), picture(64, 2));
}

TEST_F(AssemblerBlocks, DoesNotTakeALateDuplicateOfALeaderForARestart)
{
    queue(2, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 11);
    receive(first);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 12));
    receive(first[0]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
}

TEST_F(AssemblerBlocks, APacketOfAnEndedBlockIsLateForAsLongAsADeviceMayPause)
{
    queue(3, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 11);
    receive(first);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 12));
    pass(1000ms);
    receive(first[1]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
    pass(1us);
    receive(first[1]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
    EXPECT_EQ(assembler.counters().restarts, 1U);
}

TEST_F(AssemblerBlocks, AbortDeliversBlocksInFlightAsAborted)
{
    queue(3, 64);
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload({.id = 1}, 1, picture(20, 1)));
    receive(packets::image_leader({.id = 2}, image_8x8, 2));  // has no buffer yet
    assembler.abort();
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::Aborted);
    EXPECT_EQ(blocks(BlockFate::aborted), 1U);
    EXPECT_EQ(blocks(BlockFate::discarded), 1U);
    EXPECT_EQ(assembler.counters().packets_lost, 0U);
    EXPECT_EQ(port.idle.size(), 2U);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
}

TEST_F(AssemblerBlocks, DiscardPutsBuffersBackInTheirOrder)
{
    queue(3, 64);
    const std::deque<PvBuffer*> before = port.idle;
    for (std::uint64_t id = 1; id <= 2; ++id) {
        receive(packets::image_leader({.id = id}, image_8x8, id));
        receive(packets::payload({.id = id}, 1, picture(20, id)));
    }
    EXPECT_EQ(port.idle.size(), 1U);
    assembler.discard();
    EXPECT_EQ(port.idle, before);
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_EQ(blocks(BlockFate::discarded), 2U);
    // numbering is forgotten: block 1 is not late
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 3), stride, 1));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1}));
}

TEST_F(AssemblerBlocks, ForgetsABufferThatGoesAway)
{
    auto buffer = std::make_unique<PvBuffer>();
    port.idle.push_back(buffer.get());
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload({.id = 1}, 1, picture(20, 1)));
    EXPECT_TRUE(assembler.forget(*buffer));
    EXPECT_FALSE(assembler.forget(*buffer));
    buffer.reset();
    receive(packets::payload({.id = 1}, 2, picture(20, 1)));
    pass(100ms);
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_EQ(blocks(BlockFate::no_buffer), 1U);
}

TEST_F(AssemblerBlocks, TellTheirPace)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, packets::picture(64, 1), stride, 1);
    EXPECT_EQ(assembler.payload_left(), 0ns);
    receive(block[0]);
    EXPECT_EQ(assembler.payload_left(), 0ns) << "nothing of it has come";
    receive(block[1]);
    EXPECT_EQ(assembler.payload_left(), 0ns) << "its pace is not known";
    now += 8ms;
    receive(block[2]);
    // two packets in 8 ms, and two more to come
    EXPECT_EQ(assembler.payload_left(), 8ms);
    now += 1ms;
    receive(block[4]);
    EXPECT_EQ(assembler.payload_left(), 0ns) << "what is missing before its end is not in order";
    receive(block[3]);
    receive(block[5]);
    EXPECT_EQ(assembler.payload_left(), 0ns);
    EXPECT_EQ(blocks(vex::stream::BlockFate::complete), 1U);
}

}  // namespace
