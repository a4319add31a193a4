#include "sdk/transmitterraw/pacer.h"

#include <algorithm>

namespace vex::transmitter {

namespace {

// Packets that follow one another within this time leave together; finer spacing is beyond a scheduler.
constexpr Pacer::duration granularity = std::chrono::microseconds(200);

// After a late wake-up so much is caught up with, so that the mean rate holds; a longer pause earns no burst.
constexpr Pacer::duration longest_catch_up = std::chrono::milliseconds(2);

}  // namespace

void Pacer::configure(duration delay, double bytes_per_second) noexcept
{
    delay_ = std::max(delay, duration::zero());
    bytes_per_second_ = bytes_per_second;
}

Pacer::duration Pacer::cost(std::size_t packets, std::size_t bytes) const noexcept
{
    const duration by_delay = delay_ * static_cast<duration::rep>(packets);
    if (bytes_per_second_ <= 0) {
        return by_delay;
    }
    const std::chrono::duration<double> by_rate(static_cast<double>(bytes) / bytes_per_second_);
    return std::max(by_delay, std::chrono::duration_cast<duration>(by_rate));
}

std::size_t Pacer::batch(std::size_t packet_bytes, std::size_t most) const noexcept
{
    const duration one = cost(1, packet_bytes);
    if (one <= duration::zero()) {
        return most;
    }
    return std::clamp<std::size_t>(static_cast<std::size_t>(granularity / one), 1, most);
}

void Pacer::resume(time_point now) noexcept { next_ = std::max(next_, now); }

void Pacer::sent(time_point now, std::size_t packets, std::size_t bytes) noexcept
{
    next_ = std::max(next_, now - longest_catch_up) + cost(packets, bytes);
}

}  // namespace vex::transmitter
