// Pauses much shorter than a system's usual ones.
#pragma once

#include <chrono>

namespace vex {

/// Lets this thread sleep for a time of microseconds, at most a little longer. False, without a pause, where the system
/// cannot sleep that shortly.
[[nodiscard]] bool pause_shortly(std::chrono::microseconds time) noexcept;

}  // namespace vex
