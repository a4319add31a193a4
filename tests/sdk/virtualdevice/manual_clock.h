// A clock that stands still until a test moves it.
#pragma once

#include <atomic>

#include "sdk/net/clock.h"

class ManualClock final : public vex::net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return time_point(duration(ticks_.load())); }
    void advance(duration by) noexcept { ticks_ += by.count(); }

private:
    std::atomic<duration::rep> ticks_{duration(std::chrono::hours(1)).count()};
};
