// When blocks are given up because more is sent than can be taken in.
#include "sdk/stream_core/overload_guard.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace std::chrono_literals;
using vex::stream::OverloadGuard;
using Step = OverloadGuard::Step;

namespace {

class Overload : public testing::Test {
protected:
    /// Reads as many packets as may pass unlooked at, and looks.
    Step read(bool drained = false)
    {
        now += 1ms;
        if (!guard.is_due(OverloadGuard::packets_between_looks, drained)) {
            return Step::none;
        }
        return guard.look(now, drained, dropped);
    }
    Step read_and_lose(std::uint64_t packets = 10)
    {
        dropped += packets;
        return read();
    }
    /// Loses packets until something is to be done about it; for how long.
    std::chrono::milliseconds until_shed()
    {
        for (std::chrono::milliseconds time = 0ms; time < 10s; time += 1ms) {
            if (read_and_lose() == Step::shed) {
                return time;
            }
        }
        return 10s;
    }

    OverloadGuard guard;
    OverloadGuard::time_point now{100s};
    std::uint64_t dropped = 0;
};

TEST_F(Overload, ShedsWhenPacketsAreDroppedAgainAndAgain)
{
    EXPECT_EQ(read(), Step::none);
    EXPECT_EQ(until_shed(), OverloadGuard::patience);
    EXPECT_EQ(read(), Step::none);
    EXPECT_EQ(read(true), Step::resume);
}

TEST_F(Overload, LooksOnlyNowAndThenAndOnlyWhilePacketsWait)
{
    EXPECT_FALSE(guard.is_due(OverloadGuard::packets_between_looks - 1, false));
    EXPECT_TRUE(guard.is_due(1, false));
    EXPECT_FALSE(guard.is_due(1, false));
    EXPECT_FALSE(guard.is_due(10 * OverloadGuard::packets_between_looks, true));
    EXPECT_FALSE(guard.is_due(OverloadGuard::packets_between_looks - 1, false));
}

TEST_F(Overload, DoesNothingForAStreamThatCatchesUp)
{
    for (int i = 0; i < 1000; ++i) {
        for (int k = 0; k < 90; ++k) {
            ASSERT_EQ(read_and_lose(), Step::none);
        }
        ASSERT_EQ(read(true), Step::none);
    }
}

TEST_F(Overload, DoesNothingForABufferThatOverflowedOnce)
{
    EXPECT_EQ(read_and_lose(10'000), Step::none);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(read(), Step::none);
    }
}

TEST_F(Overload, ShedsAtOnceWhileTheLatestTimeIsNotLongPast)
{
    ASSERT_EQ(until_shed(), OverloadGuard::patience);
    ASSERT_EQ(read(true), Step::resume);
    guard.resumed(now, dropped);
    EXPECT_EQ(read(), Step::none) << "nothing was lost since";
    EXPECT_EQ(read_and_lose(1), Step::shed);
    ASSERT_EQ(read(true), Step::resume);
    guard.resumed(now, dropped);
    now += OverloadGuard::alert;
    EXPECT_EQ(until_shed(), OverloadGuard::patience);
}

TEST_F(Overload, WhatWasThrownAwayMeanwhileIsNoNewLoss)
{
    ASSERT_EQ(until_shed(), OverloadGuard::patience);
    EXPECT_EQ(read_and_lose(1000), Step::none);
    ASSERT_EQ(read(true), Step::resume);
    guard.resumed(now, dropped + 500);
    dropped += 500;
    EXPECT_EQ(read(), Step::none);
    EXPECT_EQ(read(), Step::none);
}

TEST_F(Overload, GivenUpItBeginsAnew)
{
    ASSERT_EQ(until_shed(), OverloadGuard::patience);
    guard.give_up();
    EXPECT_EQ(read(true), Step::none);
    EXPECT_EQ(read(), Step::none);
    EXPECT_EQ(until_shed(), OverloadGuard::patience);
}

}  // namespace
