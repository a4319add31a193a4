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
    EXPECT_EQ(pacer.batch(1500, 64), 64U);
    pacer.sent(start, 64, 64 * 1500);
    EXPECT_LE(pacer.next(), start);
}

TEST(Pacer, SpacesPacketsByTheDelay)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    EXPECT_EQ(pacer.batch(1500, 64), 1U);
    pacer.sent(start, 1, 1500);
    const auto first = pacer.next();
    pacer.sent(first, 1, 1500);
    EXPECT_EQ(pacer.next() - first, 1ms);
}

TEST(Pacer, SendsPacketsTogetherThatATimerCouldNotSeparate)
{
    Pacer pacer;
    pacer.configure(10us, 0);
    EXPECT_EQ(pacer.batch(1500, 64), 20U);
    EXPECT_EQ(pacer.batch(1500, 8), 8U);
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

TEST(Pacer, CatchesUpAfterALateWakeUpButNotAfterAPause)
{
    Pacer pacer;
    pacer.configure(1ms, 0);
    pacer.sent(start, 1, 100);
    const auto due = pacer.next();
    pacer.sent(due + 1ms, 1, 100);  // one late
    EXPECT_EQ(pacer.next(), due + 1ms) << "the next may leave at once";
    pacer.sent(due + 1h, 1, 100);
    EXPECT_GE(pacer.next(), due + 1h - 2ms) << "an hour's pause earns no burst";
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
