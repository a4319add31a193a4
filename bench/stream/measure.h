// The measurements, each printing a table of its own.
#pragma once

#include <chrono>
#include <cstdint>

namespace bench {

/// Processor seconds for a payload gigabyte and rates, at the pace of the slower of sender and receiver.
void measure_throughput(std::chrono::milliseconds duration);
/// What share of the blocks comes whole when more is sent than can be received.
void measure_flood(std::chrono::milliseconds duration);
/// The highest rate without loss, each tried for `duration`.
void measure_loss_free_rate(std::chrono::milliseconds duration);
/// What is lost of `frames` small ones at that rate.
void measure_many_frames(std::chrono::milliseconds duration, std::uint64_t frames);
/// What comes whole over a line that loses packets, and how often they are asked for; the highest rate without loss is
/// searched with `duration` each.
void measure_resends(unsigned frames, std::chrono::milliseconds duration);
/// From a block's last packet to its buffer, beside a loop with a condition variable.
void measure_latency(unsigned frames);
/// Several streams in one process.
void measure_many(std::chrono::milliseconds duration);
/// Memory of the process before and after `frames` tiny ones.
void measure_memory(std::uint64_t frames);
/// System calls, allocations and changes of threads for each packet.
void measure_profile(std::chrono::milliseconds duration);

}  // namespace bench
