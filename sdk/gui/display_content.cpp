#include "sdk/gui/display_content.h"

#include <dwmapi.h>
#include <windowsx.h>

#include <chrono>
#include <cmath>
#include <utility>

#include "sdk/gui/texts.h"

namespace vex::gui {

namespace {

/// There is something to draw: posted by any thread.
constexpr UINT redraw_message = WM_APP + 1;

/// From so many window pixels for each pixel of the image on, the pixel under the pointer is told.
constexpr double telling_scale = 8;
constexpr double wheel_factor = 1.25;

/// A graphics card that takes so long, so often in a row, is none: the processor does what it should do.
constexpr std::chrono::milliseconds slow_drawing{12};
constexpr int most_slow_draws = 5;

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
    is_stale_ = true;
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

const wchar_t* DisplayContent::title() const noexcept { return text(Text::display_title); }
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
    card_.reset();
    processor_.reset();
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
        // what came when the window was about to be drawn is there already
        if (is_stale_) {
            is_redrawing_ = true;
            InvalidateRect(window_, nullptr, FALSE);
            // not later, when nothing else waits: a sender that is faster than the screen would never let it come
            UpdateWindow(window_);
            is_redrawing_ = false;
        }
        return 0;
    case WM_ERASEBKGND: return 1;
    case WM_PAINT: paint(); return 0;
    case WM_PRINTCLIENT: print(reinterpret_cast<HDC>(wparam)); return 0;
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
    const HDC dc = BeginPaint(window_, &paint);
    if (is_redrawing_) {
        is_stale_ = false;  // what comes after the picture has been taken is drawn next time
    }
    if (const display::Size size = inside(); !size.empty()) {
        const Scene scene = make_scene();
        draw(dc, size, scene);
        if (scene.picture != nullptr && scene.picture->vsync) {
            DwmFlush();
        }
    }
    EndPaint(window_, &paint);
}

void DisplayContent::print(HDC dc)
{
    if (const display::Size size = inside(); !size.empty()) {
        static_cast<void>(make_gdi_painter()->draw(dc, size, make_scene()));
    }
}

display::Size DisplayContent::inside() const
{
    RECT all{};
    GetClientRect(window_, &all);
    return {static_cast<int>(all.right), static_cast<int>(all.bottom)};
}

Scene DisplayContent::make_scene()
{
    Scene scene;
    scene.background = background_;
    scene.dpi = dpi_;
    scene.picture = pictures_.drawn();
    if (scene.picture != nullptr && !scene.picture->size().empty()) {
        view_.set_image(scene.picture->size());
        scene.placement = view_.placement();
        scene.note = pixel_text(*scene.picture);
    }
    return scene;
}

void DisplayContent::draw(HDC dc, display::Size size, const Scene& scene)
{
    // zoomed in, notes come and go with the pointer
    if (!scene.has_text() && view_.is_fitted() && !card_is_slow_) {
        if (!card_) {
            card_ = make_direct2d_painter(window_);
        }
        const auto begin = std::chrono::steady_clock::now();
        const bool drawn = card_ && card_->draw(dc, size, scene);
        // a window that is drawn for the first time loads drivers
        const bool slow = std::chrono::steady_clock::now() - begin > slow_drawing && card_draws_++ > 0;
        slow_draws_ = slow ? slow_draws_ + 1 : 0;
        card_is_slow_ = !drawn || slow_draws_ == most_slow_draws;
        if (drawn) {
            return;
        }
    }
    card_.reset();  // what it has drawn would cover the rest
    if (!processor_) {
        processor_ = make_gdi_painter();
    }
    static_cast<void>(processor_->draw(dc, size, scene));
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
        const display::Size size = inside();
        view_.show_one_to_one({size.width / 2.0, size.height / 2.0});
        redraw();
        return true;
    }
    default: return false;
    }
}

}  // namespace vex::gui
