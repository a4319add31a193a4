// Rates of blocks and bytes: of the last second, and on average.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "sdk/net/clock.h"

namespace vex::stream {

/// Not thread-safe.
class RateMeter {
public:
    using time_point = net::Clock::time_point;

    struct Rates {
        double blocks = 0;  ///< per second
        double bits = 0;    ///< per second
    };

    void add(std::uint64_t bytes, time_point now) noexcept;
    void reset() noexcept { *this = {}; }

    /// Over the blocks of the last second, or the last two blocks when they came more slowly; 0 once the stream has
    /// been quiet for longer than that.
    [[nodiscard]] Rates current(time_point now) const noexcept;
    /// From the first block to the latest.
    [[nodiscard]] Rates average() const noexcept;
    /// Time between the first and the latest block.
    [[nodiscard]] net::Clock::duration sampling_time() const noexcept;

private:
    struct Arrival {
        time_point at;
        std::uint64_t bytes = 0;  // all since the start, this block included
    };
    [[nodiscard]] static Rates between(const Arrival& from, const Arrival& to, std::uint64_t blocks) noexcept;
    [[nodiscard]] const Arrival& back(std::size_t steps) const noexcept
    {
        return ring_[(count_ - 1 - steps) % ring_.size()];
    }

    std::array<Arrival, 256> ring_{};
    std::uint64_t count_ = 0;
    Arrival first_;
};

}  // namespace vex::stream
