#include "tests/gui/layout.h"

#include <windows.h>

#include <commctrl.h>

#include <cstddef>

namespace gui_test {

namespace {

constexpr int longest_cell = 256;

std::string number_fields(const RECT& place)
{
    return std::to_string(place.left) + "\t" + std::to_string(place.top) + "\t" +
           std::to_string(place.right - place.left) + "\t" + std::to_string(place.bottom - place.top);
}

/// A rectangle of a window's inside, on the screen.
RECT on_screen(HWND window, RECT place)
{
    MapWindowPoints(window, HWND_DESKTOP, reinterpret_cast<POINT*>(&place), 2);
    return place;
}

std::wstring class_of(HWND window)
{
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    return name;
}

/// By the message, which edits answer with what is typed.
std::wstring text_of(HWND window)
{
    std::wstring text(static_cast<std::size_t>(SendMessageW(window, WM_GETTEXTLENGTH, 0, 0)), L'\0');
    const LRESULT letters = SendMessageW(window, WM_GETTEXT, text.size() + 1, reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(letters));
    return text;
}

std::wstring cell_of(HWND table, int row, int column)
{
    wchar_t words[longest_cell] = {};
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = words;
    item.cchTextMax = longest_cell;
    SendMessageW(table, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    return words;
}

void add_rows(std::string& lines, HWND table)
{
    const auto header = reinterpret_cast<HWND>(SendMessageW(table, LVM_GETHEADER, 0, 0));
    const auto columns = static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
    const auto rows = static_cast<int>(SendMessageW(table, LVM_GETITEMCOUNT, 0, 0));
    for (int row = 0; row < rows; ++row) {
        RECT place{};
        place.left = LVIR_BOUNDS;
        SendMessageW(table, LVM_GETITEMRECT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&place));
        const bool chosen = SendMessageW(table, LVM_GETITEMSTATE, static_cast<WPARAM>(row), LVIS_SELECTED) != 0;
        lines += "row\t" + number_fields(on_screen(table, place)) + (chosen ? "\t1" : "\t0");
        for (int column = 0; column < columns; ++column) {
            lines += "\t" + field(cell_of(table, row, column));
        }
        lines += "\n";
    }
}

BOOL CALLBACK add_control(HWND control, LPARAM lines_address) noexcept
{
    if (IsWindowVisible(control)) {
        auto& lines = *reinterpret_cast<std::string*>(lines_address);
        RECT place{};
        GetWindowRect(control, &place);
        const std::wstring kind = class_of(control);
        lines += "control\t" + number_fields(place) + "\t" + std::to_string(GetDlgCtrlID(control)) + "\t" +
                 field(kind) + "\t" + field(text_of(control)) + "\n";
        if (kind == WC_LISTVIEWW) {
            add_rows(lines, control);
        }
    }
    return TRUE;
}

BOOL CALLBACK add_window(HWND window, LPARAM lines_address) noexcept
{
    if (IsWindowVisible(window)) {
        auto& lines = *reinterpret_cast<std::string*>(lines_address);
        RECT frame{};
        GetWindowRect(window, &frame);
        RECT inside{};
        GetClientRect(window, &inside);
        lines += "window\t" + number_fields(frame) + "\t" + number_fields(on_screen(window, inside)) + "\t" +
                 field(class_of(window)) + "\t" + field(text_of(window)) + "\n";
        EnumChildWindows(window, &add_control, lines_address);
    }
    return TRUE;
}

}  // namespace

std::string field(const std::wstring& text)
{
    std::wstring marked;
    for (const wchar_t letter : text) {
        switch (letter) {
        case L'\r': marked += L"\\r"; break;
        case L'\n': marked += L"\\n"; break;
        case L'\t': marked += L"\\t"; break;
        case L'\\': marked += L"\\\\"; break;
        default: marked += letter;
        }
    }
    const auto letters = static_cast<int>(marked.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, marked.data(), letters, nullptr, 0, nullptr, nullptr);
    std::string made(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, marked.data(), letters, made.data(), bytes, nullptr, nullptr);
    return made;
}

std::string layout()
{
    std::string lines;
    EnumThreadWindows(GetCurrentThreadId(), &add_window, reinterpret_cast<LPARAM>(&lines));
    return lines;
}

}  // namespace gui_test
