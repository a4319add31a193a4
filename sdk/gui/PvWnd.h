// PvWnd: what all windows of the SDK have in common.
#pragma once

#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

namespace vex::gui {
class Content;
class Frame;
}  // namespace vex::gui

/// A native window handle (HWND); null for none.
using PvWindowHandle = void*;

/// A window of its own, or a control in a window of the caller's: one of both at a time, and again after it was closed.
/// Title and position are kept while there is no window.
///
/// An object may be destroyed at any time on its window's thread, also inside a call of the window's or while it is
/// shown as a modal one; the window goes with it.
///
/// Thread safety: a window belongs to the thread that shows it, and its object to that thread as long as it is shown.
class PvWnd {
public:
    PvWnd(const PvWnd&) = delete;
    PvWnd& operator=(const PvWnd&) = delete;
    virtual ~PvWnd();

    /// The text of the title bar, and what screen readers call the window.
    [[nodiscard]] PvString GetTitle() const;
    void SetTitle(const PvString& aTitle);
    /// Null while there is no window.
    [[nodiscard]] PvWindowHandle GetHandle() const;
    /// Upper left corner and size, borders included: in pixels of the screen, for a control in those of its parent. A
    /// size of 0 or less keeps the one that it has.
    void SetPosition(int aPosX, int aPosY, int aSizeX, int aSizeY);
    /// The window's, or while there is none the one that it had or will have.
    void GetPosition(int& aPosX, int& aPosY, int& aSizeX, int& aSizeY) const;

    /// Shows the window and handles messages until it is closed; its parent, the top-level window that `aParentHwnd`
    /// stands in, takes no input meanwhile. Null for no parent. A message that asks the thread to end closes the window
    /// and goes on to the caller's own loop.
    ///
    /// OK when it was closed, Cancel when the user left a dialog without a choice. InvalidParameter for a parent that
    /// has gone or belongs to another program, StateError when it is shown already, GenericError with the system's
    /// reason when it cannot be made.
    PvResult ShowModal(PvWindowHandle aParentHwnd = nullptr);
    /// Shows the window and returns at once; it stays above its parent. Messages are handled by the caller's loop or by
    /// DoEvents. Fails as ShowModal.
    PvResult ShowModeless(PvWindowHandle aParentHwnd = nullptr);
    /// Shows the window as a control in `aHwnd`, with a control identifier; as large as that window unless a position
    /// was set. Fails as ShowModal, and with InvalidParameter for null.
    PvResult Create(PvWindowHandle aHwnd, unsigned int aId);
    /// Closes the window, and ends ShowModal; OK when there is none.
    PvResult Close();
    /// Handles the messages that wait on the calling thread, for callers that have no loop of their own.
    PvResult DoEvents();

protected:
    explicit PvWnd(std::shared_ptr<vex::gui::Content> content);

private:
    const std::shared_ptr<vex::gui::Frame> frame_;
};
