// A bounded wait, as the system's poll calls want it told. Only for this folder.
#pragma once

#include <algorithm>
#include <chrono>

namespace vex::net {

/// The end of a wait of `timeout` from now. Negative timeouts count as 0; very long ones are cut to a year, so that no
/// caller's "forever" overflows the clock.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds timeout) noexcept
        : at_(std::chrono::steady_clock::now() +
              std::clamp(timeout, std::chrono::milliseconds(0), std::chrono::milliseconds(std::chrono::years(1))))
    {}

    /// What is left of such a wait when it begins.
    [[nodiscard]] static int whole_ms(std::chrono::milliseconds timeout) noexcept
    {
        return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, longest_ms));
    }

    /// Milliseconds left, rounded up so that a wait never ends early and then spins; 0 when it is over. At most a day:
    /// who waits longer asks again.
    [[nodiscard]] int remaining_ms() const noexcept
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(at_ - std::chrono::steady_clock::now());
        return whole_ms(left);
    }

private:
    static constexpr std::chrono::milliseconds::rep longest_ms = 24 * 3600 * 1000;

    std::chrono::steady_clock::time_point at_;
};

}  // namespace vex::net
