#include <algorithm>
#include <cmath>

#include "sdk/display/shrink.h"
#include "sdk/gui/painter.h"

namespace vex::gui {

namespace {

/// A device context to draw into before the window is touched, for what is drawn in layers.
class Layers {
public:
    Layers(HDC window, display::Size size)
        : window_(window), size_(size), dc_(CreateCompatibleDC(window)),
          bitmap_(CreateCompatibleBitmap(window, size.width, size.height)), before_(SelectObject(dc_, bitmap_))
    {}
    Layers(const Layers&) = delete;
    Layers& operator=(const Layers&) = delete;
    ~Layers()
    {
        BitBlt(window_, 0, 0, size_.width, size_.height, dc_, 0, 0, SRCCOPY);
        SelectObject(dc_, before_);
        DeleteObject(bitmap_);
        DeleteDC(dc_);
    }
    [[nodiscard]] HDC dc() const noexcept { return dc_; }

private:
    HDC window_;
    display::Size size_;
    HDC dc_;
    HBITMAP bitmap_;
    HGDIOBJ before_;
};

void fill(HDC dc, const RECT& area, COLORREF color)
{
    if (area.right > area.left && area.bottom > area.top) {
        const HBRUSH brush = CreateSolidBrush(color);
        FillRect(dc, &area, brush);
        DeleteObject(brush);
    }
}

bool is_dark(COLORREF color) noexcept
{
    return 77 * GetRValue(color) + 150 * GetGValue(color) + 29 * GetBValue(color) < 128 * 256;
}

/// The pixels of the image that are seen along one side, and where they begin and end in the window.
struct Seen {
    int first;
    int count;
    int begin;
    int end;
};

Seen seen(double corner, double scale, int image, int window) noexcept
{
    const int first = std::clamp(static_cast<int>(std::floor(-corner / scale)), 0, image - 1);
    const int last = std::clamp(static_cast<int>(std::ceil((window - corner) / scale)), first + 1, image);
    return {first, last - first, static_cast<int>(std::lround(corner + first * scale)),
            static_cast<int>(std::lround(corner + last * scale))};
}

class GdiPainter final : public Painter {
public:
    GdiPainter() = default;
    ~GdiPainter() override
    {
        if (font_ != nullptr) {
            DeleteObject(font_);
        }
    }

    bool draw(HDC dc, display::Size window, const Scene& scene) override
    {
        if (!scene.has_text()) {
            draw_image(dc, window, scene);
        } else {
            const Layers layers(dc, window);
            draw_image(layers.dc(), window, scene);
            draw_texts(layers.dc(), window, scene);
        }
        return true;
    }

private:
    void draw_image(HDC dc, display::Size window, const Scene& scene)
    {
        const RECT all{0, 0, window.width, window.height};
        const display::Size image = scene.picture != nullptr ? scene.picture->size() : display::Size{};
        if (image.empty()) {
            fill(dc, all, scene.background);
            return;
        }
        const auto& [corner, scale] = scene.placement;
        const Seen x = seen(corner.x, scale, image.width, window.width);
        const Seen y = seen(corner.y, scale, image.height, window.height);
        fill(dc, {0, 0, window.width, y.begin}, scene.background);
        fill(dc, {0, y.end, window.width, window.height}, scene.background);
        fill(dc, {0, y.begin, x.begin, y.end}, scene.background);
        fill(dc, {x.end, y.begin, window.width, y.end}, scene.background);

        const auto stride = static_cast<std::size_t>(scene.picture->pixels.GetImage()->GetLineStride());
        const std::uint8_t* const lines =
            scene.picture->pixels.GetDataPointer() + static_cast<std::size_t>(y.first) * stride;
        const RECT target{x.begin, y.begin, x.end, y.end};
        const display::Size source{x.count, y.count};
        const display::Size size{x.end - x.begin, y.end - y.begin};
        if (size.width <= source.width && size.height <= source.height) {
            if (!size.empty()) {
                draw_pixels(dc, target, shrinker_.shrink(lines, stride, x.first, source, size), size, 0, size);
            }
        } else {
            draw_pixels(dc, target, lines, {image.width, source.height}, x.first, source);
        }
    }

    /// Of `pixels`, whose lines are `all.width` pixels long, those from column `first` on, in so much of the window.
    static void draw_pixels(HDC dc, const RECT& target, const void* pixels, display::Size all, int first,
                            display::Size source)
    {
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = all.width;
        info.bmiHeader.biHeight = -all.height;  // from top to bottom
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        info.bmiHeader.biCompression = BI_RGB;
        SetStretchBltMode(dc, COLORONCOLOR);
        StretchDIBits(dc, static_cast<int>(target.left), static_cast<int>(target.top),
                      static_cast<int>(target.right - target.left), static_cast<int>(target.bottom - target.top), first,
                      0, source.width, source.height, pixels, &info, DIB_RGB_COLORS, SRCCOPY);
    }

    void draw_texts(HDC dc, display::Size window, const Scene& scene)
    {
        choose_font(scene.dpi);
        const HGDIOBJ before = SelectObject(dc, font_);
        SetBkMode(dc, TRANSPARENT);
        if (scene.picture != nullptr && !scene.picture->text.empty()) {
            const int margin = scaled(16, scene.dpi);
            SetTextColor(dc, is_dark(scene.background) ? RGB(255, 255, 255) : RGB(0, 0, 0));
            RECT all{margin, 0, window.width - margin, window.height};
            RECT needed = all;
            const std::wstring text = wide(scene.picture->text);
            DrawTextW(dc, text.c_str(), -1, &needed, DT_CENTER | DT_WORDBREAK | DT_NOPREFIX | DT_CALCRECT);
            all.top = std::max(0, static_cast<int>(window.height - needed.bottom) / 2);
            DrawTextW(dc, text.c_str(), -1, &all, DT_CENTER | DT_WORDBREAK | DT_NOPREFIX);
        }
        if (!scene.note.empty()) {
            draw_note(dc, window, scene);
        }
        SelectObject(dc, before);
    }

    static void draw_note(HDC dc, display::Size window, const Scene& scene)
    {
        const int edge = scaled(8, scene.dpi);  // from the window's to the strip's
        const int margin = scaled(4, scene.dpi);
        const std::wstring text = wide(scene.note);
        SIZE size{};
        GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size);
        const int bottom = window.height - edge;
        const int top = bottom - static_cast<int>(size.cy) - 2 * margin;
        fill(dc, {edge, top, edge + static_cast<int>(size.cx) + 2 * margin, bottom}, RGB(32, 32, 32));
        SetTextColor(dc, RGB(255, 255, 255));
        TextOutW(dc, edge + margin, top + margin, text.c_str(), static_cast<int>(text.size()));
    }

    void choose_font(unsigned dpi)
    {
        if (font_ != nullptr && font_dpi_ == dpi) {
            return;
        }
        NONCLIENTMETRICSW metrics{};
        metrics.cbSize = sizeof metrics;
        SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi);
        if (font_ != nullptr) {
            DeleteObject(font_);
        }
        font_ = CreateFontIndirectW(&metrics.lfMessageFont);
        font_dpi_ = dpi;
    }

    display::Shrinker shrinker_;
    HFONT font_ = nullptr;
    unsigned font_dpi_ = 0;
};

}  // namespace

std::unique_ptr<Painter> make_gdi_painter() { return std::make_unique<GdiPainter>(); }

}  // namespace vex::gui
