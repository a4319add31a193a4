// A clock that the test moves.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "sdk/net/clock.h"

/// Thread safety: all members may be called from any thread.
class MovedClock final : public vex::net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return time_point(std::chrono::nanoseconds(at_.load())); }
    void advance(std::chrono::nanoseconds time) { at_ += time.count(); }

private:
    std::atomic<std::int64_t> at_{1'000'000'000};
};
