// What the assembler asks the device to send again, and how blocks end that way.
#include <gtest/gtest.h>

#include "tests/sdk/stream_core/resend_fixture.h"

using namespace vex;
using namespace assembly;

namespace {

using packets::picture;
using stream::BlockFate;
using stream::PacketFate;

TEST_F(AssemblerResend, AMissingPacketIsAskedForAndCompletesItsBlock)
{
    queue(1, 64);
    receive(without(block(7), 2));
    EXPECT_TRUE(port.requests.empty()) << "it may only be out of order";
    EXPECT_EQ(assembler.next_deadline(), now + delay);
    pass(delay);
    ASSERT_EQ(port.requests.size(), 1U);
    EXPECT_EQ(port.requests[0].block_id, 7U);
    EXPECT_FALSE(port.requests[0].extended_ids);
    EXPECT_EQ(requests(), (Ranges{{2, 2}}));
    pass(5ms);
    EXPECT_TRUE(port.delivered.empty());
    receive(block(7, 0x0100)[2]);
    ASSERT_EQ(port.delivered.size(), 1U);
    expect_exact(0);
    EXPECT_EQ(port.delivered[0].buffer->GetExpectedResendCount(), 1U);
    EXPECT_EQ(assembler.counters().resend_requests, 1U);
    EXPECT_EQ(assembler.counters().resend_packets_requested, 1U);
    EXPECT_EQ(assembler.counters().resends_expected, 1U);
    EXPECT_EQ(assembler.counters().resends_expected_single, 1U);
    EXPECT_EQ(assembler.counters().resends_unexpected, 0U);
    EXPECT_EQ(assembler.counters().packets_lost, 0U);
}

TEST_F(AssemblerResend, RequestsHaveTheFormOfTheBlocksIds)
{
    queue(1, 64);
    receive(
        without(packets::image_block({.id = 0x123456789A, .extended = true}, image_8x8, picture(64, 1), stride, 1), 2));
    pass(delay);
    ASSERT_EQ(port.requests.size(), 1U);
    EXPECT_EQ(port.requests[0].block_id, 0x123456789AU);
    EXPECT_TRUE(port.requests[0].extended_ids);
}

TEST_F(AssemblerResend, LaterBlocksWaitForOneThatIsAskedFor)
{
    queue(3, 64);
    receive(without(block(1), 1));
    receive(block(2));
    receive(block(3));
    pass(delay);
    pass(15ms);
    EXPECT_TRUE(port.delivered.empty());
    receive(block(1, 0x0100)[1]);
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3}));
    for (std::size_t i = 0; i < 3; ++i) {
        expect_exact(i);
    }
}

TEST_F(AssemblerResend, ALostLeaderIsAskedFor)
{
    queue(1, 64);
    receive(without(block(1), 0));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{0, 0}}));
    receive(block(1, 0x0100)[0]);
    ASSERT_EQ(port.delivered.size(), 1U);
    expect_exact(0);
}

TEST_F(AssemblerResend, ALostTailIsAskedForWhenTheNextBlockHasBegun)
{
    queue(2, 64);
    receive(without(block(1), 3, 3));
    receive(block(2)[0]);
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{3, 5}})) << "the leader tells how long the block is";
    const std::vector<Bytes> again = block(1, 0x0100);
    receive(again[3]);
    receive(again[4]);
    receive(again[5]);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1}));
    expect_exact(0);
    EXPECT_EQ(assembler.counters().resends_expected, 3U);
}

TEST_F(AssemblerResend, TheTailOfTheNewestBlockIsAskedForAfterASilence)
{
    queue(1, 64);
    receive(without(block(1), 3, 3));
    pass(timeout - 1us);
    EXPECT_EQ(requests(), Ranges{});
    pass(1us);
    EXPECT_EQ(requests(), (Ranges{{3, 3}})) << "the sender may only have paused";
    receive(block(1, 0x0100)[3]);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(assembler.next_deadline(), now + timeout) << "nothing came faster so far";
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{4, 5}})) << "one packet came and none after it";
    receive(block(1, 0x0100)[4]);
    EXPECT_TRUE(port.delivered.empty());
    pass(std::chrono::milliseconds(settings.reordering_timeout_ms));
    ASSERT_EQ(port.delivered.size(), 1U) << "all of the image is there";
    expect_exact(0);
}

TEST_F(AssemblerResend, ASenderThatPausedGoesOn)
{
    queue(1, 64);
    receive(without(block(1), 2, 4));
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{2, 2}}));
    receive(block(1)[2]);
    receive(block(1)[3]);
    pass(timeout - 1us);
    EXPECT_EQ(requests(), Ranges{});
    pass(1us);
    EXPECT_EQ(requests(), (Ranges{{4, 4}})) << "a second pause";
    receive(block(1)[4]);
    receive(block(1)[5]);
    ASSERT_EQ(port.delivered.size(), 1U);
    expect_exact(0);
}

TEST_F(AssemblerResend, TheRestOfALostTailIsAskedForAsSoonAsItIsSilentForFourPackets)
{
    queue(1, 4096);
    const std::vector<Bytes> packets =
        packets::image_block({.id = 1}, {.width = 64, .height = 64}, picture(4096, 1), 20, 1);
    constexpr std::size_t came = 101;
    for (std::size_t i = 0; i < came; ++i) {
        receive(packets[i]);
        now += 10us;
    }
    now -= 10us;
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{came, came}}));
    receive(packets[came]);
    const net::Clock::duration spacing = (timeout + 99 * 10us) / 100;
    ASSERT_LT(4 * spacing, delay);
    EXPECT_EQ(assembler.next_deadline(), now + delay);
    pass(delay - 1us);
    EXPECT_EQ(requests(), Ranges{});
    pass(1us);
    const Ranges rest = requests();
    ASSERT_FALSE(rest.empty());
    EXPECT_EQ(rest.front().first, came + 1);
    EXPECT_EQ(rest.back().second, packets.size() - 1);
}

TEST_F(AssemblerResend, ALeaderAloneAsksForNothing)
{
    queue(1, 64);
    receive(block(1)[0]);
    pass(1h);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(assembler.blocks_in_flight(), 1U);
}

TEST_F(AssemblerResend, ABlockOfWhichNothingCameIsAskedFor)
{
    queue(3, 64);
    receive(block(1));
    receive(block(3));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{0, 5}})) << "as long as the block before";
    receive(block(2, 0x0100));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3}));
    expect_exact(1);
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(AssemblerResend, ABlockThatTheDeviceDoesNotHaveIsNotWaitedFor)
{
    queue(3, 64);
    receive(block(1));
    receive(block(3));
    pass(delay);
    answer(2, 0, unavailable);
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 3}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 1U);
    EXPECT_EQ(port.idle.size(), 1U);
}

TEST_F(AssemblerResend, BlocksThatTheDeviceSaysItDroppedAreNotAskedFor)
{
    queue(2, 64);
    const auto extended = [](std::uint64_t id, std::uint16_t flags) {
        return packets::image_block({.id = id, .extended = true, .flags = flags}, image_8x8, picture(64, id), stride,
                                    id);
    };
    receive(extended(1, 0));
    receive(extended(3, 2));
    pass(delay);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(AssemblerResend, ManyMissingBlocksAreAGapInTheNumbers)
{
    queue(2, 64);
    receive(block(1));
    receive(block(50));
    pass(delay);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 50}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 48U);
}

TEST_F(AssemblerResend, ARefusalEndsTheBlockAtOnce)
{
    queue(2, 64);
    receive(without(block(1), 2));
    receive(block(2)[0]);
    pass(delay);
    answer(1, 2, unavailable);
    ASSERT_EQ(results(), (std::vector{PvResult::ResendsFailure}));
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 2}}));
    EXPECT_EQ(assembler.counters().packets_lost, 1U);
}

TEST_F(AssemblerResend, ARefusalOfAllBeforeEndsOlderGaps)
{
    queue(1, 64);
    receive(without(without(block(1), 3), 1));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{1, 1}, {3, 3}}));
    answer(1, 3, and_previous_gone);
    ASSERT_EQ(results(), (std::vector{PvResult::ResendsFailure}));
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{1, 1}, {3, 3}}));
}

TEST_F(AssemblerResend, ADeviceThatCannotYetIsGivenTime)
{
    queue(1, 64);
    receive(without(block(1), 2));
    pass(delay);
    EXPECT_EQ(requests().size(), 1U);
    answer(1, 2, not_yet);
    pass(timeout);
    EXPECT_EQ(requests(), Ranges{});
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{2, 2}}));
}

TEST_F(AssemblerResend, ARefusalOfATailThatMayNotHaveBeenSentIsNoEnd)
{
    queue(1, 64);
    receive(without(block(1), 3, 3));
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{3, 3}}));
    answer(1, 3, unavailable);
    pass(timeout);
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_EQ(requests(), (Ranges{{3, 3}})) << "it is asked for again";
    const std::vector<Bytes> rest = block(1);
    receive(std::vector<Bytes>(rest.begin() + 3, rest.end()));
    ASSERT_EQ(port.delivered.size(), 1U);
    expect_exact(0);
}

TEST_F(AssemblerResend, AnAnswerThatALaterOneOvertookIsAskedForAtOnce)
{
    queue(1, 64);
    receive(without(without(block(1), 3), 1));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{1, 1}, {3, 3}}));
    receive(block(1, 0x0100)[3]);
    EXPECT_EQ(assembler.next_deadline(), now + delay);
    pass(delay - 1us);
    EXPECT_EQ(requests(), Ranges{});
    pass(1us);
    EXPECT_EQ(requests(), (Ranges{{1, 1}}));
    receive(block(1, 0x0100)[1]);
    ASSERT_EQ(port.delivered.size(), 1U);
    expect_exact(0);
}

TEST_F(AssemblerResend, AnAnswerInALaterBlockOvertakesOneInAnEarlier)
{
    queue(2, 64);
    receive(without(block(1), 1));
    pass(delay);
    receive(without(block(2), 2));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{1, 1}, {2, 2}}));
    receive(block(2, 0x0100)[2]);
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{1, 1}}));
}

TEST_F(AssemblerResend, AnOvertakenTailIsAskedForAgainThoughMoreMayWaitToBeRead)
{
    queue(2, 64);
    receive(without(block(1), 3, 3));
    receive(without(block(2), 2));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{3, 5}, {2, 2}}));
    receive(block(2, 0x0100)[2]);
    now += delay;
    assembler.process({}, now, false);
    EXPECT_EQ(requests(), (Ranges{{3, 5}}));
}

TEST_F(AssemblerResend, PacketsThatDoNotComeAreGivenUp)
{
    queue(1, 64);
    receive(without(block(1), 2));
    pass(delay);
    pass(timeout);
    pass(2 * timeout);
    pass(4 * timeout);
    EXPECT_EQ(requests().size(), 4U);
    pass(8 * timeout - 1us);
    EXPECT_TRUE(port.delivered.empty());
    pass(1us);
    EXPECT_EQ(results(), (std::vector{PvResult::TooManyResends}));
    EXPECT_EQ(blocks(BlockFate::too_many_resends), 1U);
}

TEST_F(AssemblerResend, MoreInARowThanMayBeAskedForEndsTheBlock)
{
    settings.maximum_pending_resends = 2;
    apply_settings();
    queue(1, 64);
    receive(without(block(1), 1, 3));
    pass(delay);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(results(), (std::vector{PvResult::TooManyConsecutiveResends}));
}

/// A device that does not answer what it was asked for so far.
class SilentDevice : public AssemblerResend {
protected:
    void ask_until_given_up(std::uint64_t first, std::uint64_t last)
    {
        for (std::uint64_t id = first; id <= last; ++id) {
            EXPECT_TRUE(assembler.asks_for_resends()) << "block " << id;
            receive(without(block(id), 2));
            pass(delay);
            pass_all_requests();
        }
        EXPECT_FALSE(assembler.asks_for_resends());
        requests();
    }
};

TEST_F(SilentDevice, IsNotAskedAnyMore)
{
    queue(10, 64);
    ask_until_given_up(1, 5);
    receive(without(block(6), 2));
    pass(delay);
    pass(100ms);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(results().back(), PvResult::MissingPackets);
}

TEST_F(SilentDevice, IsAskedAnewWhenResendsAreSwitchedOnAgain)
{
    queue(20, 64);
    ask_until_given_up(1, 5);
    apply_settings();
    EXPECT_FALSE(assembler.asks_for_resends()) << "other settings change nothing";
    settings.resend_packet_enable = false;
    apply_settings();
    settings.resend_packet_enable = true;
    apply_settings();
    ask_until_given_up(6, 10);
}

TEST_F(AssemblerResend, ADeviceThatAnsweredOnceIsAskedOnAndOn)
{
    queue(10, 64);
    receive(without(block(1), 2));
    pass(delay);
    answer(1, 2, unavailable);
    for (std::uint64_t id = 2; id <= 9; ++id) {
        receive(without(block(id), 2));
        pass(delay);
        pass_all_requests();
        EXPECT_EQ(results().back(), PvResult::TooManyResends);
    }
    EXPECT_TRUE(assembler.asks_for_resends());
}

TEST_F(AssemblerResend, NothingIsAskedForWhereItIsNotAllowed)
{
    assembler.allow_resends(false);
    queue(1, 64);
    receive(without(block(1), 2));
    pass(100ms);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(results(), (std::vector{PvResult::MissingPackets}));
}

TEST_F(AssemblerResend, PacketsSentAgainThatNobodyAskedForAreCounted)
{
    queue(1, 64);
    receive(block(1));
    receive(block(1, 0x0100)[2]);
    EXPECT_EQ(assembler.counters().resends_unexpected, 1U);
    EXPECT_EQ(assembler.counters().resends_expected, 0U);
}

TEST_F(AssemblerResend, ABlockWithoutABufferIsNotAskedFor)
{
    receive(without(block(1), 2));
    pass(delay);
    EXPECT_EQ(requests(), Ranges{});
    EXPECT_EQ(assembler.counters().images_dropped, 1U);
}

TEST_F(AssemblerResend, ADamagedPacketIsAskedForAgain)
{
    queue(1, 64);
    std::vector<Bytes> damaged = block(1);
    damaged[4].resize(damaged[4].size() - 2);
    receive(damaged);
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{4, 4}}));
    receive(block(1, 0x0100)[4]);
    ASSERT_EQ(port.delivered.size(), 1U);
    expect_exact(0);
}

}  // namespace
