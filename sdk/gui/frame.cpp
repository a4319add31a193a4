#include "sdk/gui/frame.h"

#include <new>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/gui/keyboard.h"
#include "sdk/gui/window_class.h"

namespace vex::gui {

namespace {

constexpr DWORD top_level_style = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN;
constexpr DWORD child_style = WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN | WS_CLIPSIBLINGS | WS_TABSTOP;

/// To a window of another thread, which alone can destroy it.
constexpr UINT close_message = WM_APP + 0x100;

HWND root_of(HWND window) noexcept { return window != nullptr ? GetAncestor(window, GA_ROOT) : nullptr; }

/// Windows made meanwhile see the pixels of the screen they are on, whatever the program is content with.
class ScreenPixels {
public:
    ScreenPixels() noexcept : before_(SetThreadDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2)) {}
    ScreenPixels(const ScreenPixels&) = delete;
    ScreenPixels& operator=(const ScreenPixels&) = delete;
    ~ScreenPixels()
    {
        if (before_ != nullptr) {
            SetThreadDpiAwarenessContext(before_);
        }
    }

private:
    DPI_AWARENESS_CONTEXT before_;
};

}  // namespace

Frame::Frame(std::shared_ptr<Content> content) : content_(std::move(content)), title_(content_->title()) {}

PvString Frame::title() const { return title_; }

void Frame::set_title(const PvString& title)
{
    title_ = title;
    if (window_ != nullptr) {
        SetWindowTextW(window_, title_.GetWide().c_str());
    }
}

// ---- position ----

void Frame::set_position(const RECT& position)
{
    RECT wanted = position;
    if (wanted.right <= wanted.left || wanted.bottom <= wanted.top) {
        const RECT now = this->position();
        wanted.right = wanted.left + (now.right - now.left);
        wanted.bottom = wanted.top + (now.bottom - now.top);
    }
    position_ = wanted;
    if (window_ != nullptr) {
        SetWindowPos(window_, nullptr, wanted.left, wanted.top, wanted.right - wanted.left, wanted.bottom - wanted.top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    }
}

RECT Frame::position() const
{
    if (window_ == nullptr) {
        if (position_) {
            return *position_;
        }
        const DesignSize usual = content_->usual_size();
        const unsigned dpi = GetDpiForSystem();
        return {0, 0, scaled(usual.width, dpi), scaled(usual.height, dpi)};
    }
    RECT now{};
    if (GetWindowLongW(window_, GWL_STYLE) & WS_CHILD) {
        GetWindowRect(window_, &now);
        MapWindowPoints(HWND_DESKTOP, GetParent(window_), reinterpret_cast<POINT*>(&now), 2);
    } else if (IsIconic(window_)) {
        WINDOWPLACEMENT placement{};
        placement.length = sizeof placement;
        GetWindowPlacement(window_, &placement);
        now = placement.rcNormalPosition;
    } else {
        GetWindowRect(window_, &now);
    }
    return now;
}

RECT Frame::first_position(const Making& making) const
{
    if (position_) {
        return *position_;
    }
    if (making.style & WS_CHILD) {
        RECT all{};
        GetClientRect(making.parent, &all);
        return all;
    }
    const RECT usual = position();
    return {CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT + usual.right, CW_USEDEFAULT + usual.bottom};
}

// ---- making and showing ----

PvResult Frame::check_new(HWND parent) const
{
    if (window_ != nullptr) {
        return failure(PvResult::StateError, "The window \"", title_.view(), "\" is shown already");
    }
    if (parent == nullptr) {
        return PvResult::OK;
    }
    if (!IsWindow(parent)) {
        return failure(PvResult::InvalidParameter, "The parent is no window, or has gone");
    }
    DWORD process = 0;
    GetWindowThreadProcessId(parent, &process);
    if (process != GetCurrentProcessId()) {
        return failure(PvResult::InvalidParameter, "The parent is a window of another program");
    }
    return PvResult::OK;
}

PvResult Frame::make(const Making& making)
{
    const ATOM atom = window_class(&Frame::procedure);
    if (atom == 0) {
        return system_failure("The window class cannot be registered");
    }
    const RECT at = first_position(making);
    const auto menu = reinterpret_cast<HMENU>(static_cast<std::uintptr_t>(making.id));
    const HWND window =
        CreateWindowExW(making.extended_style, MAKEINTATOM(atom), title_.GetWide().c_str(), making.style, at.left,
                        at.top, at.right - at.left, at.bottom - at.top, making.parent, menu, this_module(), this);
    if (window == nullptr) {
        return system_failure("The window cannot be made");
    }
    if (window_ == window && !is_made_) {
        DestroyWindow(window);  // the system goes on after a fault in WM_CREATE as if it had succeeded
        return failure(PvResult::GenericError, "The inside of the window cannot be made");
    }
    ++shown_;
    return PvResult::OK;
}

PvResult Frame::show_top_level(HWND parent)
{
    if (PvResult result = check_new(parent); !result.IsOK()) {
        return result;
    }
    const ScreenPixels pixels;
    Making making;
    making.parent = root_of(parent);
    making.style = top_level_style;
    making.extended_style = WS_EX_CONTROLPARENT;
    if (PvResult result = make(making); !result.IsOK()) {
        return result;
    }
    ShowWindow(window_, SW_SHOW);
    UpdateWindow(window_);
    return PvResult::OK;
}

PvResult Frame::show_modeless(HWND parent) { return show_top_level(parent); }

PvResult Frame::create_in(HWND parent, unsigned id)
{
    if (parent == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no window to create the control in");
    }
    if (PvResult result = check_new(parent); !result.IsOK()) {
        return result;
    }
    Making making;
    making.parent = parent;
    making.style = child_style;
    making.extended_style = WS_EX_CONTROLPARENT;
    making.id = id;
    const HWND focus = GetFocus();
    PvResult result = make(making);
    if (focus != nullptr && IsWindow(focus)) {
        SetFocus(focus);  // which control of the program has the keys is not for a new one to say
    }
    return result;
}

PvResult Frame::show_modal(HWND parent)
{
    const HWND root = root_of(parent);
    const HWND focus = GetFocus();
    if (PvResult result = show_top_level(parent); !result.IsOK()) {
        return result;
    }
    if (root != nullptr && IsWindowEnabled(root)) {
        disabled_ = root;
        EnableWindow(root, FALSE);
    }
    const auto self = shared_from_this();
    const auto content = content_;
    run_until_closed();
    if (focus != nullptr && IsWindow(focus)) {
        SetFocus(focus);
    }
    return content->has_choice() ? PvResult::OK : PvResult::Cancel;
}

void Frame::run_until_closed()
{
    const auto mine = shown_;
    MSG message;
    while (window_ != nullptr && shown_ == mine) {
        const BOOL got = GetMessageW(&message, nullptr, 0, 0);
        if (got == 0) {
            close();
            PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        if (got < 0) {
            close();
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void Frame::close() noexcept
{
    const HWND window = window_;
    if (window == nullptr) {
        return;
    }
    if (GetWindowThreadProcessId(window, nullptr) != GetCurrentThreadId()) {
        PostMessageW(window, close_message, 0, 0);
        return;
    }
    if (disabled_ != nullptr) {
        EnableWindow(std::exchange(disabled_, nullptr), TRUE);  // first, so that the system activates it
    }
    DestroyWindow(window);
}

// ---- messages ----

LRESULT CALLBACK Frame::procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept
{
    if (message == WM_NCCREATE) {
        auto* const frame = static_cast<Frame*>(reinterpret_cast<CREATESTRUCTW*>(lparam)->lpCreateParams);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(frame));
        frame->window_ = window;
        frame->self_ = frame->shared_from_this();
    }
    auto* const frame = reinterpret_cast<Frame*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (frame == nullptr) {
        return DefWindowProcW(window, message, wparam, lparam);
    }
    const auto held = frame->shared_from_this();
    try {
        return frame->handle(message, wparam, lparam);
    } catch (const std::bad_alloc&) {
        if (message == WM_CREATE) {
            frame->end_inside();
            return -1;
        }
        return DefWindowProcW(window, message, wparam, lparam);
    }
}

LRESULT Frame::handle(UINT message, WPARAM wparam, LPARAM lparam)
{
    const HWND window = window_;
    const auto content = content_;
    switch (message) {
    case WM_CREATE:
        is_made_ = false;
        is_begun_ = true;
        if (!content->created(window)) {
            end_inside();
            return -1;
        }
        add_to_keyboard(window, weak_from_this());
        note_size();
        is_made_ = true;
        return 0;
    case WM_SIZE: note_size(); break;
    case WM_GETMINMAXINFO: set_least_size(*reinterpret_cast<MINMAXINFO*>(lparam)); return 0;
    case WM_DPICHANGED: {
        const RECT& wanted = *reinterpret_cast<const RECT*>(lparam);
        SetWindowPos(window, nullptr, wanted.left, wanted.top, wanted.right - wanted.left, wanted.bottom - wanted.top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
        note_size();
        return 0;
    }
    case WM_COMMAND:
        if (LOWORD(wparam) == IDCANCEL && content->is_dialog() && !(GetWindowLongW(window, GWL_STYLE) & WS_CHILD)) {
            close();
            return 0;
        }
        break;
    case close_message:
    case WM_CLOSE: close(); return 0;
    case WM_DESTROY: on_destroy(); return 0;
    case WM_NCDESTROY: {
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        window_ = nullptr;
        self_.reset();
        return DefWindowProcW(window, message, wparam, lparam);
    }
    default: break;
    }
    const auto answer = content->message(message, wparam, lparam);
    return answer ? *answer : DefWindowProcW(window, message, wparam, lparam);
}

void Frame::note_size()
{
    RECT inside{};
    GetClientRect(window_, &inside);
    content_->resized(inside.right, inside.bottom, GetDpiForWindow(window_));
}

void Frame::set_least_size(MINMAXINFO& limits) const
{
    const DesignSize least = content_->least_size();
    const unsigned dpi = GetDpiForWindow(window_);
    limits.ptMinTrackSize = {scaled(least.width, dpi), scaled(least.height, dpi)};
}

void Frame::on_destroy() noexcept
{
    position_ = position();
    remove_from_keyboard(window_);
    if (disabled_ != nullptr) {
        EnableWindow(std::exchange(disabled_, nullptr), TRUE);
    }
    end_inside();
}

void Frame::end_inside() noexcept
{
    // not every system tells a window to destroy itself whose making failed
    if (std::exchange(is_begun_, false)) {
        content_->destroyed();
    }
}

bool Frame::take_key(MSG& message)
{
    const auto content = content_;
    if (content->key(message)) {
        return true;
    }
    if (window_ == nullptr || !content->is_dialog_key(message)) {
        return false;
    }
    const bool is_control = (GetWindowLongW(window_, GWL_STYLE) & WS_CHILD) != 0;
    return !(is_control && leaves_control(window_, message)) && IsDialogMessageW(window_, &message);
}

}  // namespace vex::gui
