#include "sdk/control/round_trips.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

using namespace vex;

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

TEST(RoundTrips, AreNothingAtFirstAndAfterAReset)
{
    control::RoundTrips times;
    for (int round = 0; round < 2; ++round) {
        const auto all = times.summary();
        EXPECT_EQ(all.count, 0U);
        for (const nanoseconds time : {all.last, all.smallest, all.mean, all.percentile_99, all.largest}) {
            EXPECT_EQ(time, 0ns);
        }
        times.add(7ms);
        EXPECT_EQ(times.summary().percentile_99, 7ms);
        times.reset();
    }
    times.add(9ms);
    EXPECT_EQ(times.summary().smallest, 9ms);
    EXPECT_EQ(times.summary().largest, 9ms);
}

TEST(RoundTrips, TellTheLastTheExtremesAndTheMean)
{
    control::RoundTrips times;
    for (const nanoseconds time : {300ns, 100ns, 500ns}) {
        times.add(time);
    }
    const auto all = times.summary();
    EXPECT_EQ(all.count, 3U);
    EXPECT_EQ(all.last, 500ns);
    EXPECT_EQ(all.smallest, 100ns);
    EXPECT_EQ(all.mean, 300ns);
    EXPECT_EQ(all.largest, 500ns);
}

TEST(RoundTrips, TellWhat99OfAHundredDoNotExceed)
{
    control::RoundTrips times;
    for (int i = 0; i < 99; ++i) {
        times.add(100us);
    }
    times.add(20ms);
    const nanoseconds most = times.summary().percentile_99;
    EXPECT_GE(most, 100us);
    EXPECT_LE(most, 112'500ns);
    times.add(20ms);
    EXPECT_EQ(times.summary().percentile_99, 20ms);
}

TEST(RoundTrips, AreAtMostAnEighthTooLargeWhateverTheTimes)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    for (int round = 0; round < 200; ++round) {
        control::RoundTrips times;
        std::vector<std::int64_t> sorted;
        const int shift = std::uniform_int_distribution(24, 63)(random);
        const int count = std::uniform_int_distribution(1, 500)(random);
        for (int i = 0; i < count; ++i) {
            sorted.push_back(static_cast<std::int64_t>(random() >> shift));
            times.add(nanoseconds(sorted.back()));
        }
        std::sort(sorted.begin(), sorted.end());
        const std::int64_t exact = sorted[static_cast<std::size_t>(count - count / 100 - 1)];
        const std::int64_t told = times.summary().percentile_99.count();
        EXPECT_GE(told, exact) << count;
        EXPECT_LE(told, exact + exact / 8) << count;
    }
}

TEST(RoundTrips, TakeTimesOfAnyLength)
{
    control::RoundTrips times;
    times.add(nanoseconds(-1));
    times.add(std::chrono::hours(100));
    EXPECT_EQ(times.summary().smallest, 0ns);
    EXPECT_EQ(times.summary().largest, std::chrono::hours(100));
    EXPECT_GT(times.summary().percentile_99, 8min);
}

}  // namespace
