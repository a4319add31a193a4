#include "sdk/gui/dialog.h"

#include <cwchar>

namespace vex::gui {

bool Dialog::created(HWND window)
{
    window_ = window;
    calls_->begin(window);
    if (!make_controls(window)) {
        return false;
    }
    restyle(GetDpiForWindow(window));
    RECT inside{};
    GetClientRect(window, &inside);
    resized(static_cast<int>(inside.right), static_cast<int>(inside.bottom), GetDpiForWindow(window));
    opened();
    return true;
}

void Dialog::destroyed() noexcept
{
    closing();
    calls_->end();
    theme_.reset();
    window_ = nullptr;
}

void Dialog::restyle(unsigned dpi)
{
    theme_ = std::make_unique<Theme>(dpi);
    theme_->dress(window_);
    restyled();
}

void Dialog::resized(int width, int height, unsigned dpi)
{
    if (theme_ == nullptr) {
        return;  // the window is just being made
    }
    if (theme_->dpi() != dpi) {
        restyle(dpi);
    }
    width_ = width;
    height_ = height;
    arrange();
}

void Dialog::arrange()
{
    if (theme_ != nullptr && width_ > 0 && height_ > 0) {
        const Metrics metrics(theme_->dpi());
        place({metrics.margin, metrics.margin, width_ - metrics.margin, height_ - metrics.margin}, metrics);
    }
}

std::optional<LRESULT> Dialog::message(UINT message, WPARAM wparam, LPARAM lparam)
{
    switch (message) {
    case Calls::message: calls_->run(); return 0;
    case WM_COMMAND:
        return command(LOWORD(wparam), HIWORD(wparam), reinterpret_cast<HWND>(lparam)) ? std::optional<LRESULT>(0)
                                                                                       : std::nullopt;
    case WM_NEXTDLGCTL: move_focus(wparam, LOWORD(lparam) != 0); return 0;
    case WM_NOTIFY: return told(*reinterpret_cast<NMHDR*>(lparam));
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORBTN:
    case WM_CTLCOLORDLG:
        if (theme_) {
            return reinterpret_cast<LRESULT>(
                theme_->color_control(message, reinterpret_cast<HDC>(wparam), reinterpret_cast<HWND>(lparam)));
        }
        return std::nullopt;
    case WM_ERASEBKGND:
        if (theme_) {
            RECT all{};
            GetClientRect(window_, &all);
            FillRect(reinterpret_cast<HDC>(wparam), &all, theme_->window_brush());
            return 1;
        }
        return std::nullopt;
    case WM_SETTINGCHANGE:
        if (theme_ && Theme::is_about_colors(lparam)) {
            restyle(theme_->dpi());
            arrange();
        }
        return std::nullopt;
    case WM_SYSCOLORCHANGE:
        if (theme_) {
            restyle(theme_->dpi());
            arrange();
        }
        return std::nullopt;
    default: return other(message, wparam, lparam);
    }
}

void Dialog::move_focus(WPARAM where, bool to_control)
{
    const HWND next =
        to_control ? reinterpret_cast<HWND>(where) : GetNextDlgTabItem(window_, GetFocus(), where != 0 ? TRUE : FALSE);
    if (next == nullptr) {
        return;
    }
    SetFocus(next);
    if ((SendMessageW(next, WM_GETDLGCODE, 0, 0) & DLGC_HASSETSEL) != 0) {
        SendMessageW(next, EM_SETSEL, 0, -1);
    }
}

std::optional<LRESULT> Dialog::told(NMHDR& header)
{
    if (header.code == static_cast<UINT>(NM_CUSTOMDRAW) && theme_) {
        wchar_t kind[16] = {};
        GetClassNameW(header.hwndFrom, kind, 16);
        if (std::wcscmp(kind, WC_BUTTONW) == 0) {
            return theme_->draw_button(reinterpret_cast<const NMCUSTOMDRAW&>(header));
        }
    }
    return notify(header);
}

std::optional<LRESULT> Dialog::notify(NMHDR& /*header*/) { return std::nullopt; }

std::optional<LRESULT> Dialog::other(UINT /*message*/, WPARAM /*wparam*/, LPARAM /*lparam*/) { return std::nullopt; }

void Dialog::close()
{
    if (window_ != nullptr) {
        SendMessageW(window_, WM_CLOSE, 0, 0);
    }
}

}  // namespace vex::gui
