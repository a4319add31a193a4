#include "sdk/transmitterraw/transmission_meter.h"

#include <chrono>

namespace vex::transmitter {

namespace {

float per_second(double amount, net::Clock::duration time)
{
    const double seconds = std::chrono::duration<double>(time).count();
    return seconds > 0 ? static_cast<float>(amount / seconds) : 0.0F;
}

constexpr double megabits(std::uint64_t bytes) { return static_cast<double>(bytes) * 8.0 / 1e6; }

}  // namespace

void TransmissionMeter::start(time_point now) noexcept
{
    *this = {};
    started_ = now;
}

void TransmissionMeter::reset(time_point now) noexcept
{
    const bool runs = started_ != time_point{} && ended_ == time_point{};
    *this = {};
    if (runs) {
        started_ = now;
    }
}

void TransmissionMeter::block_sent(time_point now, std::uint64_t bytes) noexcept
{
    if (blocks_ > 0) {
        last_interval_ = now - last_;
    }
    ++blocks_;
    bytes_ += bytes;
    last_ = now;
    last_bytes_ = bytes;
}

TransmissionMeter::duration TransmissionMeter::sampling_time(time_point now) const noexcept
{
    if (started_ == time_point{}) {
        return {};
    }
    return (ended_ != time_point{} ? ended_ : now) - started_;
}

float TransmissionMeter::average_megabits(time_point now) const noexcept
{
    return per_second(megabits(bytes_), sampling_time(now));
}

float TransmissionMeter::instantaneous_megabits() const noexcept
{
    return per_second(megabits(last_bytes_), last_interval_);
}

float TransmissionMeter::average_rate(time_point now) const noexcept
{
    return per_second(static_cast<double>(blocks_), sampling_time(now));
}

float TransmissionMeter::instantaneous_rate() const noexcept { return per_second(1.0, last_interval_); }

}  // namespace vex::transmitter
