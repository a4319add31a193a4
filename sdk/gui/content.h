// What stands inside a window.
#pragma once

#include <optional>

#include "sdk/gui/win32.h"

namespace vex::gui {

/// In pixels of a screen with 96 of them to the inch.
struct DesignSize {
    int width = 0;
    int height = 0;
};

/// The inside of one window, which comes and goes. Calls come on the window's thread.
class Content {
public:
    Content() = default;
    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;
    virtual ~Content() = default;

    [[nodiscard]] virtual const wchar_t* title() const noexcept = 0;
    [[nodiscard]] virtual DesignSize usual_size() const noexcept = 0;
    [[nodiscard]] virtual DesignSize least_size() const noexcept = 0;
    /// A dialog: Escape leaves it, and tab and the like go from control to control.
    [[nodiscard]] virtual bool is_dialog() const noexcept { return true; }
    /// Whether a key that the content has not taken may go to another control, or press one.
    [[nodiscard]] virtual bool is_dialog_key(const MSG& /*message*/) const noexcept { return is_dialog(); }

    /// The window is there, not yet shown. False when the inside cannot be made: then the window goes again.
    [[nodiscard]] virtual bool created(HWND window) = 0;
    /// The window is about to go.
    virtual void destroyed() noexcept = 0;
    /// Nothing for a message that is treated as usual.
    [[nodiscard]] virtual std::optional<LRESULT> message(UINT message, WPARAM wparam, LPARAM lparam) = 0;
    /// A key that was just taken from the queue, before any other use: true when that is all.
    [[nodiscard]] virtual bool key(const MSG& /*message*/) { return false; }
    /// The inside's new size, in pixels, and how many pixels an inch has.
    virtual void resized(int /*width*/, int /*height*/, unsigned /*dpi*/) {}
    /// The user closes the window, or Escape leaves it: whether ShowModal tells of a choice.
    [[nodiscard]] virtual bool has_choice() const noexcept { return true; }
};

}  // namespace vex::gui
