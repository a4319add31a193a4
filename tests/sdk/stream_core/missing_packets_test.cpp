// Gaps and the tail of one block: what is asked for, when, and when it is given up.
#include "sdk/stream_core/missing_packets.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>
#include <vector>

using namespace vex;

namespace {

using namespace std::chrono_literals;
using stream::MissingPackets;
using Arrival = MissingPackets::Arrival;
using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

class MissingPacketsTest : public testing::Test {
protected:
    void arrive(std::initializer_list<std::uint32_t> ids)
    {
        for (const std::uint32_t id : ids) {
            missing.arrived(id, now);
        }
    }
    [[nodiscard]] MissingPackets::Terms terms() const
    {
        MissingPackets::Terms terms(settings);
        const std::uint64_t pending = missing.pending();
        terms.budget -= std::min(terms.budget, pending);
        terms.may_repeat = may_repeat;
        terms.answered = answered;
        return terms;
    }
    /// Takes notice of the answers so far.
    void look() { answered.look(missing.answered(), now, delay); }
    /// What is asked for at this moment.
    Ranges ask()
    {
        Ranges asked;
        MissingPackets::Terms now_terms = terms();
        given_up += missing.ask_for_gaps(now, now_terms, [&](const MissingPackets::Request& request) {
            asked.emplace_back(request.first, request.last);
            return ++requests;
        });
        return asked;
    }
    Ranges ask_for_tail(std::optional<std::uint32_t> last = std::nullopt, bool may_follow = false)
    {
        Ranges asked;
        MissingPackets::Terms now_terms = terms();
        missing.ask_for_tail(now, now_terms, {last, may_follow}, [&](const MissingPackets::Request& request) {
            asked.emplace_back(request.first, request.last);
            return ++requests;
        });
        return asked;
    }

    stream::StreamSettings settings;
    MissingPackets missing;
    net::Clock::time_point now{100s};
    bool may_repeat = true;
    MissingPackets::Answered answered;
    std::uint64_t requests = 0;
    std::uint64_t given_up = 0;
    const net::Clock::duration delay = std::chrono::microseconds(settings.resend_delay_us);
    const net::Clock::duration timeout = std::chrono::milliseconds(settings.resend_request_timeout_ms);
};

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
