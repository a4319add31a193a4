#include "sdk/transmitterraw/transmission_meter.h"

#include <gtest/gtest.h>

using namespace vex;

using namespace std::chrono_literals;
using transmitter::TransmissionMeter;

namespace {
const TransmissionMeter::time_point start{5h};
}

TEST(TransmissionMeter, IsZeroUntilThereIsSomethingToDivide)
{
    TransmissionMeter meter;
    EXPECT_EQ(meter.sampling_time(start), 0ns);
    EXPECT_EQ(meter.average_rate(start), 0.0F);
    meter.start(start);
    EXPECT_EQ(meter.average_megabits(start), 0.0F);
    EXPECT_EQ(meter.instantaneous_rate(), 0.0F);
    meter.block_sent(start + 1s, 1000);
    EXPECT_EQ(meter.instantaneous_rate(), 0.0F) << "one block has no distance to another";
}

TEST(TransmissionMeter, AveragesOverTheSamplingTimeAndInstantlyOverTheLastTwoBlocks)
{
    TransmissionMeter meter;
    meter.start(start);
    meter.block_sent(start + 1s, 1'000'000);
    meter.block_sent(start + 2s, 1'000'000);
    meter.block_sent(start + 2500ms, 500'000);
    EXPECT_EQ(meter.blocks(), 3U);
    EXPECT_EQ(meter.bytes(), 2'500'000U);
    EXPECT_FLOAT_EQ(meter.average_rate(start + 5s), 0.6F);
    EXPECT_FLOAT_EQ(meter.average_megabits(start + 5s), 4.0F);
    EXPECT_FLOAT_EQ(meter.instantaneous_rate(), 2.0F);
    EXPECT_FLOAT_EQ(meter.instantaneous_megabits(), 8.0F);
}

TEST(TransmissionMeter, StopFreezesTheTime)
{
    TransmissionMeter meter;
    meter.start(start);
    meter.block_sent(start + 1s, 125'000);
    meter.stop(start + 2s);
    EXPECT_EQ(meter.sampling_time(start + 1h), 2s);
    EXPECT_FLOAT_EQ(meter.average_megabits(start + 1h), 0.5F);
    meter.reset(start + 1h);
    EXPECT_EQ(meter.sampling_time(start + 2h), 0ns) << "a stopped one stays stopped";
    EXPECT_EQ(meter.blocks(), 0U);
}

TEST(TransmissionMeter, StartForgetsTheTransmissionBefore)
{
    TransmissionMeter meter;
    meter.start(start);
    meter.block_sent(start + 1s, 125'000);
    meter.block_sent(start + 2s, 125'000);
    meter.stop(start + 3s);
    meter.start(start + 10s);
    EXPECT_EQ(meter.blocks(), 0U);
    EXPECT_EQ(meter.bytes(), 0U);
    EXPECT_EQ(meter.sampling_time(start + 12s), 2s);
    EXPECT_EQ(meter.instantaneous_rate(), 0.0F);
}

TEST(TransmissionMeter, ResetBeginsAnew)
{
    TransmissionMeter meter;
    meter.start(start);
    meter.block_sent(start + 1s, 125'000);
    meter.reset(start + 10s);
    EXPECT_EQ(meter.sampling_time(start + 12s), 2s);
    EXPECT_EQ(meter.bytes(), 0U);
}
