#include <gtest/gtest.h>

#include <chrono>

#include "sdk/stream_core/counters.h"
#include "sdk/stream_core/rate_meter.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using stream::RateMeter;

TEST(RateMeter, HasNoRateBeforeTwoBlocks)
{
    RateMeter meter;
    net::Clock::time_point now{10s};
    EXPECT_EQ(meter.current(now).blocks, 0);
    meter.add(100, now);
    EXPECT_EQ(meter.current(now).blocks, 0);
    EXPECT_EQ(meter.average().bits, 0);
}

TEST(RateMeter, MeasuresTheLastSecond)
{
    RateMeter meter;
    net::Clock::time_point now{10s};
    for (int i = 0; i < 50; ++i) {
        meter.add(1000, now += 100ms);
    }
    for (int i = 0; i < 100; ++i) {
        meter.add(1000, now += 20ms);
    }
    EXPECT_NEAR(meter.current(now).blocks, 50, 0.001);
    EXPECT_NEAR(meter.current(now).bits, 50 * 8000, 0.001);
    EXPECT_NEAR(meter.average().blocks, 149 / 6.9, 0.001);
    EXPECT_EQ(meter.sampling_time(), 6900ms);
}

TEST(RateMeter, MeasuresSlowStreamsByTheirLastTwoBlocks)
{
    RateMeter meter;
    net::Clock::time_point now{10s};
    meter.add(1000, now);
    meter.add(1000, now += 4s);
    EXPECT_NEAR(meter.current(now + 3s).blocks, 0.25, 0.001);
    EXPECT_NEAR(meter.current(now + 3s).bits, 2000, 0.001);
}

TEST(RateMeter, FallsToZeroWhenTheStreamStops)
{
    RateMeter meter;
    net::Clock::time_point now{10s};
    for (int i = 0; i < 20; ++i) {
        meter.add(1000, now += 10ms);
    }
    EXPECT_GT(meter.current(now + 900ms).blocks, 0);
    EXPECT_EQ(meter.current(now + 1100ms).blocks, 0);
    EXPECT_GT(meter.average().blocks, 0);
}

TEST(RateMeter, MeasuresFastStreamsOverTheBlocksItRemembers)
{
    RateMeter meter;
    net::Clock::time_point now{10s};
    for (int i = 0; i < 10000; ++i) {
        meter.add(1000, now += 100us);
    }
    EXPECT_NEAR(meter.current(now).blocks, 10000, 0.001);
}

TEST(Counters, SinceCountsFromAnEarlierState)
{
    stream::Counters counters;
    counters.of(stream::PacketFate::stored) = 10;
    counters.of(stream::BlockFate::missing_packets) = 1;
    counters.last_error = PvResult::MissingPackets;
    stream::Counters start = counters;
    EXPECT_EQ(counters.since({}).failed_blocks(), 1U);
    EXPECT_EQ(counters.since({}).last_error, PvResult::MissingPackets);
    counters.of(stream::PacketFate::stored) = 14;
    EXPECT_EQ(counters.since(start).of(stream::PacketFate::stored), 4U);
    EXPECT_EQ(counters.since(start).failed_blocks(), 0U);
    EXPECT_EQ(counters.since(start).last_error, PvResult::OK);
}

}  // namespace
