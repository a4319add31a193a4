#include <thread>

#include "sdk/net/precise_sleep.h"

namespace vex::net {

void precise_sleep(Clock::duration time) noexcept
{
    constexpr Clock::duration timer_error = std::chrono::milliseconds(2);
    if (time > timer_error) {
        std::this_thread::sleep_for(time - timer_error);
    } else {
        std::this_thread::yield();
    }
}

}  // namespace vex::net
