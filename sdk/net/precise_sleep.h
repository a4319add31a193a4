// Short sleeps, for whoever keeps times finer than a scheduler's.
#pragma once

#include "sdk/net/clock.h"

namespace vex::net {

/// Sleeps for about `time` of real time. May end too early, so the caller looks at the clock and sleeps again; ends
/// hardly too late: some 10 us on an idle Linux machine. On Windows, whose timers are coarse, the last 2 ms of a time
/// are slept in no time at all: there the thread only offers its processor to others and returns.
void precise_sleep(Clock::duration time) noexcept;

}  // namespace vex::net
