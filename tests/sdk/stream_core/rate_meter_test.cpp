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

/// 201 blocks, 10 ms apart by the device's clock, which ticks every 8 ns; one of them is held up on its way.
RateMeter blocks_of_which_one_is_late(int late, net::Clock::time_point start, net::Clock::duration by)
{
    RateMeter meter;
    for (int i = 0; i <= 200; ++i) {
        meter.add(1000, start + i * 10ms + (i == late ? by : 0ms),
                  1'000'000 + static_cast<std::uint64_t>(i) * 1'250'000);
    }
    return meter;
}

TEST(RateMeter, GoesByTheDevicesClockWhereThatIsPreferred)
{
    const net::Clock::time_point start{10s};
    const auto now = start + 2s;
    const RateMeter meter = blocks_of_which_one_is_late(100, start, 4ms);  // where the last second begins
    EXPECT_EQ(meter.effective(stream::TimeSource::device), stream::TimeSource::device);
    EXPECT_EQ(meter.effective(stream::TimeSource::host), stream::TimeSource::host);
    EXPECT_NEAR(meter.current(now, stream::TimeSource::device).blocks, 100, 0.0001);
    EXPECT_NEAR(meter.current(now, stream::TimeSource::device).bits, 800'000, 1);
    EXPECT_NEAR(meter.current(now, stream::TimeSource::host).blocks, 100 / 0.996, 0.0001);
}

TEST(RateMeter, GoesByTheHostsClockWhenTheLatestBlocksHaveNoUsableTimestamps)
{
    const net::Clock::time_point start{10s};
    const auto device = stream::TimeSource::device;
    RateMeter meter;
    EXPECT_EQ(meter.effective(device), stream::TimeSource::host);
    meter.add(1000, start, 500);
    EXPECT_EQ(meter.effective(device), stream::TimeSource::host);
    meter.add(1000, start + 10ms, 600);
    EXPECT_EQ(meter.effective(device), device);
    meter.add(1000, start + 20ms, 0);
    EXPECT_EQ(meter.effective(device), stream::TimeSource::host);
    meter.add(1000, start + 30ms, 800);
    meter.add(1000, start + 40ms, 700);  // the device began anew
    EXPECT_EQ(meter.effective(device), stream::TimeSource::host);
    EXPECT_NEAR(meter.current(start + 40ms, device).blocks, 100, 0.001);
    meter.add(1000, start + 50ms, 800);
    EXPECT_EQ(meter.effective(device), device);
    EXPECT_NEAR(meter.current(start + 50ms, device).blocks, 100, 0.001);
    meter.reset();
    EXPECT_EQ(meter.effective(device), stream::TimeSource::host);
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
