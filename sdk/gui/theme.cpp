#include "sdk/gui/theme.h"

#include <dwmapi.h>
#include <uxtheme.h>

#include <algorithm>
#include <cwchar>
#include <string>

namespace vex::gui {

namespace {

/// DWMWA_USE_IMMERSIVE_DARK_MODE, which older headers do not have.
constexpr DWORD dark_title_bar = 20;

bool has_high_contrast() noexcept
{
    HIGHCONTRASTW contrast{};
    contrast.cbSize = sizeof contrast;
    return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof contrast, &contrast, 0) &&
           (contrast.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

bool wants_dark() noexcept
{
    DWORD light = 1;
    DWORD size = sizeof light;
    RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize",
                 L"AppsUseLightTheme", RRF_RT_REG_DWORD, nullptr, &light, &size);
    return light == 0 && !has_high_contrast();
}

Colors dark_colors() noexcept
{
    Colors colors;
    colors.dark = true;
    colors.window = RGB(32, 32, 32);
    colors.text = RGB(240, 240, 240);
    colors.dimmed = RGB(150, 150, 150);
    colors.field = RGB(24, 24, 24);
    colors.field_text = RGB(240, 240, 240);
    colors.line = RGB(64, 64, 64);
    colors.accent = RGB(0, 90, 158);
    colors.accent_text = RGB(255, 255, 255);
    colors.wrong = RGB(255, 140, 120);
    colors.flash = RGB(92, 76, 16);
    return colors;
}

Colors system_colors() noexcept
{
    Colors colors;
    colors.window = GetSysColor(COLOR_BTNFACE);
    colors.text = GetSysColor(COLOR_BTNTEXT);
    colors.dimmed = has_high_contrast() ? GetSysColor(COLOR_GRAYTEXT) : RGB(109, 109, 109);
    colors.field = GetSysColor(COLOR_WINDOW);
    colors.field_text = GetSysColor(COLOR_WINDOWTEXT);
    colors.line = GetSysColor(COLOR_3DSHADOW);
    colors.accent = GetSysColor(COLOR_HIGHLIGHT);
    colors.accent_text = GetSysColor(COLOR_HIGHLIGHTTEXT);
    colors.wrong = has_high_contrast() ? colors.text : RGB(176, 0, 32);
    colors.flash = has_high_contrast() ? colors.field : RGB(255, 241, 168);
    return colors;
}

std::wstring class_of(HWND control)
{
    wchar_t name[64] = {};
    GetClassNameW(control, name, 64);
    return name;
}

}  // namespace

Theme::Theme(unsigned dpi) : dpi_(dpi), colors_(wants_dark() ? dark_colors() : system_colors())
{
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi);
    LOGFONTW facts = metrics.lfMessageFont;
    font_ = CreateFontIndirectW(&facts);
    facts.lfWeight = FW_BOLD;
    bold_font_ = CreateFontIndirectW(&facts);
    facts.lfWeight = FW_NORMAL;
    facts.lfPitchAndFamily = FIXED_PITCH | FF_MODERN;
    std::wcscpy(facts.lfFaceName, L"Consolas");
    fixed_font_ = CreateFontIndirectW(&facts);
    window_brush_ = CreateSolidBrush(colors_.window);
    field_brush_ = CreateSolidBrush(colors_.field);
}

Theme::~Theme()
{
    for (const HGDIOBJ object :
         {static_cast<HGDIOBJ>(font_), static_cast<HGDIOBJ>(bold_font_), static_cast<HGDIOBJ>(fixed_font_),
          static_cast<HGDIOBJ>(window_brush_), static_cast<HGDIOBJ>(field_brush_)}) {
        DeleteObject(object);
    }
}

void Theme::dress(HWND window) const
{
    if (!(GetWindowLongW(window, GWL_STYLE) & WS_CHILD)) {
        const BOOL dark = colors_.dark;
        DwmSetWindowAttribute(window, dark_title_bar, &dark, sizeof dark);
    }
    EnumChildWindows(window, &Theme::dress_child, reinterpret_cast<LPARAM>(this));
    InvalidateRect(window, nullptr, TRUE);
}

BOOL CALLBACK Theme::dress_child(HWND control, LPARAM theme) noexcept
{
    reinterpret_cast<const Theme*>(theme)->dress_control(control);
    return TRUE;
}

void Theme::dress_control(HWND control) const
{
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
    const std::wstring kind = class_of(control);
    SetWindowTheme(control,
                   colors_.dark ? (kind == WC_COMBOBOXW ? L"DarkMode_CFD" : L"DarkMode_Explorer")
                                : (kind == WC_LISTVIEWW || kind == WC_TREEVIEWW ? L"Explorer" : nullptr),
                   nullptr);
    if (kind == WC_LISTVIEWW) {
        dress_table(control);
    } else if (kind == WC_TREEVIEWW) {
        TreeView_SetBkColor(control, colors_.field);
        TreeView_SetTextColor(control, colors_.field_text);
        TreeView_SetLineColor(control, colors_.line);
    } else if (kind == WC_TABCONTROLW) {
        dress_tabs(control);
    }
}

/// The system has no dark tabs.
void Theme::dress_tabs(HWND tabs) const
{
    constexpr UINT_PTR id = 1;
    if (colors_.dark) {
        SetWindowSubclass(tabs, &Theme::on_tabs_message, id, reinterpret_cast<DWORD_PTR>(this));
    } else {
        RemoveWindowSubclass(tabs, &Theme::on_tabs_message, id);
    }
}

LRESULT CALLBACK Theme::on_tabs_message(HWND tabs, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR /*id*/,
                                        DWORD_PTR theme) noexcept
{
    if (message == WM_ERASEBKGND) {
        return TRUE;
    }
    if (message == WM_PAINT) {
        PAINTSTRUCT paint{};
        reinterpret_cast<const Theme*>(theme)->draw_tabs(tabs, BeginPaint(tabs, &paint));
        EndPaint(tabs, &paint);
        return 0;
    }
    return DefSubclassProc(tabs, message, wparam, lparam);
}

void Theme::draw_tabs(HWND tabs, HDC dc) const
{
    const auto brush = static_cast<HBRUSH>(GetStockObject(DC_BRUSH));
    RECT all{};
    GetClientRect(tabs, &all);
    FillRect(dc, &all, window_brush_);
    RECT page = all;
    TabCtrl_AdjustRect(tabs, FALSE, &page);
    all.top = page.top - scaled(3, dpi_);
    SetDCBrushColor(dc, colors_.line);
    FrameRect(dc, &all, brush);
    const HGDIOBJ before = SelectObject(dc, font_);
    SetBkMode(dc, TRANSPARENT);
    for (int index = 0; index < TabCtrl_GetItemCount(tabs); ++index) {
        RECT place{};
        TabCtrl_GetItemRect(tabs, index, &place);
        const bool is_chosen = index == TabCtrl_GetCurSel(tabs);
        wchar_t words[128] = {};
        TCITEMW item{};
        item.mask = TCIF_TEXT;
        item.pszText = words;
        item.cchTextMax = 128;
        SendMessageW(tabs, TCM_GETITEMW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&item));
        if (is_chosen) {
            RECT mark = place;
            mark.top = mark.bottom - scaled(3, dpi_);
            SetDCBrushColor(dc, colors_.accent);
            FillRect(dc, &mark, brush);
        }
        SetTextColor(dc, is_chosen ? colors_.text : colors_.dimmed);
        DrawTextW(dc, item.pszText, -1, &place, DT_SINGLELINE | DT_VCENTER | DT_CENTER | DT_NOPREFIX);
        if (is_chosen && GetFocus() == tabs) {
            InflateRect(&place, -scaled(3, dpi_), -scaled(3, dpi_));
            DrawFocusRect(dc, &place);
        }
    }
    SelectObject(dc, before);
}

void Theme::dress_table(HWND table) const
{
    ListView_SetBkColor(table, colors_.field);
    ListView_SetTextBkColor(table, colors_.field);
    ListView_SetTextColor(table, colors_.field_text);
    constexpr UINT_PTR id = 1;
    if (colors_.dark) {
        SetWindowSubclass(table, &Theme::on_table_message, id, reinterpret_cast<DWORD_PTR>(this));
    } else {
        RemoveWindowSubclass(table, &Theme::on_table_message, id);
    }
}

/// The heading of a table tells its table, not the window.
LRESULT CALLBACK Theme::on_table_message(HWND table, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR /*id*/,
                                         DWORD_PTR theme) noexcept
{
    if (message == WM_NOTIFY) {
        const auto& header = *reinterpret_cast<const NMHDR*>(lparam);
        if (header.code == static_cast<UINT>(NM_CUSTOMDRAW) && header.hwndFrom == ListView_GetHeader(table)) {
            return reinterpret_cast<const Theme*>(theme)->draw_header(reinterpret_cast<const NMCUSTOMDRAW&>(header));
        }
    }
    return DefSubclassProc(table, message, wparam, lparam);
}

/// The system draws what is behind the last column in its own colours.
void Theme::fill_header_end(const NMCUSTOMDRAW& drawing) const
{
    const HWND header = drawing.hdr.hwndFrom;
    const int columns = Header_GetItemCount(header);
    RECT all{};
    GetClientRect(header, &all);
    for (int column = 0; column < columns; ++column) {
        RECT place{};
        if (Header_GetItemRect(header, column, &place)) {
            all.left = std::max(all.left, place.right);
        }
    }
    if (all.left < all.right) {
        FillRect(drawing.hdc, &all, window_brush_);
    }
}

LRESULT Theme::draw_header(const NMCUSTOMDRAW& drawing) const
{
    if (drawing.dwDrawStage == CDDS_PREPAINT) {
        RECT all{};
        GetClientRect(drawing.hdr.hwndFrom, &all);
        FillRect(drawing.hdc, &all, window_brush_);
        return CDRF_NOTIFYITEMDRAW | CDRF_NOTIFYPOSTPAINT;
    }
    if (drawing.dwDrawStage == CDDS_POSTPAINT) {
        fill_header_end(drawing);
        return CDRF_DODEFAULT;
    }
    if (drawing.dwDrawStage != CDDS_ITEMPREPAINT) {
        return CDRF_DODEFAULT;
    }
    wchar_t title[64] = {};
    HDITEMW item{};
    item.mask = HDI_TEXT;
    item.pszText = title;
    item.cchTextMax = 64;
    SendMessageW(drawing.hdr.hwndFrom, HDM_GETITEMW, drawing.dwItemSpec, reinterpret_cast<LPARAM>(&item));
    RECT place = drawing.rc;
    FillRect(drawing.hdc, &place, window_brush_);
    RECT line = place;
    line.left = line.right - 1;
    SetDCBrushColor(drawing.hdc, colors_.line);
    FillRect(drawing.hdc, &line, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    place.left += scaled(6, dpi_);
    SetTextColor(drawing.hdc, colors_.text);
    SetBkMode(drawing.hdc, TRANSPARENT);
    DrawTextW(drawing.hdc, title, -1, &place, DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS | DT_NOPREFIX);
    return CDRF_SKIPDEFAULT;
}

LRESULT Theme::draw_button(const NMCUSTOMDRAW& drawing) const
{
    const HWND button = drawing.hdr.hwndFrom;
    const auto kind = GetWindowLongW(button, GWL_STYLE) & BS_TYPEMASK;
    if (!colors_.dark || (kind != BS_PUSHBUTTON && kind != BS_DEFPUSHBUTTON)) {
        return CDRF_DODEFAULT;
    }
    if (drawing.dwDrawStage != CDDS_PREERASE) {
        return CDRF_DODEFAULT;
    }
    const bool hot = (drawing.uItemState & (CDIS_HOT | CDIS_SELECTED)) != 0;
    RECT place{};
    GetClientRect(button, &place);
    SetDCBrushColor(drawing.hdc, hot ? colors_.line : colors_.window);
    FillRect(drawing.hdc, &place, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    SetDCBrushColor(drawing.hdc, kind == BS_DEFPUSHBUTTON ? colors_.accent : colors_.dimmed);
    FrameRect(drawing.hdc, &place, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    wchar_t words[128] = {};
    GetWindowTextW(button, words, 128);
    SetTextColor(drawing.hdc, IsWindowEnabled(button) ? colors_.text : colors_.dimmed);
    SetBkMode(drawing.hdc, TRANSPARENT);
    DrawTextW(drawing.hdc, words, -1, &place, DT_SINGLELINE | DT_VCENTER | DT_CENTER);
    if (drawing.uItemState & CDIS_FOCUS) {
        InflateRect(&place, -scaled(3, dpi_), -scaled(3, dpi_));
        DrawFocusRect(drawing.hdc, &place);
    }
    return CDRF_SKIPDEFAULT;
}

HBRUSH Theme::color_control(UINT message, HDC dc, HWND control) const noexcept
{
    const bool is_field = message == WM_CTLCOLOREDIT || message == WM_CTLCOLORLISTBOX;
    SetTextColor(dc, !IsWindowEnabled(control) ? colors_.dimmed : is_field ? colors_.field_text : colors_.text);
    SetBkColor(dc, is_field ? colors_.field : colors_.window);
    return is_field ? field_brush_ : window_brush_;
}

LRESULT Theme::color_row(NMLVCUSTOMDRAW& drawing, COLORREF words) const
{
    drawing.clrText = words;
    drawing.clrTextBk = colors_.field;
    if (ListView_GetItemState(drawing.nmcd.hdr.hwndFrom, static_cast<int>(drawing.nmcd.dwItemSpec), LVIS_SELECTED) !=
        0) {
        drawing.clrText = colors_.accent_text;
        drawing.clrTextBk = colors_.accent;
        drawing.nmcd.uItemState &= ~static_cast<UINT>(CDIS_SELECTED);  // whose colours are never dark
    }
    return CDRF_DODEFAULT;
}

bool Theme::is_about_colors(LPARAM lparam) noexcept
{
    const auto* const area = reinterpret_cast<const wchar_t*>(lparam);
    return area != nullptr && std::wcscmp(area, L"ImmersiveColorSet") == 0;
}

}  // namespace vex::gui
