// How a browser draws a row.
#pragma once

#include <array>
#include <string>

#include "sdk/browser/browser_state.h"
#include "sdk/browser/feature_reader.h"
#include "sdk/gui/theme.h"
#include "sdk/gui/win32.h"

namespace vex::gui {

/// Everything that is seen of one row.
struct BrowserRow {
    const browser::Row* row = nullptr;
    const browser::Reading* reading = nullptr;  ///< null for a category, and for what was not read yet
    std::array<std::string, browser::column_count> cells{};
    std::array<RECT, browser::column_count> places{};
    bool is_chosen = false;
    bool flashes = false;
};

/// Where a category's sign for open and closed is, in the place of its name.
[[nodiscard]] RECT expander_of(const RECT& place, int depth, unsigned dpi) noexcept;

void draw_browser_row(HDC dc, const BrowserRow& row, const Theme& theme);

}  // namespace vex::gui
