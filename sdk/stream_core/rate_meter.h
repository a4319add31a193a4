// Rates of blocks and bytes: of the last second, and on average.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "sdk/net/clock.h"

namespace vex::stream {

/// Whose clock rates go by.
enum class TimeSource : std::uint8_t {
    device,  ///< the blocks' timestamps; the host's clock tells how long their ticks are
    host,
};

/// Not thread-safe.
class RateMeter {
public:
    using time_point = net::Clock::time_point;

    struct Rates {
        double blocks = 0;  ///< per second
        double bits = 0;    ///< per second
    };

    /// `timestamp` is the device's time of the block in ticks of its own, 0 for none.
    void add(std::uint64_t bytes, time_point now, std::uint64_t timestamp = 0) noexcept;
    void reset() noexcept { *this = {}; }

    /// Over the blocks of the last second, or the last two blocks when they came more slowly; 0 once the stream has
    /// been quiet for longer than that.
    [[nodiscard]] Rates current(time_point now, TimeSource preferred = TimeSource::host) const noexcept;
    /// The device's where it is preferred and the latest two blocks had timestamps in their order.
    [[nodiscard]] TimeSource effective(TimeSource preferred) const noexcept;
    /// From the first block to the latest.
    [[nodiscard]] Rates average() const noexcept;
    /// Time between the first and the latest block.
    [[nodiscard]] net::Clock::duration sampling_time() const noexcept;

private:
    struct Arrival {
        time_point at;
        std::uint64_t bytes = 0;      // all since the start, this block included
        std::uint64_t timestamp = 0;  // of the device
    };
    [[nodiscard]] static Rates between(const Arrival& from, const Arrival& to, double seconds,
                                       std::uint64_t blocks) noexcept;
    [[nodiscard]] double seconds_per_tick() const noexcept;
    [[nodiscard]] const Arrival& back(std::size_t steps) const noexcept
    {
        return ring_[static_cast<std::size_t>((count_ - 1 - steps) % ring_.size())];
    }

    std::array<Arrival, 256> ring_{};
    std::uint64_t count_ = 0;
    Arrival first_;
    Arrival first_stamped_;      // since when all blocks had timestamps in their order
    std::uint64_t stamped_ = 0;  // blocks since then
};

}  // namespace vex::stream
