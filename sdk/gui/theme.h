// Colours and fonts as the system has them, dark where the user chose dark.
#pragma once

#include "sdk/gui/win32.h"

namespace vex::gui {

struct Colors {
    bool dark = false;
    COLORREF window = 0;  ///< behind labels and buttons
    COLORREF text = 0;
    COLORREF dimmed = 0;  ///< text that matters less, or cannot be used
    COLORREF field = 0;   ///< behind what is listed or typed
    COLORREF field_text = 0;
    COLORREF line = 0;    ///< between parts
    COLORREF accent = 0;  ///< behind what is chosen
    COLORREF accent_text = 0;
    COLORREF wrong = 0;  ///< text that tells of a failure
    COLORREF flash = 0;  ///< behind a value that has just changed
};

/// One window's colours, fonts and brushes, on its thread. Made when the window is and again when the user changes the
/// system's colours or the window comes to a screen with other pixels.
class Theme {
public:
    explicit Theme(unsigned dpi);
    Theme(const Theme&) = delete;
    Theme& operator=(const Theme&) = delete;
    ~Theme();

    [[nodiscard]] const Colors& colors() const noexcept { return colors_; }
    [[nodiscard]] unsigned dpi() const noexcept { return dpi_; }
    /// The system's font for dialogs; lives as long as the theme.
    [[nodiscard]] HFONT font() const noexcept { return font_; }
    [[nodiscard]] HFONT bold_font() const noexcept { return bold_font_; }
    /// Every letter as wide as any other.
    [[nodiscard]] HFONT fixed_font() const noexcept { return fixed_font_; }

    /// Dresses a top-level window's title bar, and every control in `window`.
    void dress(HWND window) const;
    /// The answer to WM_CTLCOLORSTATIC, -EDIT, -LISTBOX, -BTN and -DLG.
    [[nodiscard]] HBRUSH color_control(UINT message, HDC dc, HWND control) const noexcept;
    /// Behind labels and buttons.
    [[nodiscard]] HBRUSH window_brush() const noexcept { return window_brush_; }

    /// The answer to a button's NM_CUSTOMDRAW: in the dark it is drawn here, where the system's has no dark one.
    [[nodiscard]] LRESULT draw_button(const NMCUSTOMDRAW& drawing) const;

    /// The answer to a table's NM_CUSTOMDRAW before it draws a row, whose text is to have that colour unless it is
    /// chosen.
    [[nodiscard]] LRESULT color_row(NMLVCUSTOMDRAW& drawing, COLORREF words) const;

    /// WM_SETTINGCHANGE that tells of other colours.
    [[nodiscard]] static bool is_about_colors(LPARAM lparam) noexcept;

private:
    static BOOL CALLBACK dress_child(HWND control, LPARAM theme) noexcept;
    void dress_control(HWND control) const;
    void dress_table(HWND table) const;
    void dress_tabs(HWND tabs) const;
    static LRESULT CALLBACK on_tabs_message(HWND tabs, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR id,
                                            DWORD_PTR theme) noexcept;
    void draw_tabs(HWND tabs, HDC dc) const;
    static LRESULT CALLBACK on_table_message(HWND table, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR id,
                                             DWORD_PTR theme) noexcept;
    [[nodiscard]] LRESULT draw_header(const NMCUSTOMDRAW& drawing) const;
    void fill_header_end(const NMCUSTOMDRAW& drawing) const;

    unsigned dpi_;
    Colors colors_;
    HFONT font_ = nullptr;
    HFONT bold_font_ = nullptr;
    HFONT fixed_font_ = nullptr;
    HBRUSH window_brush_ = nullptr;
    HBRUSH field_brush_ = nullptr;
};

}  // namespace vex::gui
