#include "sdk/transmitterraw/pacer.h"

#include <algorithm>

namespace vex::transmitter {

namespace {

// Packets that follow one another within this time leave together; finer spacing is beyond a scheduler.
constexpr Pacer::duration granularity = std::chrono::microseconds(200);

// Where the scheduler lets this thread run rarely, more have to leave together, or the rate would never be reached.
constexpr Pacer::duration largest_late_batch = std::chrono::microseconds(500);

// A wake-up that is no later does not hold up the packets behind: at any rate, each wake-up may be late.
constexpr Pacer::duration usual_delay = std::chrono::microseconds(250);

// Late wake-ups up to so late in all are caught up with, so that the mean rate holds.
constexpr Pacer::duration longest_debt = std::chrono::milliseconds(50);

// What comes to leave after a pause that is no shorter starts anew.
constexpr Pacer::duration pause = std::chrono::milliseconds(1);

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

std::size_t Pacer::batch(time_point now, std::size_t packet_bytes, std::size_t most) const noexcept
{
    const duration one = cost(1, packet_bytes);
    if (one <= duration::zero()) {
        return most;
    }
    const duration late = last_ == time_point{} ? duration::zero() : now - due_;
    const duration together = std::clamp(late, granularity, largest_late_batch);
    return std::clamp<std::size_t>(static_cast<std::size_t>(together / one), 1, most);
}

void Pacer::resume(time_point now) noexcept
{
    if (now - last_ >= pause) {
        due_ = std::max(due_, now);
        next_ = std::max(next_, due_);
    }
}

void Pacer::sent(time_point now, std::size_t packets, std::size_t bytes) noexcept
{
    const duration time = cost(packets, bytes);
    if (last_ == time_point{}) {
        due_ = now;
    }
    due_ = std::max(due_, now - longest_debt) + time;
    // no burst to catch up: twice the rate at most
    next_ = std::max(due_, std::max(next_, now - usual_delay) + time / 2);
    last_ = now;
}

}  // namespace vex::transmitter
