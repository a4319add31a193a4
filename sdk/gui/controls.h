// Controls in a window: made with their names, and placed.
#pragma once

#include <initializer_list>
#include <string>

#include "sdk/gui/texts.h"
#include "sdk/gui/win32.h"

namespace vex::gui {

/// A control and its identifier, which is 0 for one that nobody asks about. A control that the system refused is null,
/// and everything said to it is nothing. `name` is what screen readers call it.
[[nodiscard]] HWND add_label(HWND parent, unsigned id, Text words, DWORD style = SS_CENTERIMAGE | SS_ENDELLIPSIS);
[[nodiscard]] HWND add_edit(HWND parent, unsigned id, Text name, DWORD style = 0);
[[nodiscard]] HWND add_button(HWND parent, unsigned id, Text words, DWORD style = BS_PUSHBUTTON);
[[nodiscard]] HWND add_check(HWND parent, unsigned id, Text words);
/// A list of which one entry is shown and chosen.
[[nodiscard]] HWND add_choice(HWND parent, unsigned id, Text name);
/// A table whose rows its owner has (LVS_OWNERDATA).
[[nodiscard]] HWND add_table(HWND parent, unsigned id, Text name, DWORD style = 0);
[[nodiscard]] HWND add_tree(HWND parent, unsigned id, Text name);
[[nodiscard]] HWND add_slider(HWND parent, unsigned id, Text name);
[[nodiscard]] HWND add_tabs(HWND parent, unsigned id, Text name);

void add_column(HWND table, int index, Text title, int width);

/// Of a list of which one entry is shown: adds an entry at its end; the entry that is shown, -1 for none.
void add_entry(HWND choice, const std::string& utf8);
void add_entry(HWND choice, Text words);
[[nodiscard]] int chosen_in(HWND choice);
void choose_in(HWND choice, int index);

/// A control that is disabled while it has the focus gives it to `next`: keys would go nowhere.
void set_enabled(HWND control, bool enabled, HWND next);

[[nodiscard]] std::string text_of(HWND control);
/// Nothing for the text that it has: setting it anew would lose what the user has marked.
void set_text(HWND control, const std::string& utf8);
void set_text(HWND control, Text words);
/// For a control that asks for a text: as much of it as there is room for, with an end.
void copy_text(const std::string& utf8, wchar_t* out, int room);

/// Lengths on a screen with so many pixels to the inch.
struct Metrics {
    explicit Metrics(unsigned dpi) noexcept
        : margin(scaled(12, dpi)), gap(scaled(7, dpi)), line(scaled(24, dpi)), button(scaled(96, dpi))
    {}
    int margin;  ///< between the window's edge and what is in it
    int gap;     ///< between controls
    int line;    ///< height of a label, a button, a field
    int button;  ///< width
};

/// Moves controls, all at once at the end.
class Placing {
public:
    explicit Placing(int controls) noexcept : places_(BeginDeferWindowPos(controls)) {}
    Placing(const Placing&) = delete;
    Placing& operator=(const Placing&) = delete;
    ~Placing();

    /// A rectangle without size hides what it holds.
    void put(HWND control, const RECT& place) noexcept;

private:
    HDWP places_;
};

/// Where a control that has a height of its own, such as a choice, stands in the middle of `place`.
[[nodiscard]] RECT centred(HWND control, const RECT& place) noexcept;

/// Cuts a piece off one side of `rest`, with a gap beyond it.
[[nodiscard]] RECT cut_top(RECT& rest, int height, int gap) noexcept;
[[nodiscard]] RECT cut_bottom(RECT& rest, int height, int gap) noexcept;
[[nodiscard]] RECT cut_left(RECT& rest, int width, int gap) noexcept;
[[nodiscard]] RECT cut_right(RECT& rest, int width, int gap) noexcept;

}  // namespace vex::gui
