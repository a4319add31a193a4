#include "sdk/control/round_trips.h"

#include <algorithm>
#include <bit>

namespace vex::control {

namespace {

using std::chrono::nanoseconds;

constexpr auto relaxed = std::memory_order_relaxed;

/// There is one writer, so that no time is lost between the two steps.
template <class Number>
void increase(std::atomic<Number>& number, Number by) noexcept
{
    number.store(number.load(relaxed) + by, relaxed);
}

}  // namespace

std::size_t RoundTrips::class_of(std::uint64_t time) noexcept
{
    if (time < classes_per_power) {
        return static_cast<std::size_t>(time);
    }
    // the three bits behind the leading one
    const auto power = static_cast<unsigned>(std::bit_width(time)) - 1;
    const std::uint64_t its_class = (power - 3) * classes_per_power + (time >> (power - 3));
    return std::min(static_cast<std::size_t>(its_class), class_count - 1);
}

std::uint64_t RoundTrips::bound_of(std::size_t its_class) noexcept
{
    if (its_class < classes_per_power) {
        return its_class;
    }
    const std::size_t shift = its_class / classes_per_power - 1;
    const std::uint64_t leading = classes_per_power + its_class % classes_per_power;
    return ((leading + 1) << shift) - 1;
}

void RoundTrips::add(nanoseconds time) noexcept
{
    const auto ticks = static_cast<std::uint64_t>(std::max<nanoseconds::rep>(time.count(), 0));
    const std::uint64_t before = count_.load(relaxed);
    last_.store(ticks, relaxed);
    smallest_.store(before == 0 ? ticks : std::min(ticks, smallest_.load(relaxed)), relaxed);
    largest_.store(std::max(ticks, largest_.load(relaxed)), relaxed);
    increase<std::uint64_t>(sum_, ticks);
    increase<std::uint32_t>(classes_[class_of(ticks)], 1);
    count_.store(before + 1, relaxed);
}

RoundTripSummary RoundTrips::summary() const noexcept
{
    RoundTripSummary all;
    all.count = count_.load(relaxed);
    if (all.count == 0) {
        return all;
    }
    all.last = nanoseconds(last_.load(relaxed));
    all.smallest = nanoseconds(smallest_.load(relaxed));
    all.largest = nanoseconds(largest_.load(relaxed));
    // the sum may have one time more
    all.mean = std::max(all.smallest, std::min(all.largest, nanoseconds(sum_.load(relaxed) / all.count)));
    const std::uint64_t wanted = all.count - all.count / 100;
    std::uint64_t seen = 0;
    std::size_t its_class = 0;
    while (its_class + 1 < class_count && (seen += classes_[its_class].load(relaxed)) < wanted) {
        ++its_class;
    }
    all.percentile_99 = std::min(nanoseconds(bound_of(its_class)), all.largest);
    return all;
}

void RoundTrips::reset() noexcept
{
    for (std::atomic<std::uint64_t>* number : {&count_, &last_, &smallest_, &largest_, &sum_}) {
        number->store(0, relaxed);
    }
    for (std::atomic<std::uint32_t>& number : classes_) {
        number.store(0, relaxed);
    }
}

}  // namespace vex::control
