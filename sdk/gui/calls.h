// From any thread to a window's own.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "sdk/gui/win32.h"

namespace vex::gui {

/// Calls that wait for a window's thread. Whoever makes calls on another thread shares this object; calls made while
/// there is no window, or after it has gone, are dropped, and those that wait when it goes are too.
///
/// Thread safety: post may be called from any thread, the rest from the window's.
class Calls {
public:
    /// What a window's content gets when calls wait; it then calls run().
    static constexpr UINT message = WM_APP + 2;

    /// False when the call was dropped.
    bool post(std::function<void()> call);
    void begin(HWND window);
    void end() noexcept;
    /// Makes the calls that waited when this was called; those that they post come later. None are made any more when
    /// one of them closes the window; what one throws passes through, and the rest is dropped.
    void run();

private:
    std::mutex mutex_;
    HWND window_ = nullptr;
    std::vector<std::function<void()>> waiting_;
};

}  // namespace vex::gui
