// Waiting for what another thread brings about.
#pragma once

#include <chrono>
#include <thread>

#include "sdk/net/clock.h"

/// Whether a condition comes to hold in time.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition)
{
    const auto end = vex::net::Clock::steady().now() + std::chrono::seconds(10);
    while (!condition()) {
        if (vex::net::Clock::steady().now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}
