// Which bytes of a block have come, against a plain set of them.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "sdk/stream_core/byte_ranges.h"

using vex::stream::ByteRanges;

namespace {

std::uint64_t seed_of_this_run()
{
    if (const char* given = std::getenv("VEX_TEST_SEED")) {
        return std::strtoull(given, nullptr, 0);
    }
    return std::random_device{}();
}

}  // namespace

TEST(ByteRanges, KnowWhatASetOfBytesKnows)
{
    const std::uint64_t seed = seed_of_this_run();
    SCOPED_TRACE("VEX_TEST_SEED=" + std::to_string(seed));
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::mt19937_64 random(seed);
    for (int round = 0; round < 300; ++round) {
        ByteRanges ranges;
        std::set<std::uint64_t> bytes;
        for (int step = 0; step < 30; ++step) {
            const std::uint64_t from = random() % 60;
            const std::uint64_t length = 1 + random() % 12;
            ASSERT_TRUE(ranges.add(from, length));
            for (std::uint64_t at = from; at < from + length; ++at) {
                bytes.insert(at);
            }
            ASSERT_EQ(ranges.total(), bytes.size());
            std::uint64_t absent = 0;
            ranges.for_each_gap(70, [&](std::uint64_t low, std::uint64_t high) {
                ASSERT_LT(low, high);
                absent += high - low;
                for (std::uint64_t at = low; at < high; ++at) {
                    ASSERT_FALSE(bytes.contains(at)) << at;
                }
            });
            const std::uint64_t at = random() % 70;
            const std::uint64_t wanted = random() % 20;
            bool all = true;
            for (std::uint64_t i = at; i < at + wanted; ++i) {
                all = all && bytes.contains(i);
            }
            ASSERT_EQ(ranges.covers(at, wanted), all) << at << ' ' << wanted;
            std::uint64_t below = 0;
            for (const std::uint64_t byte : bytes) {
                below += byte < 70 ? 1 : 0;
            }
            ASSERT_EQ(absent, 70 - below);
        }
    }
}

TEST(ByteRanges, AreBounded)
{
    ByteRanges ranges;
    for (std::uint64_t i = 0; i < ByteRanges::most_ranges; ++i) {
        ASSERT_TRUE(ranges.add(i * 2, 1));
    }
    EXPECT_FALSE(ranges.add(ByteRanges::most_ranges * 2, 1));
    EXPECT_EQ(ranges.total(), ByteRanges::most_ranges);
    EXPECT_TRUE(ranges.add(1, 1));
    EXPECT_TRUE(ranges.add(ByteRanges::most_ranges * 2, 1));
    ranges.clear();
    EXPECT_EQ(ranges.total(), 0U);
    EXPECT_FALSE(ranges.covers(0, 1));
}
