// Gaps of one block: what is asked for, when, and when it is given up.
#include "tests/sdk/stream_core/missing_packets_fixture.h"

using namespace vex;
using namespace missing_packets;

namespace {

TEST_F(MissingPacketsTest, PacketsInOrderLeaveNoGap)
{
    arrive({0, 1, 2, 3});
    EXPECT_FALSE(missing.has_gaps());
    EXPECT_EQ(missing.next(), 4U);
    EXPECT_FALSE(missing.due(terms()).has_value());
    now += 1h;
    EXPECT_EQ(ask(), Ranges{});
}

TEST_F(MissingPacketsTest, AGapIsAskedForAfterTheDelayAndAgainAfterTheTimeout)
{
    arrive({0, 1, 5});
    EXPECT_EQ(missing.due(terms()), now + delay);
    now += delay - 1us;
    EXPECT_EQ(ask(), Ranges{});
    now += 1us;
    EXPECT_EQ(ask(), (Ranges{{2, 4}}));
    EXPECT_EQ(missing.pending(), 3U);
    EXPECT_EQ(missing.due(terms()), now + timeout);
    EXPECT_EQ(ask(), Ranges{});
    now += timeout;
    EXPECT_EQ(ask(), (Ranges{{2, 4}}));
}

TEST_F(MissingPacketsTest, IsWaitedForTwiceAsLongAfterEachRequest)
{
    settings.maximum_resend_request_retry_by_packet = 6;
    arrive({0, 3});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 2}}));
    for (const int times : {1, 2, 4, 8, 16, 16}) {
        EXPECT_EQ(missing.due(terms()), now + times * timeout);
        now += times * timeout - 1us;
        EXPECT_EQ(ask(), Ranges{}) << times;
        now += 1us;
        EXPECT_EQ(ask(), (Ranges{{1, 2}})) << times;
    }
}

TEST_F(MissingPacketsTest, IsGivenUpAfterTheLastRepetition)
{
    settings.maximum_resend_request_retry_by_packet = 2;
    arrive({0, 3});
    now += delay;
    for (int request = 0; request < 3; ++request) {
        EXPECT_EQ(ask(), (Ranges{{1, 2}})) << request;
        EXPECT_FALSE(missing.gave_up());
        now += timeout * (1 << request);
    }
    EXPECT_EQ(ask(), Ranges{});
    EXPECT_EQ(given_up, 2U);
    EXPECT_TRUE(missing.exhausted());
    EXPECT_FALSE(missing.has_gaps());
}

TEST_F(MissingPacketsTest, APacketOutOfOrderIsNotAskedFor)
{
    arrive({0, 2});
    EXPECT_EQ(missing.arrived(1, now), Arrival::unasked);
    now += delay;
    EXPECT_EQ(ask(), Ranges{});
}

TEST_F(MissingPacketsTest, WhatArrivesLeavesTheRestOfItsGap)
{
    arrive({0, 10});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 9}}));
    EXPECT_EQ(missing.arrived(1, now), Arrival::asked);
    EXPECT_EQ(missing.arrived(9, now), Arrival::asked);
    EXPECT_EQ(missing.arrived(5, now), Arrival::asked);
    EXPECT_EQ(missing.arrived(5, now), Arrival::unasked) << "came already";
    EXPECT_EQ(missing.pending(), 6U);
    now += timeout;
    EXPECT_EQ(ask(), (Ranges{{2, 4}, {6, 8}}));
    for (const std::uint32_t id : {2U, 3U, 4U, 6U, 7U, 8U}) {
        EXPECT_EQ(missing.arrived(id, now), Arrival::asked);
    }
    EXPECT_FALSE(missing.has_gaps());
    EXPECT_EQ(missing.pending(), 0U);
}

TEST_F(MissingPacketsTest, TellsAPacketThatWasAskedForAlone)
{
    arrive({0, 2});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 1}}));
    EXPECT_EQ(missing.arrived(1, now), Arrival::asked_alone);
}

TEST_F(MissingPacketsTest, OneRequestAsksForAGroupAtMost)
{
    settings.maximum_resend_group_size = 4;
    arrive({0, 11});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 4}, {5, 8}, {9, 10}}));
}

TEST_F(MissingPacketsTest, NoMoreThanTheLimitIsPending)
{
    settings.maximum_pending_resends = 5;
    arrive({0, 4, 8});  // 1-3 and 5-7
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 3}}));
    EXPECT_EQ(missing.due(terms()), now + timeout) << "the second gap waits for the first";
    missing.arrived(1, now);
    EXPECT_EQ(ask(), (Ranges{{5, 7}}));
    EXPECT_EQ(missing.pending(), 5U);
}

TEST_F(MissingPacketsTest, AGapAboveTheLimitIsNotAskedFor)
{
    settings.maximum_pending_resends = 5;
    arrive({0, 7});
    now += delay;
    EXPECT_EQ(ask(), Ranges{});
    EXPECT_TRUE(missing.too_many());
    EXPECT_FALSE(missing.exhausted());
    EXPECT_FALSE(missing.has_gaps());
    EXPECT_EQ(given_up, 6U);
}

TEST_F(MissingPacketsTest, NothingIsRepeatedWhileAnAnswerMayWaitToBeRead)
{
    arrive({0, 2});
    may_repeat = false;
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 1}})) << "the first time";
    now += timeout;
    EXPECT_EQ(ask(), Ranges{});
    may_repeat = true;
    EXPECT_EQ(ask(), (Ranges{{1, 1}}));
}

TEST_F(MissingPacketsTest, ARefusedPacketIsNotAskedForAgain)
{
    arrive({0, 6});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 5}}));
    missing.refuse(3, false);
    EXPECT_TRUE(missing.refused());
    now += timeout;
    EXPECT_EQ(ask(), (Ranges{{1, 2}, {4, 5}}));
    missing.refuse(1, false);
    missing.refuse(5, false);
    now += 2 * timeout;
    EXPECT_EQ(ask(), (Ranges{{2, 2}, {4, 4}}));
}

TEST_F(MissingPacketsTest, ARefusalOfAllBeforeEndsThem)
{
    arrive({0, 3, 9, 12});  // 1-2, 4-8, 10-11
    missing.refuse(5, true);
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{6, 8}, {10, 11}}));
    missing.refuse(11, true);
    EXPECT_FALSE(missing.has_gaps());
}

TEST_F(MissingPacketsTest, ARefusalOfWhatIsThereChangesNothing)
{
    arrive({0, 1, 2});
    missing.refuse(1, false);
    missing.refuse(7, false);
    EXPECT_FALSE(missing.refused());
}

TEST_F(MissingPacketsTest, APostponedGapIsAskedForLater)
{
    arrive({0, 2});
    now += delay;
    EXPECT_EQ(ask().size(), 1U);
    missing.postpone(1, now + timeout);
    now += timeout;
    EXPECT_EQ(ask(), Ranges{});
    now += timeout;
    EXPECT_EQ(ask(), (Ranges{{1, 1}}));
}

TEST_F(MissingPacketsTest, ADamagedPacketIsMissingAgain)
{
    arrive({0, 1, 2, 3});
    missing.lose(2, now);
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{2, 2}}));
    missing.lose(2, now);
    EXPECT_EQ(missing.pending(), 1U) << "it was missing already";
}

TEST_F(MissingPacketsTest, OpeningForgetsEverything)
{
    settings.maximum_resend_request_retry_by_packet = 0;
    arrive({0, 1, 4, 8});
    now += delay;
    ask();
    missing.refuse(2, false);
    now += timeout;
    ask();
    ask_for_tail(20);
    ASSERT_TRUE(missing.gave_up());
    missing.open();
    EXPECT_EQ(missing.answered(), 0U);
    EXPECT_FALSE(missing.tail_stopped_again());
    EXPECT_FALSE(missing.gave_up());
    EXPECT_FALSE(missing.has_gaps());
    EXPECT_EQ(missing.pending(), 0U);
    EXPECT_EQ(missing.next(), 0U);
    EXPECT_TRUE(missing.tail_is_open());
    EXPECT_FALSE(missing.tail_was_asked_for());
    EXPECT_TRUE(missing.may_ask_for_tail(terms()));
    EXPECT_EQ(missing.tail_due(terms()), net::Clock::time_point{});
    EXPECT_EQ(missing.arrived(0, now), Arrival::unasked);
}

}  // namespace
