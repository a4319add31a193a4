// Keys for windows whose message loop is the caller's, which knows nothing of dialogs.
#pragma once

#include <memory>

#include "sdk/gui/win32.h"

namespace vex::gui {

class Frame;

/// From now on the frame is asked about each key that the calling thread, which is the window's, takes from its queue
/// for this window or one in it. Where the system refuses that, keys go to the window with the focus only.
void add_to_keyboard(HWND window, std::weak_ptr<Frame> frame);
/// On the same thread. A window that was not added is nothing.
void remove_from_keyboard(HWND window) noexcept;

/// Whether a key that was pressed in a control is for the program around it: one that no label or button in the control
/// asks for, or a tab beyond its last field or before its first.
[[nodiscard]] bool leaves_control(HWND control, const MSG& message) noexcept;

}  // namespace vex::gui
