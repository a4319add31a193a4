#include "sdk/gui/device_icons.h"

namespace vex::gui {

namespace {

constexpr COLORREF clear = RGB(255, 0, 255);  // no theme has it

/// A camera from the front, `size` pixels wide and high.
void draw_camera(HDC dc, int left, int size, COLORREF body, COLORREF lens)
{
    const auto part = [&](int sixteenths) { return sixteenths * size / 16; };
    SelectObject(dc, GetStockObject(DC_PEN));
    SelectObject(dc, GetStockObject(DC_BRUSH));
    SetDCPenColor(dc, body);
    SetDCBrushColor(dc, body);
    Rectangle(dc, left + part(5), part(2), left + part(11), part(5));
    RoundRect(dc, left + part(1), part(4), left + part(15), part(14), part(3), part(3));
    SetDCPenColor(dc, lens);
    SetDCBrushColor(dc, lens);
    Ellipse(dc, left + part(5), part(6), left + part(11), part(12));
}

}  // namespace

HIMAGELIST make_device_icons(const Theme& theme)
{
    const Colors& colors = theme.colors();
    const COLORREF bodies[device_icon_count] = {colors.field_text, colors.dimmed, colors.wrong};
    const int size = MulDiv(16, static_cast<int>(theme.dpi()), 96);
    const HIMAGELIST icons = ImageList_Create(size, size, ILC_COLOR24 | ILC_MASK, device_icon_count, 1);
    const HDC screen = GetDC(nullptr);
    const HDC dc = CreateCompatibleDC(screen);
    const HBITMAP bitmap = CreateCompatibleBitmap(screen, size * device_icon_count, size);
    ReleaseDC(nullptr, screen);
    if (icons != nullptr && dc != nullptr && bitmap != nullptr) {
        const HGDIOBJ before = SelectObject(dc, bitmap);
        const RECT all{0, 0, size * device_icon_count, size};
        SetBkColor(dc, clear);
        ExtTextOutW(dc, 0, 0, ETO_OPAQUE, &all, L"", 0, nullptr);
        for (int index = 0; index < device_icon_count; ++index) {
            draw_camera(dc, index * size, size, bodies[index], colors.field);
        }
        SelectObject(dc, before);
        ImageList_AddMasked(icons, bitmap, clear);
    }
    DeleteObject(bitmap);
    DeleteDC(dc);
    return icons;
}

}  // namespace vex::gui
