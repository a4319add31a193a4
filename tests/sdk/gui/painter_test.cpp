// What the painter of every system puts into a window.
#include <gtest/gtest.h>

#include "sdk/gui/painter.h"

namespace vex::gui {
namespace {

constexpr display::Size window{600, 200};
constexpr COLORREF background = RGB(10, 200, 30);

/// Pixels to draw into.
class Canvas {
public:
    Canvas()
    {
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = window.width;
        info.bmiHeader.biHeight = -window.height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        void* pixels = nullptr;
        bitmap_ = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
        before_ = SelectObject(dc, bitmap_);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas()
    {
        SelectObject(dc, before_);
        DeleteObject(bitmap_);
        DeleteDC(dc);
    }
    [[nodiscard]] COLORREF at(int x, int y) const { return GetPixel(dc, x, y); }

    const HDC dc = CreateCompatibleDC(nullptr);

private:
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ before_ = nullptr;
};

TEST(Painter, LeavesAMarginAroundTheNote)
{
    for (const unsigned dpi : {96U, 192U}) {
        const int margin = scaled(8, dpi);
        const Canvas canvas;
        Scene scene;
        scene.background = background;
        scene.note = "x 12, y 34: 56";
        scene.dpi = dpi;
        ASSERT_TRUE(make_gdi_painter()->draw(canvas.dc, window, scene));
        const int bottom = window.height - 1;
        for (int distance = 0; distance < margin; ++distance) {
            EXPECT_EQ(canvas.at(margin, bottom - distance), background) << dpi << ": below, " << distance;
            EXPECT_EQ(canvas.at(distance, bottom - margin), background) << dpi << ": to the left, " << distance;
        }
        EXPECT_NE(canvas.at(margin, bottom - margin), background) << dpi;
    }
}

}  // namespace
}  // namespace vex::gui
