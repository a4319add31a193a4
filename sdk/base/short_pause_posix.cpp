#include <sys/prctl.h>
#include <time.h>

#include "sdk/base/short_pause.h"

namespace vex {

bool pause_shortly(std::chrono::microseconds time) noexcept
{
    // otherwise the system adds 50 us, to wake up for several reasons at once
    thread_local const bool exact = ::prctl(PR_SET_TIMERSLACK, 1000UL, 0UL, 0UL, 0UL) == 0;
    const timespec span{static_cast<time_t>(time.count() / 1'000'000),
                        static_cast<long>(time.count() % 1'000'000 * 1000)};
    return exact && ::clock_nanosleep(CLOCK_MONOTONIC, 0, &span, nullptr) == 0;
}

}  // namespace vex
