// Settings of what is asked for again and of how long blocks are waited for.
#include <gtest/gtest.h>

#include "tests/sdk/stream_core/resend_fixture.h"

using namespace vex;
using namespace assembly;

namespace {

using packets::picture;
using stream::BlockFate;

TEST_F(AssemblerResend, LatencyLevelIsHowManyBlocksAreAssembledAtOnce)
{
    settings.latency_level = 2;
    apply_settings();
    queue(3, 64);
    receive(without(block(1), 2));
    receive(without(block(2), 2));
    EXPECT_TRUE(port.delivered.empty());
    receive(block(3)[0]);
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1}));
    EXPECT_EQ(assembler.blocks_in_flight(), 2U);
}

TEST_F(AssemblerResend, ForcedMissingPacketsEndABlockWhenTheNextBegins)
{
    settings.force_missing_packets_at_next_block_start = true;
    apply_settings();
    queue(2, 64);
    receive(without(block(1), 2));
    EXPECT_TRUE(port.delivered.empty());
    receive(block(2)[0]);
    EXPECT_EQ(results(), (std::vector{PvResult::MissingPackets}));
}

TEST_F(AssemblerResend, TheImageTimeoutEndsABlockThatIsStillAskedFor)
{
    settings.default_image_timeout_ms = 30;
    settings.default_block_timeout_ms = 10;
    apply_settings();
    queue(1, 64);
    receive(without(block(1), 2));
    pass(29ms);
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_EQ(assembler.next_deadline(), now + 1ms);
    pass(1ms);
    EXPECT_EQ(results(), (std::vector{PvResult::MissingPackets}));
}

TEST_F(AssemblerResend, TheBlockTimeoutEndsOtherBlocks)
{
    settings.default_image_timeout_ms = 10;
    settings.default_block_timeout_ms = 30;
    apply_settings();
    queue(1, 64);
    const packets::BlockForm form{.id = 1};
    receive(packets::raw_leader(form, 60, 1));
    receive(packets::payload_packets(form, picture(60, 1), stride)[0]);
    pass(29ms);
    EXPECT_TRUE(port.delivered.empty());
    pass(1ms);
    EXPECT_EQ(port.delivered.size(), 1U);
}

TEST_F(AssemblerResend, TheFirstPacketTimeoutEndsALeaderAlone)
{
    settings.first_packet_timeout_ms = 50;
    apply_settings();
    queue(1, 64);
    receive(block(1)[0]);
    pass(49ms);
    EXPECT_TRUE(port.delivered.empty());
    pass(1ms);
    EXPECT_EQ(results(), (std::vector{PvResult::MissingPackets}));
}

TEST_F(AssemblerResend, MissingPacketsAreListedOnlyWhenWanted)
{
    settings.enable_missing_packets_list = false;
    settings.resend_packet_enable = false;
    apply_settings();
    queue(1, 64);
    receive(without(block(1), 2));
    pass(100ms);
    ASSERT_EQ(results(), (std::vector{PvResult::MissingPackets}));
    EXPECT_EQ(port.delivered[0].missing(), Ranges{});
    EXPECT_EQ(port.delivered[0].buffer->GetLostPacketCount(), 1U);
}

TEST_F(AssemblerResend, LackOfBuffersResetsTheStream)
{
    settings.auto_reset_on_lack_of_resources = 3;
    apply_settings();
    queue(1, 64);
    receive(without(block(1), 2));
    receive(block(2));
    receive(block(3));
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_FALSE(assembler.take_flush_request());
    receive(block(4));
    ASSERT_EQ(results(), (std::vector{PvResult::AutoAborted}));
    EXPECT_EQ(blocks(BlockFate::auto_aborted), 1U);
    EXPECT_TRUE(assembler.take_flush_request());
    EXPECT_FALSE(assembler.take_flush_request());
    assembler.discard();
    queue(1, 64);
    receive(block(1));
    EXPECT_EQ(results().back(), PvResult::OK) << "any block may come";
}

TEST_F(AssemblerResend, BlocksWithABufferInBetweenAreNoLackInARow)
{
    settings.auto_reset_on_lack_of_resources = 2;
    apply_settings();
    receive(block(1));
    queue(1, 64);
    receive(block(2));
    receive(block(3));
    EXPECT_FALSE(assembler.take_flush_request());
    receive(block(4));
    EXPECT_TRUE(assembler.take_flush_request());
}

TEST_F(AssemblerResend, SilenceResetsTheStream)
{
    settings.reset_on_idle_ms = 500;
    apply_settings();
    queue(2, 64);
    receive(block(9));
    receive(block(10)[0]);
    receive(block(10)[1]);
    now += 499ms;
    receive(block(10)[2]);
    pass(499ms);
    EXPECT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(assembler.next_deadline(), now + 1ms);
    pass(1ms);
    EXPECT_EQ(results(), (std::vector{PvResult::OK, PvResult::AutoAborted}));
    queue(1, 64);
    receive(block(10));
    EXPECT_EQ(results().back(), PvResult::OK) << "its number counts as new";
    pass(1h);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
}

}  // namespace
