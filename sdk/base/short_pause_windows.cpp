#include "sdk/base/short_pause.h"

namespace vex {

// the shortest sleep takes a tick of the clock, a millisecond at best
bool pause_shortly(std::chrono::microseconds) noexcept { return false; }

}  // namespace vex
