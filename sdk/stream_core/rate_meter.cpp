#include "sdk/stream_core/rate_meter.h"

#include <algorithm>
#include <chrono>

namespace vex::stream {

namespace {
constexpr net::Clock::duration period = std::chrono::seconds(1);
}

void RateMeter::add(std::uint64_t bytes, time_point now) noexcept
{
    const std::uint64_t before = count_ != 0 ? back(0).bytes : 0;
    ++count_;
    ring_[(count_ - 1) % ring_.size()] = {now, before + bytes};
    if (count_ == 1) {
        first_ = ring_[0];
    }
}

RateMeter::Rates RateMeter::between(const Arrival& from, const Arrival& to, std::uint64_t blocks) noexcept
{
    const double seconds = std::chrono::duration<double>(to.at - from.at).count();
    if (seconds <= 0) {
        return {};
    }
    return {static_cast<double>(blocks) / seconds, static_cast<double>(to.bytes - from.bytes) * 8 / seconds};
}

RateMeter::Rates RateMeter::current(time_point now) const noexcept
{
    if (count_ < 2) {
        return {};
    }
    const std::size_t most = static_cast<std::size_t>(std::min<std::uint64_t>(count_, ring_.size())) - 1;
    const Arrival& latest = back(0);
    std::size_t steps = 1;
    while (steps < most && latest.at - back(steps + 1).at <= period) {
        ++steps;
    }
    if (now - latest.at > std::max(period, 2 * (latest.at - back(1).at))) {
        return {};
    }
    return between(back(steps), latest, steps);
}

RateMeter::Rates RateMeter::average() const noexcept
{
    return count_ < 2 ? Rates{} : between(first_, back(0), count_ - 1);
}

net::Clock::duration RateMeter::sampling_time() const noexcept
{
    return count_ < 2 ? net::Clock::duration::zero() : back(0).at - first_.at;
}

}  // namespace vex::stream
