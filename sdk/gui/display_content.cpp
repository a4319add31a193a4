#include "sdk/gui/display_content.h"

#include <dwmapi.h>
#include <windowsx.h>

#include <cmath>
#include <utility>

namespace vex::gui {

namespace {

/// There is something to draw: posted by any thread.
constexpr UINT redraw_message = WM_APP + 1;

/// From so many window pixels for each pixel of the image on, the pixel under the pointer is told.
constexpr double telling_scale = 8;
constexpr double wheel_factor = 1.25;

POINT point_of(LPARAM lparam) noexcept { return {GET_X_LPARAM(lparam), GET_Y_LPARAM(lparam)}; }

display::Point place_of(POINT point) noexcept { return {static_cast<double>(point.x), static_cast<double>(point.y)}; }

}  // namespace

// ---- from any thread ----

PvResult DisplayContent::show(const PvBuffer* buffer, bool vsync)
{
    PvResult result = pictures_.show(buffer, vsync);
    redraw();
    return result;
}

void DisplayContent::clear()
{
    pictures_.clear();
    redraw();
}

void DisplayContent::redraw() noexcept
{
    if (const HWND window = window_; window != nullptr && !told_.exchange(true)) {
        if (!PostMessageW(window, redraw_message, 0, 0)) {
            told_ = false;
        }
    }
}

// ---- on the window's ----

void DisplayContent::set_background(COLORREF color)
{
    background_ = color;
    redraw();
}

void DisplayContent::fit()
{
    view_.fit();
    redraw();
}

const wchar_t* DisplayContent::title() const noexcept { return L"Display"; }
DesignSize DisplayContent::usual_size() const noexcept { return {800, 600}; }
DesignSize DisplayContent::least_size() const noexcept { return {160, 120}; }

bool DisplayContent::created(HWND window)
{
    told_ = false;
    pointer_ = {-1, -1};
    window_ = window;
    return true;
}

void DisplayContent::destroyed() noexcept
{
    window_ = nullptr;
    painter_.reset();
    dragged_from_.reset();
}

void DisplayContent::resized(int width, int height, unsigned dpi)
{
    dpi_ = dpi;
    view_.set_window({width, height});
    if (const HWND window = window_; window != nullptr) {
        InvalidateRect(window, nullptr, FALSE);
    }
}

std::optional<LRESULT> DisplayContent::message(UINT message, WPARAM wparam, LPARAM lparam)
{
    switch (message) {
    case redraw_message:
        told_ = false;
        InvalidateRect(window_, nullptr, FALSE);
        // not later, when nothing else waits: a sender that is faster than the screen would never let it come
        UpdateWindow(window_);
        return 0;
    case WM_ERASEBKGND: return 1;
    case WM_PAINT: paint(); return 0;
    case WM_MOUSEWHEEL: wheel(wparam, lparam); return 0;
    case WM_LBUTTONDOWN: begin_drag(lparam); return 0;
    case WM_MOUSEMOVE: drag(lparam); return 0;
    case WM_LBUTTONUP:
        if (dragged_from_) {
            ReleaseCapture();
        }
        return 0;
    case WM_CAPTURECHANGED: dragged_from_.reset(); return 0;
    case WM_LBUTTONDBLCLK: fit(); return 0;
    case WM_KEYDOWN: return press(wparam) ? std::optional<LRESULT>(0) : std::nullopt;
    default: return std::nullopt;
    }
}

void DisplayContent::paint()
{
    PAINTSTRUCT paint;
    BeginPaint(window_, &paint);
    RECT inside{};
    GetClientRect(window_, &inside);
    const display::Size size{static_cast<int>(inside.right), static_cast<int>(inside.bottom)};
    if (!size.empty()) {
        Scene scene;
        scene.background = background_;
        scene.dpi = dpi_;
        scene.picture = pictures_.drawn();
        if (scene.picture != nullptr && !scene.picture->size().empty()) {
            view_.set_image(scene.picture->size());
            scene.placement = view_.placement();
            scene.note = pixel_text(*scene.picture);
        }
        if (!painter_) {
            painter_ = make_direct2d_painter(window_);
        }
        if (!painter_ || !painter_->draw(paint, size, scene)) {
            painter_ = make_gdi_painter();
            static_cast<void>(painter_->draw(paint, size, scene));
        }
        if (scene.picture != nullptr && scene.picture->vsync) {
            DwmFlush();
        }
    }
    EndPaint(window_, &paint);
}

std::string DisplayContent::pixel_text(const display::Picture& picture) const
{
    if (view_.is_fitted() || view_.placement().scale < telling_scale) {
        return {};
    }
    const auto pixel = view_.pixel_at(place_of(pointer_));
    if (!pixel) {
        return {};
    }
    const PvImage& image = *picture.pixels.GetImage();
    const std::uint8_t* const bytes = picture.pixels.GetDataPointer() +
                                      static_cast<std::size_t>(pixel->y) * image.GetLineStride() +
                                      static_cast<std::size_t>(pixel->x) * 4;
    return "x " + std::to_string(pixel->x) + "  y " + std::to_string(pixel->y) + "  R " + std::to_string(bytes[2]) +
           "  G " + std::to_string(bytes[1]) + "  B " + std::to_string(bytes[0]);
}

// ---- what the user does ----

void DisplayContent::wheel(WPARAM wparam, LPARAM lparam)
{
    POINT at = point_of(lparam);
    ScreenToClient(window_, &at);
    const double steps = static_cast<double>(GET_WHEEL_DELTA_WPARAM(wparam)) / WHEEL_DELTA;
    view_.zoom(std::pow(wheel_factor, steps), place_of(at));
    redraw();
}

void DisplayContent::begin_drag(LPARAM lparam)
{
    SetFocus(window_);
    SetCapture(window_);
    dragged_from_ = point_of(lparam);
}

void DisplayContent::drag(LPARAM lparam)
{
    pointer_ = point_of(lparam);
    if (dragged_from_) {
        view_.move(static_cast<double>(pointer_.x - dragged_from_->x),
                   static_cast<double>(pointer_.y - dragged_from_->y));
        dragged_from_ = pointer_;
    }
    if (!view_.is_fitted()) {
        redraw();
    }
}

bool DisplayContent::press(WPARAM key)
{
    switch (key) {
    case '0':
    case VK_NUMPAD0: fit(); return true;
    case '1':
    case VK_NUMPAD1: {
        RECT inside{};
        GetClientRect(window_, &inside);
        view_.show_one_to_one({inside.right / 2.0, inside.bottom / 2.0});
        redraw();
        return true;
    }
    default: return false;
    }
}

}  // namespace vex::gui
