#include "sdk/stream_core/rate_meter.h"

#include <algorithm>
#include <chrono>

namespace vex::stream {

namespace {
constexpr net::Clock::duration period = std::chrono::seconds(1);

double seconds_between(net::Clock::time_point from, net::Clock::time_point to) noexcept
{
    return std::chrono::duration<double>(to - from).count();
}
}  // namespace

void RateMeter::add(std::uint64_t bytes, time_point now, std::uint64_t timestamp) noexcept
{
    const Arrival before = count_ != 0 ? back(0) : Arrival{};
    ++count_;
    Arrival& added = ring_[static_cast<std::size_t>((count_ - 1) % ring_.size())];
    added = {now, before.bytes + bytes, timestamp};
    if (count_ == 1) {
        first_ = added;
    }
    if (timestamp == 0) {
        stamped_ = 0;
    } else if (stamped_ == 0 || timestamp <= before.timestamp) {
        first_stamped_ = added;
        stamped_ = 1;
    } else {
        ++stamped_;
    }
}

/// By the host's clock over the blocks with timestamps.
double RateMeter::seconds_per_tick() const noexcept
{
    return seconds_between(first_stamped_.at, back(0).at) /
           static_cast<double>(back(0).timestamp - first_stamped_.timestamp);
}

TimeSource RateMeter::effective(TimeSource preferred) const noexcept
{
    return preferred == TimeSource::device && stamped_ >= 2 ? TimeSource::device : TimeSource::host;
}

RateMeter::Rates RateMeter::between(const Arrival& from, const Arrival& to, double seconds,
                                    std::uint64_t blocks) noexcept
{
    if (seconds <= 0) {
        return {};
    }
    return {static_cast<double>(blocks) / seconds, static_cast<double>(to.bytes - from.bytes) * 8 / seconds};
}

RateMeter::Rates RateMeter::current(time_point now, TimeSource preferred) const noexcept
{
    if (count_ < 2) {
        return {};
    }
    const bool by_device = effective(preferred) == TimeSource::device;
    const std::uint64_t known = std::min<std::uint64_t>(by_device ? stamped_ : count_, ring_.size());
    const std::size_t most = static_cast<std::size_t>(known) - 1;
    const Arrival& latest = back(0);
    std::size_t steps = 1;
    while (steps < most && latest.at - back(steps + 1).at <= period) {
        ++steps;
    }
    if (now - latest.at > std::max(period, 2 * (latest.at - back(1).at))) {
        return {};
    }
    const Arrival& from = back(steps);
    const double seconds = by_device ? static_cast<double>(latest.timestamp - from.timestamp) * seconds_per_tick()
                                     : seconds_between(from.at, latest.at);
    return between(from, latest, seconds, steps);
}

RateMeter::Rates RateMeter::average() const noexcept
{
    return count_ < 2 ? Rates{} : between(first_, back(0), seconds_between(first_.at, back(0).at), count_ - 1);
}

net::Clock::duration RateMeter::sampling_time() const noexcept
{
    return count_ < 2 ? net::Clock::duration::zero() : back(0).at - first_.at;
}

}  // namespace vex::stream
