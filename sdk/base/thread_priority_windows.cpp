#include <windows.h>

#include "sdk/base/thread_priority.h"

namespace vex {

void favour_this_thread() noexcept { ::SetThreadPriority(::GetCurrentThread(), THREAD_PRIORITY_HIGHEST); }

}  // namespace vex
