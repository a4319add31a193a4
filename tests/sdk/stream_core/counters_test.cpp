// Counting since a reset.
#include "sdk/stream_core/counters.h"

#include <gtest/gtest.h>

using namespace vex;

namespace {

using stream::BlockFate;
using stream::Counters;

/// Every count is `factor` times a number of its own.
Counters counters(std::uint64_t factor)
{
    Counters all;
    std::uint64_t number = 0;
    for (std::uint64_t& count : all.packets) {
        count = factor * ++number;
    }
    for (std::uint64_t& count : all.blocks) {
        count = factor * ++number;
    }
    for (std::uint64_t Counters::*count :
         {&Counters::blocks_begun, &Counters::images, &Counters::stored_bytes, &Counters::packets_lost,
          &Counters::packets_out_of_order, &Counters::packets_resent, &Counters::data_overruns,
          &Counters::partial_line_missing, &Counters::full_line_missing, &Counters::block_ids_missing,
          &Counters::restarts}) {
        all.*count = factor * ++number;
    }
    return all;
}

TEST(CountersSince, SubtractsEveryCount)
{
    Counters now = counters(3);
    now.last_error = PvResult::MissingPackets;
    const Counters counted = now.since(counters(1));
    const Counters expected = counters(2);
    EXPECT_EQ(counted.packets, expected.packets);
    EXPECT_EQ(counted.blocks, expected.blocks);
    EXPECT_EQ(counted.blocks_begun, expected.blocks_begun);
    EXPECT_EQ(counted.images, expected.images);
    EXPECT_EQ(counted.stored_bytes, expected.stored_bytes);
    EXPECT_EQ(counted.packets_lost, expected.packets_lost);
    EXPECT_EQ(counted.packets_out_of_order, expected.packets_out_of_order);
    EXPECT_EQ(counted.packets_resent, expected.packets_resent);
    EXPECT_EQ(counted.data_overruns, expected.data_overruns);
    EXPECT_EQ(counted.partial_line_missing, expected.partial_line_missing);
    EXPECT_EQ(counted.full_line_missing, expected.full_line_missing);
    EXPECT_EQ(counted.block_ids_missing, expected.block_ids_missing);
    EXPECT_EQ(counted.restarts, expected.restarts);
    EXPECT_EQ(counted.last_error, PvResult::MissingPackets);
}

TEST(CountersSince, TellsNoErrorFromBeforeTheStart)
{
    Counters start;
    start.of(BlockFate::missing_packets) = 1;
    start.last_error = PvResult::MissingPackets;
    Counters now = start;
    now.of(BlockFate::complete) = 5;
    now.of(BlockFate::discarded) = 1;
    EXPECT_EQ(now.since(start).failed_blocks(), 0U);
    EXPECT_EQ(now.since(start).last_error, PvResult::OK);
    now.of(BlockFate::aborted) = 1;
    now.last_error = PvResult::Aborted;
    EXPECT_EQ(now.since(start).failed_blocks(), 1U);
    EXPECT_EQ(now.since(start).last_error, PvResult::Aborted);
}

}  // namespace
