#include <sys/prctl.h>
#include <time.h>

#include "sdk/net/precise_sleep.h"

namespace vex::net {

void precise_sleep(Clock::duration time) noexcept
{
    // The kernel may end an ordinary thread's sleep 50 us late, to wake several threads at once. Yielding instead of
    // sleeping would be worse: on a busy machine it costs the thread a whole turn of several milliseconds, and a thread
    // that never sleeps has to wait for its turn again and again.
    constexpr unsigned long latest_ns = 1000;
    thread_local const int told = ::prctl(PR_SET_TIMERSLACK, latest_ns, 0, 0, 0);
    static_cast<void>(told);
    if (time <= Clock::duration::zero()) {
        return;
    }
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
    const timespec left{static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
    ::nanosleep(&left, nullptr);
}

}  // namespace vex::net
