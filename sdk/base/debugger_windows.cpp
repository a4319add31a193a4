#include "sdk/base/debugger.h"

#include <windows.h>

namespace vex {

bool is_debugger_attached() noexcept { return ::IsDebuggerPresent() != FALSE; }

}  // namespace vex
