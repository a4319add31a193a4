// Waiting for what another thread brings about.
#pragma once

#include <chrono>
#include <thread>

/// Whether a condition comes to hold in time.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}
