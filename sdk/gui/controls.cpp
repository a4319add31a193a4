#include "sdk/gui/controls.h"

#include <algorithm>

#include "sdk/gui/common_controls.h"

namespace vex::gui {

namespace {

HWND add(HWND parent, const wchar_t* kind, unsigned id, Text words, DWORD style, DWORD extended = 0)
{
    const CommonControls controls;
    return CreateWindowExW(extended, kind, text(words), WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, parent,
                           reinterpret_cast<HMENU>(static_cast<std::uintptr_t>(id)), this_module(), nullptr);
}

}  // namespace

HWND add_label(HWND parent, unsigned id, Text words, DWORD style) { return add(parent, L"STATIC", id, words, style); }

HWND add_edit(HWND parent, unsigned id, Text name, DWORD style)
{
    // several lines are broken, one is not
    const DWORD scrolling = (style & ES_MULTILINE) != 0 ? ES_AUTOVSCROLL : ES_AUTOHSCROLL;
    const HWND edit = add(parent, L"EDIT", id, name, WS_TABSTOP | scrolling | style, WS_EX_CLIENTEDGE);
    SetWindowTextW(edit, L"");  // its window text is what is typed; the label before it is its name
    return edit;
}

HWND add_button(HWND parent, unsigned id, Text words, DWORD style)
{
    return add(parent, L"BUTTON", id, words, WS_TABSTOP | style);
}

HWND add_check(HWND parent, unsigned id, Text words)
{
    return add(parent, L"BUTTON", id, words, WS_TABSTOP | BS_AUTOCHECKBOX);
}

HWND add_choice(HWND parent, unsigned id, Text name)
{
    return add(parent, WC_COMBOBOXW, id, name, WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST);
}

HWND add_table(HWND parent, unsigned id, Text name, DWORD style)
{
    const HWND table = add(parent, WC_LISTVIEWW, id, name,
                           WS_TABSTOP | LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS | style, WS_EX_CLIENTEDGE);
    ListView_SetExtendedListViewStyle(table, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
    return table;
}

HWND add_tree(HWND parent, unsigned id, Text name)
{
    return add(parent, WC_TREEVIEWW, id, name,
               WS_TABSTOP | TVS_HASBUTTONS | TVS_LINESATROOT | TVS_SHOWSELALWAYS | TVS_FULLROWSELECT, WS_EX_CLIENTEDGE);
}

HWND add_slider(HWND parent, unsigned id, Text name)
{
    return add(parent, TRACKBAR_CLASSW, id, name, WS_TABSTOP | TBS_HORZ | TBS_NOTICKS);
}

HWND add_tabs(HWND parent, unsigned id, Text name)
{
    return add(parent, WC_TABCONTROLW, id, name, WS_TABSTOP | WS_CLIPSIBLINGS | TCS_FOCUSONBUTTONDOWN);
}

void add_column(HWND table, int index, Text title, int width)
{
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    column.pszText = const_cast<wchar_t*>(text(title));
    column.cx = width;
    column.iSubItem = index;
    ListView_InsertColumn(table, index, &column);
}

void add_entry(HWND choice, const std::string& utf8)
{
    SendMessageW(choice, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide(utf8).c_str()));
}

void add_entry(HWND choice, Text words)
{
    SendMessageW(choice, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text(words)));
}

int chosen_in(HWND choice) { return static_cast<int>(SendMessageW(choice, CB_GETCURSEL, 0, 0)); }

void choose_in(HWND choice, int index) { SendMessageW(choice, CB_SETCURSEL, static_cast<WPARAM>(index), 0); }

void copy_text(const std::string& utf8, wchar_t* out, int room)
{
    if (out == nullptr || room <= 0) {
        return;
    }
    const std::wstring letters = wide(utf8);
    const std::size_t count = std::min(letters.size(), static_cast<std::size_t>(room) - 1);
    std::copy_n(letters.begin(), count, out);
    out[count] = L'\0';
}

void set_enabled(HWND control, bool enabled, HWND next)
{
    if (!enabled && control != nullptr && GetFocus() == control) {
        SetFocus(next);  // before: some systems take the focus away from what is disabled
    }
    EnableWindow(control, enabled);
}

std::string text_of(HWND control)
{
    std::wstring letters(static_cast<std::size_t>(GetWindowTextLengthW(control)), L'\0');
    const int got = GetWindowTextW(control, letters.data(), static_cast<int>(letters.size()) + 1);
    letters.resize(static_cast<std::size_t>(std::max(got, 0)));
    return PvString(letters.c_str()).str();
}

void set_text(HWND control, const std::string& utf8)
{
    if (text_of(control) != utf8) {
        SetWindowTextW(control, wide(utf8).c_str());
    }
}

void set_text(HWND control, Text words) { set_text(control, PvString(text(words)).str()); }

Placing::~Placing()
{
    if (places_ != nullptr) {
        EndDeferWindowPos(places_);
    }
}

void Placing::put(HWND control, const RECT& place) noexcept
{
    if (control == nullptr || places_ == nullptr) {
        return;
    }
    const int width = static_cast<int>(place.right - place.left);
    const int height = static_cast<int>(place.bottom - place.top);
    const UINT shown = width > 0 && height > 0 ? SWP_SHOWWINDOW : SWP_HIDEWINDOW;
    places_ = DeferWindowPos(places_, control, nullptr, place.left, place.top, std::max(width, 0), std::max(height, 0),
                             SWP_NOZORDER | SWP_NOACTIVATE | shown);
}

RECT centred(HWND control, const RECT& place) noexcept
{
    RECT own{};
    GetWindowRect(control, &own);
    const LONG top = place.top + (place.bottom - place.top - (own.bottom - own.top)) / 2;
    return {place.left, top, place.right, top + (own.bottom - own.top)};
}

RECT cut_top(RECT& rest, int height, int gap) noexcept
{
    const RECT piece{rest.left, rest.top, rest.right, rest.top + height};
    rest.top += height + gap;
    return piece;
}

RECT cut_bottom(RECT& rest, int height, int gap) noexcept
{
    const RECT piece{rest.left, rest.bottom - height, rest.right, rest.bottom};
    rest.bottom -= height + gap;
    return piece;
}

RECT cut_left(RECT& rest, int width, int gap) noexcept
{
    const RECT piece{rest.left, rest.top, rest.left + width, rest.bottom};
    rest.left += width + gap;
    return piece;
}

RECT cut_right(RECT& rest, int width, int gap) noexcept
{
    const RECT piece{rest.right - width, rest.top, rest.right, rest.bottom};
    rest.right -= width + gap;
    return piece;
}

}  // namespace vex::gui
