// The window class of all windows of this library.
#pragma once

#include "sdk/gui/win32.h"

namespace vex::gui {

/// Registered by the first call, until the library is unloaded. 0, and the system's last error, when it cannot be; a
/// later call tries again.
///
/// Thread safety: any thread.
[[nodiscard]] ATOM window_class(WNDPROC procedure) noexcept;

}  // namespace vex::gui
