// Counts what was sent and how fast.
#pragma once

#include <cstdint>

#include "sdk/net/clock.h"

namespace vex::transmitter {

/// Averages run from start() or reset() to now, or to stop(); instantaneous values over the last two blocks. All are 0
/// while there is nothing to divide.
///
/// Thread safety: a value type without synchronisation.
class TransmissionMeter {
public:
    using time_point = net::Clock::time_point;
    using duration = net::Clock::duration;

    void start(time_point now) noexcept;
    /// Forgets what was counted; one that is stopped stays so.
    void reset(time_point now) noexcept;
    void stop(time_point now) noexcept { ended_ = now; }
    void block_sent(time_point now, std::uint64_t bytes) noexcept;

    [[nodiscard]] std::uint64_t blocks() const noexcept { return blocks_; }
    [[nodiscard]] std::uint64_t bytes() const noexcept { return bytes_; }
    [[nodiscard]] duration sampling_time(time_point now) const noexcept;
    /// Mbit/s.
    [[nodiscard]] float average_megabits(time_point now) const noexcept;
    [[nodiscard]] float instantaneous_megabits() const noexcept;
    /// Blocks per second.
    [[nodiscard]] float average_rate(time_point now) const noexcept;
    [[nodiscard]] float instantaneous_rate() const noexcept;

private:
    time_point started_{};  // the epoch while nothing is sampled
    time_point ended_{};    // the epoch while it runs
    std::uint64_t blocks_ = 0;
    std::uint64_t bytes_ = 0;
    time_point last_{};
    duration last_interval_{};
    std::uint64_t last_bytes_ = 0;
};

}  // namespace vex::transmitter
