#include "sdk/transmitterraw/pacer.h"

#include <gtest/gtest.h>

using namespace vex;

using namespace std::chrono_literals;
using transmitter::Pacer;

namespace {
const Pacer::time_point start{10h};
}

TEST(Pacer, WithoutBoundsNeverWaits)
{
    Pacer pacer;
    pacer.configure(0ns, 0);
    EXPECT_TRUE(pacer.unlimited());
    EXPECT_EQ(pacer.batch(start, 1500, 64), 64U);
    pacer.sent(start, 64, 64 * 1500);
    EXPECT_LE(pacer.next(), start);
}

TEST(Pacer, SpacesPacketsByTheDelay)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    EXPECT_EQ(pacer.batch(start, 1500, 64), 1U);
    pacer.sent(start, 1, 1500);
    const auto first = pacer.next();
    pacer.sent(first, 1, 1500);
    EXPECT_EQ(pacer.next() - first, 1ms);
}

TEST(Pacer, SendsPacketsTogetherThatATimerCouldNotSeparate)
{
    Pacer pacer;
    pacer.configure(10us, 0);
    EXPECT_EQ(pacer.batch(start, 1500, 64), 20U);
    EXPECT_EQ(pacer.batch(start, 1500, 8), 8U);
    // and those that are late, up to half a millisecond
    pacer.sent(start, 20, 30'000);
    EXPECT_EQ(pacer.batch(start + 200us, 1500, 200), 20U);
    EXPECT_EQ(pacer.batch(start + 600us, 1500, 200), 40U);
    EXPECT_EQ(pacer.batch(start + 1h, 1500, 200), 50U);
}

TEST(Pacer, TheSlowerBoundCounts)
{
    Pacer pacer;
    pacer.configure(1ms, 1000.0);  // 1 byte takes 1 ms
    pacer.sent(start, 1, 10);
    const auto first = pacer.next();
    pacer.sent(first, 1, 10);
    EXPECT_EQ(pacer.next() - first, 10ms);
}

TEST(Pacer, CatchesUpAfterALateWakeUpAtTwiceTheRate)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    pacer.sent(start, 1, 100);
    const auto due = pacer.next();
    pacer.sent(due + 10ms, 1, 100);  // ten late
    for (int i = 1; i <= 19; ++i) {
        const auto next = pacer.next();
        EXPECT_EQ(next, due + 9750us + i * 500us) << "250 us late is as good as in time; no two at once";
        pacer.sent(next, 1, 100);
    }
    const auto caught_up = pacer.next();
    pacer.sent(caught_up, 1, 100);
    EXPECT_EQ(pacer.next() - caught_up, 1ms);
    EXPECT_EQ(caught_up, due + 20ms) << "as if none had been late";
}

TEST(Pacer, AnHourOfSleepIsNotMadeUpFor)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    pacer.sent(start, 1, 100);
    auto now = start + 1h;
    pacer.sent(now, 1, 100);
    int early = 0;
    for (auto before = now; early < 1000; before = now, ++early) {
        now = pacer.next();
        if (now - before == 1ms) {
            break;
        }
        pacer.sent(now, 1, 100);
    }
    EXPECT_LE(early, 101) << "50 ms at twice the rate";
}

TEST(Pacer, BeingLateIsNotForgivenBetweenBlocksThatFollowAtOnce)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    pacer.sent(start, 1, 100);
    pacer.sent(start + 5ms, 1, 100);
    pacer.resume(start + 5ms);
    EXPECT_EQ(pacer.next(), start + 5250us);
    pacer.sent(start + 5250us, 1, 100);
    pacer.resume(start + 5250us);
    pacer.sent(start + 6ms, 1, 100);
    EXPECT_EQ(pacer.next(), start + 6250us) << "still catching up";
    pacer.resume(start + 7ms);
    EXPECT_EQ(pacer.next(), start + 7ms) << "a pause forgives";
    pacer.sent(start + 7ms, 1, 100);
    EXPECT_EQ(pacer.next(), start + 8ms);
}

TEST(Pacer, RestEarnsNothingAndForgivesNothing)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    pacer.sent(start, 3, 300);
    const auto due = pacer.next();
    pacer.resume(due - 1ms);
    EXPECT_EQ(pacer.next(), due) << "what was sent before still counts";
    pacer.resume(due + 1s);
    EXPECT_EQ(pacer.next(), due + 1s);
    pacer.sent(due + 1s, 1, 100);
    EXPECT_EQ(pacer.next(), due + 1s + 1ms) << "the first packets of a block keep their distance";
}

TEST(Pacer, NegativeDelaysCountAsNone)
{
    Pacer pacer;
    pacer.configure(-5ms, 0);
    EXPECT_TRUE(pacer.unlimited());
}
