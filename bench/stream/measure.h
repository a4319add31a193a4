// The measurements, each printing a table of its own.
#pragma once

#include <chrono>

namespace bench {

/// Processor seconds for a payload gigabyte and rates, at the pace of the slower of sender and receiver.
void measure_throughput(std::chrono::milliseconds duration);
/// What share of the blocks comes whole when more is sent than can be received.
void measure_flood(std::chrono::milliseconds duration);
/// The highest rate without loss, and `frames` at that rate.
void measure_loss_free_rate(unsigned frames);
/// What comes whole over a line that loses packets, and how often they are asked for.
void measure_resends(unsigned frames);
/// From a block's last packet to its buffer, beside a loop with a condition variable.
void measure_latency(unsigned frames);
/// Several streams in one process.
void measure_many(std::chrono::milliseconds duration);

}  // namespace bench
