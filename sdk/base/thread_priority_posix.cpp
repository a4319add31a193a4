#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sdk/base/thread_priority.h"

namespace vex {

void favour_this_thread() noexcept
{
    constexpr int nice = -10;
    const auto thread = static_cast<id_t>(::syscall(SYS_gettid));
    static_cast<void>(::setpriority(PRIO_PROCESS, thread, nice));
}

}  // namespace vex
