// What the insides of all dialogs have in common.
#pragma once

#include <memory>
#include <optional>

#include "sdk/gui/calls.h"
#include "sdk/gui/content.h"
#include "sdk/gui/controls.h"
#include "sdk/gui/theme.h"

namespace vex::gui {

/// Controls in the system's colours and font, which follow the user's settings and the screen, and calls from other
/// threads.
///
/// Thread safety: calls() may be kept by any thread; the rest on the window's.
class Dialog : public Content {
public:
    [[nodiscard]] bool created(HWND window) final;
    void destroyed() noexcept final;
    [[nodiscard]] std::optional<LRESULT> message(UINT message, WPARAM wparam, LPARAM lparam) final;
    void resized(int width, int height, unsigned dpi) final;

protected:
    /// The window is there: makes the controls. False when it cannot be used without one that could not be made.
    [[nodiscard]] virtual bool make_controls(HWND window) = 0;
    /// The window has its size, its theme and its colours, and is about to be shown.
    virtual void opened() {}
    /// The window is about to go.
    virtual void closing() noexcept {}
    /// Puts the controls in their places.
    virtual void place(const RECT& inside, const Metrics& metrics) = 0;
    /// WM_COMMAND of a control: its identifier, what it tells, and itself. False for one that is not the dialog's.
    virtual bool command(unsigned id, unsigned notification, HWND control) = 0;
    /// WM_NOTIFY.
    [[nodiscard]] virtual std::optional<LRESULT> notify(NMHDR& header);
    /// Any other message.
    [[nodiscard]] virtual std::optional<LRESULT> other(UINT message, WPARAM wparam, LPARAM lparam);
    /// Controls have other fonts now, and their widths and heights may be other ones.
    virtual void restyled() {}

    [[nodiscard]] HWND window() const noexcept { return window_; }
    /// Null while there is no window.
    [[nodiscard]] const Theme* theme() const noexcept { return theme_.get(); }
    [[nodiscard]] const std::shared_ptr<Calls>& calls() const noexcept { return calls_; }
    /// Closes the window, as the user does.
    void close();
    /// Places the controls anew.
    void arrange();

private:
    [[nodiscard]] std::optional<LRESULT> told(NMHDR& header);
    /// WM_NEXTDLGCTL, which the label of a field sends when its key is pressed.
    void move_focus(WPARAM where, bool to_control);
    void restyle(unsigned dpi);

    HWND window_ = nullptr;
    std::unique_ptr<Theme> theme_;
    const std::shared_ptr<Calls> calls_ = std::make_shared<Calls>();
    int width_ = 0;
    int height_ = 0;
};

}  // namespace vex::gui
