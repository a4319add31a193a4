// The clock that timeouts are measured with, replaceable in tests.
#pragma once

#include <chrono>

namespace vex::net {

/// A monotonic clock. Everything below the public SDK that waits or measures takes a reference to one, so that a test
/// can drive time itself.
///
/// Thread safety: now() may be called from any thread.
class Clock {
public:
    using duration = std::chrono::steady_clock::duration;
    using time_point = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    [[nodiscard]] virtual time_point now() const noexcept = 0;

    /// The system's monotonic clock; lives as long as the process.
    [[nodiscard]] static const Clock& steady() noexcept;
};

}  // namespace vex::net
