// The tail of one block, and what the order of answers tells of requests.
#include "tests/sdk/stream_core/missing_packets_fixture.h"

using namespace vex;
using namespace missing_packets;

namespace {

TEST_F(MissingPacketsTest, AnAnswerThatWasOvertakenIsNotWaitedFor)
{
    arrive({0, 2, 4});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{1, 1}, {3, 3}}));
    now += 1ms;
    missing.arrived(3, now);
    look();
    EXPECT_EQ(missing.due(terms()), now + delay) << "the two may have changed places";
    EXPECT_EQ(ask(), Ranges{});
    now += delay;
    look();
    EXPECT_EQ(missing.due(terms()), now - 1ms) << "at once";
    EXPECT_EQ(ask(), (Ranges{{1, 1}}));
    EXPECT_EQ(missing.due(terms()), now + 2 * timeout) << "the new request was not overtaken";
}

TEST_F(MissingPacketsTest, AnAnswerToAnEarlierRequestOvertakesNothing)
{
    arrive({0, 2, 4});
    now += delay;
    EXPECT_EQ(ask().size(), 2U);
    missing.arrived(1, now);
    look();
    now += delay;
    look();
    EXPECT_EQ(ask(), Ranges{});
}

TEST_F(MissingPacketsTest, WhatWasAskedForTwiceMayAnswerTheFirstRequest)
{
    arrive({0, 2});
    now += delay;
    EXPECT_EQ(ask().size(), 1U);
    arrive({4});
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{3, 3}})) << "the second request";
    now += timeout - delay;
    EXPECT_EQ(ask(), (Ranges{{1, 1}})) << "the third";
    missing.arrived(1, now);
    look();
    EXPECT_EQ(missing.answered(), 1U);
    EXPECT_EQ(missing.due(terms()), now + delay) << "the second request, by time alone";
}

TEST_F(MissingPacketsTest, AnOvertakenAnswerIsAskedForAgainThoughMoreMayWaitToBeRead)
{
    arrive({0, 2, 4});
    now += delay;
    EXPECT_EQ(ask().size(), 2U);
    missing.arrived(3, now);
    look();
    now += delay;
    look();
    may_repeat = false;
    EXPECT_EQ(ask(), (Ranges{{1, 1}}));
}

TEST_F(MissingPacketsTest, TheLastRequestIsGivenTheTimeOfAnAnswer)
{
    settings.maximum_resend_request_retry_by_packet = 0;
    arrive({0, 2, 4});
    now += delay;
    EXPECT_EQ(ask().size(), 2U);
    missing.arrived(3, now);
    look();
    now += timeout - 1us;
    look();
    EXPECT_EQ(ask(), Ranges{});
    EXPECT_EQ(given_up, 0U);
    now += 1us;
    EXPECT_EQ(ask(), Ranges{});
    EXPECT_EQ(given_up, 1U);
    EXPECT_TRUE(missing.exhausted());
}

TEST_F(MissingPacketsTest, AGapInsideATailHasTheTailsRequests)
{
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9).size(), 1U);
    missing.arrived(4, now);
    EXPECT_EQ(missing.answered(), 1U);
    answered = {.settled = 2, .latest = 2};
    now += delay;
    EXPECT_EQ(ask(), (Ranges{{2, 3}}));
    missing.arrived(2, now);
    EXPECT_EQ(missing.answered(), 1U) << "it may answer the request for the tail";
}

TEST_F(MissingPacketsTest, AnOvertakenTailIsNotWaitedFor)
{
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9).size(), 1U);
    EXPECT_FALSE(missing.tail_is_overtaken(terms()));
    EXPECT_EQ(missing.tail_due(terms()), now + timeout);
    answered = {.settled = 1, .latest = 2, .since = now + 1ms};
    EXPECT_EQ(missing.tail_due(terms()), now + 1ms + delay);
    answered = {.settled = 2, .latest = 2};
    EXPECT_TRUE(missing.tail_is_overtaken(terms()));
    EXPECT_EQ(missing.tail_due(terms()), now + delay);
    EXPECT_TRUE(missing.awaits_tail(now, terms()));
    EXPECT_FALSE(missing.awaits_tail(now + delay, terms()));
}

TEST_F(MissingPacketsTest, ATailThatWasAskedForTwiceMayAnswerTheFirstRequest)
{
    arrive({0, 1});
    ask_for_tail(9);
    ask_for_tail(9);
    EXPECT_EQ(missing.arrived(2, now), Arrival::asked);
    EXPECT_EQ(missing.answered(), 1U);
    ask_for_tail(9);
    EXPECT_EQ(missing.arrived(3, now), Arrival::asked);
    EXPECT_EQ(missing.answered(), 3U) << "of the rest";
}

TEST_F(MissingPacketsTest, AnswersThatComeOnAndOnOvertakeAfterTheDelay)
{
    const net::Clock::time_point start = now;
    for (std::uint64_t request = 1; answered.settled == 0; ++request) {
        answered.look(request, now, delay);
        now += delay / 10;
        ASSERT_LE(now - start, delay * 2);
    }
    EXPECT_EQ(answered.settled, 1U);
}

TEST_F(MissingPacketsTest, OpeningForgetsAnswers)
{
    arrive({0, 1});
    ask_for_tail(9, true);
    arrive({2});
    ask_for_tail(9);
    answered = {.settled = 5, .latest = 5};
    ASSERT_TRUE(missing.tail_stopped_again());
    ASSERT_EQ(missing.answered(), 1U);
    ASSERT_TRUE(missing.tail_is_overtaken(terms()));
    missing.open();
    EXPECT_FALSE(missing.tail_stopped_again());
    EXPECT_EQ(missing.answered(), 0U);
    EXPECT_FALSE(missing.tail_is_overtaken(terms()));
}

TEST_F(MissingPacketsTest, APostponedTailIsNotOvertaken)
{
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9).size(), 1U);
    missing.postpone(2, now + timeout);
    answered = {.settled = 2, .latest = 2};
    EXPECT_FALSE(missing.tail_is_overtaken(terms()));
    EXPECT_EQ(missing.tail_due(terms()), now + timeout);
}

TEST_F(MissingPacketsTest, TheTailIsAskedForUpToTheTrailer)
{
    arrive({0, 1});
    ASSERT_TRUE(missing.may_ask_for_tail(terms()));
    EXPECT_EQ(ask_for_tail(5), (Ranges{{2, 5}}));
    EXPECT_EQ(missing.pending(), 4U);
    EXPECT_EQ(missing.tail_due(terms()), now + timeout);
    EXPECT_EQ(missing.arrived(2, now), Arrival::asked);
    EXPECT_EQ(missing.arrived(3, now), Arrival::asked);
    EXPECT_EQ(missing.arrived(5, now), Arrival::asked);
    missing.close_tail();
    EXPECT_TRUE(missing.has_gaps()) << "4";
    EXPECT_EQ(missing.arrived(4, now), Arrival::asked);
    EXPECT_FALSE(missing.may_ask_for_tail(terms()));
}

TEST_F(MissingPacketsTest, ATailOfUnknownLengthIsAskedForInGroups)
{
    settings.maximum_resend_group_size = 8;
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(), (Ranges{{2, 9}}));
    EXPECT_EQ(missing.arrived(9, now), Arrival::asked);
    EXPECT_LT(missing.tail_due(terms()), now) << "no request is waited for";
    EXPECT_EQ(ask_for_tail(), (Ranges{{10, 17}}));
}

TEST_F(MissingPacketsTest, TheTailIsGivenUpAfterTheLastRepetition)
{
    settings.maximum_resend_request_retry_by_packet = 1;
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(3).size(), 1U);
    EXPECT_EQ(missing.tail_due(terms()), now + timeout);
    EXPECT_FALSE(missing.exhausted());
    EXPECT_EQ(ask_for_tail(3).size(), 1U);
    EXPECT_EQ(missing.tail_due(terms()), now + 2 * timeout);
    EXPECT_TRUE(missing.exhausted());
    EXPECT_FALSE(missing.may_ask_for_tail(terms()));
    missing.arrived(2, now);
    EXPECT_TRUE(missing.may_ask_for_tail(terms())) << "what follows may come, too";
    EXPECT_FALSE(missing.exhausted());
}

TEST_F(MissingPacketsTest, OfATailThatMayFollowOnePacketIsAskedFor)
{
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 2}}));
    EXPECT_EQ(missing.pending(), 1U);
    EXPECT_EQ(missing.tail_due(terms()), now + timeout);
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 2}})) << "again";
    EXPECT_FALSE(missing.tail_stopped_again());
    EXPECT_EQ(missing.arrived(2, now), Arrival::asked_alone);
    EXPECT_TRUE(missing.tail_stopped_again());
    EXPECT_EQ(missing.pending(), 0U);
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{3, 9}})) << "it came, and nothing after it";
    EXPECT_EQ(missing.arrived(3, now), Arrival::asked);
    EXPECT_FALSE(missing.tail_stopped_again());
}

TEST_F(MissingPacketsTest, ATailThatFollowedMayDoSoAgain)
{
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 2}}));
    arrive({2, 3});
    EXPECT_FALSE(missing.tail_stopped_again());
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{4, 4}}));
    arrive({5});
    EXPECT_FALSE(missing.tail_stopped_again()) << "another packet than the one asked for";
    EXPECT_TRUE(missing.has_gaps());
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{6, 6}}));
}

TEST_F(MissingPacketsTest, ATailThatNoLongerMayFollowIsAskedForWhole)
{
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 2}}));
    EXPECT_EQ(ask_for_tail(9, false), (Ranges{{2, 9}}));
    EXPECT_EQ(missing.arrived(2, now), Arrival::asked);
    EXPECT_FALSE(missing.tail_stopped_again()) << "all of it was asked for";
}

TEST_F(MissingPacketsTest, TheLastRequestForATailIsForAllOfIt)
{
    settings.maximum_resend_request_retry_by_packet = 2;
    arrive({0, 1});
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 2}}));
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 2}}));
    EXPECT_FALSE(missing.exhausted());
    EXPECT_EQ(ask_for_tail(9, true), (Ranges{{2, 9}}));
    EXPECT_TRUE(missing.exhausted());
}

TEST_F(MissingPacketsTest, ARefusedTailIsNotAskedForAgain)
{
    arrive({0, 1});
    missing.refuse(3, false);
    EXPECT_TRUE(missing.may_ask_for_tail(terms())) << "nobody had asked for it";
    ask_for_tail(5);
    missing.refuse(3, false);
    EXPECT_TRUE(missing.refused());
    EXPECT_FALSE(missing.may_ask_for_tail(terms()));
}

}  // namespace
