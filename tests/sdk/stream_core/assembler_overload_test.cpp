// Blocks while packets are thrown away by the stream's own wish, and after that.
#include <gtest/gtest.h>

#include <vector>

#include "tests/sdk/stream_core/resend_fixture.h"

namespace {

using namespace assembly;
using vex::stream::BlockFate;
using vex::stream::PacketFate;

class AssemblerOverload : public AssemblerResend {
protected:
    AssemblerOverload() { queue(8, 64); }
};

TEST_F(AssemblerOverload, NothingIsAskedForMeanwhile)
{
    receive(without(block(1), 2));
    assembler.shed();
    pass(delay + timeout);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_FALSE(assembler.asks_for_resends());
    EXPECT_EQ(assembler.blocks_in_flight(), 1U);
}

TEST_F(AssemblerOverload, ABlockEndsWhenTheNextOneBegins)
{
    assembler.shed();
    receive(without(block(1), 2));
    EXPECT_EQ(ids(), std::vector<std::uint64_t>{});
    receive(block(2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(results(), (std::vector<PvResult::Code>{PvResult::MissingPackets, PvResult::OK}));
    expect_exact(1);
}

TEST_F(AssemblerOverload, WhatIsInFlightAtTheEndEnds)
{
    receive(without(block(1), 2));
    receive(without(block(2), 4, 2));
    assembler.shed();
    assembler.resume(now);
    EXPECT_EQ(results(), (std::vector<PvResult::Code>{PvResult::MissingPackets, PvResult::MissingPackets}));
    EXPECT_EQ(blocks(BlockFate::missing_packets), 2U);
    EXPECT_EQ(assembler.counters().packets_lost, 1U + 2U);
    EXPECT_EQ(assembler.counters().overloads, 1U);
    // what still comes of them is late
    receive(block(2)[4]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
}

TEST_F(AssemblerOverload, ThenTheNextBlockIsTheFirstWithALeader)
{
    receive(block(1));
    assembler.shed();
    assembler.resume(now);
    // the rest of a block whose beginning was thrown away
    receive(without(block(5), 0, 2));
    EXPECT_EQ(packets(PacketFate::late), block(5).size() - 2);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
    receive(block(6));
    receive(block(7));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 6, 7}));
    expect_exact(1);
    expect_exact(2);
    pass(delay + timeout);
    EXPECT_EQ(requests(), Ranges{}) << "of blocks that were thrown away";
    EXPECT_EQ(assembler.counters().block_ids_missing, 4U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
}

TEST_F(AssemblerOverload, FewBlocksThrownAwayAreNotAskedForEither)
{
    receive(block(1));
    assembler.shed();
    assembler.resume(now);
    receive(block(3));
    pass(delay + timeout);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(AssemblerOverload, ALeaderThatIsSentAgainBeginsNothing)
{
    receive(block(1));
    assembler.shed();
    assembler.resume(now);
    receive(block(2, 0x0100)[0]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
    EXPECT_EQ(assembler.counters().resends_unexpected, 1U);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
    receive(block(3));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(AssemblerOverload, AfterwardsLossesAreAskedForAsEver)
{
    assembler.shed();
    assembler.resume(now);
    receive(without(block(1), 2));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{2, 2}}));
    receive(block(1, 0x0100)[2]);
    EXPECT_EQ(results(), std::vector<PvResult::Code>{PvResult::OK});
    receive(block(3));
    receive(without(block(4), 0));
    pass(delay);
    EXPECT_FALSE(requests().empty()) << "block 2 is missing";
}

TEST_F(AssemblerOverload, ADeviceWhoseAnswersWereThrownAwayIsAskedAgain)
{
    for (std::uint64_t id = 1; id <= 6; ++id) {
        receive(without(block(id), 2));
        for (int i = 0; i < 10; ++i) {
            pass(timeout);
        }
    }
    ASSERT_FALSE(assembler.asks_for_resends());
    assembler.shed();
    assembler.resume(now);
    EXPECT_TRUE(assembler.asks_for_resends());
}

}  // namespace
