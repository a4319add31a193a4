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
    for (std::uint64_t Counters::*count : {&Counters::blocks_begun,
                                           &Counters::images,
                                           &Counters::stored_bytes,
                                           &Counters::packets_lost,
                                           &Counters::packets_out_of_order,
                                           &Counters::packets_resent,
                                           &Counters::statuses_unknown,
                                           &Counters::local_problems,
                                           &Counters::data_overruns,
                                           &Counters::block_ids_missing,
                                           &Counters::blocks_dropped_by_device,
                                           &Counters::restarts,
                                           &Counters::resend_requests,
                                           &Counters::resend_packets_requested,
                                           &Counters::resends_expected,
                                           &Counters::resends_expected_single,
                                           &Counters::resends_unexpected,
                                           &Counters::images_dropped,
                                           &Counters::partial_line_missing,
                                           &Counters::full_line_missing,
                                           &Counters::eof_by_line_count,
                                           &Counters::interlaced_even,
                                           &Counters::interlaced_odd}) {
        all.*count = factor * ++number;
    }
    return all;
}

TEST(CountersSince, SubtractsEveryCount)
{
    Counters now = counters(3);
    now.last_error = PvResult::MissingPackets;
    const Counters counted = now.since(counters(1));
    Counters expected = counters(2);
    expected.last_error = PvResult::MissingPackets;
    EXPECT_TRUE(counted == expected);
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
