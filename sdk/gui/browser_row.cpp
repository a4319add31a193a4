#include "sdk/gui/browser_row.h"

namespace vex::gui {

namespace {

using browser::Column;

constexpr int step = 16;  // lengths of the design
constexpr int padding = 5;
constexpr int box_size = 13;

constexpr UINT usual_text = DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS | DT_NOPREFIX;

struct Painter {
    HDC dc;
    const Theme& theme;
    COLORREF text;

    [[nodiscard]] int length(int design) const noexcept { return scaled(design, theme.dpi()); }

    void fill(const RECT& place, COLORREF color) const
    {
        SetDCBrushColor(dc, color);
        FillRect(dc, &place, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    }
    void frame(const RECT& place, COLORREF color) const
    {
        SetDCBrushColor(dc, color);
        FrameRect(dc, &place, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    }
    void write(const std::string& words, RECT place, COLORREF color, UINT more = 0) const
    {
        InflateRect(&place, -length(padding), 0);
        SetTextColor(dc, color);
        SetBkMode(dc, TRANSPARENT);
        DrawTextW(dc, wide(words).c_str(), -1, &place, usual_text | more);
    }
    /// A line through points, as thick as a letter's.
    void line(const POINT* points, int count) const
    {
        const HPEN pen = CreatePen(PS_SOLID, length(2), text);
        const HGDIOBJ before = SelectObject(dc, pen);
        Polyline(dc, points, count);
        SelectObject(dc, before);
        DeleteObject(pen);
    }
};

void draw_expander(const Painter& painter, const RECT& place, bool is_expanded)
{
    const LONG x = (place.left + place.right) / 2;
    const LONG y = (place.top + place.bottom) / 2;
    const LONG wide_by = painter.length(4);
    const LONG high_by = painter.length(2);
    const POINT open[] = {{x - wide_by, y - high_by}, {x, y + high_by}, {x + wide_by, y - high_by}};
    const POINT closed[] = {{x - high_by, y - wide_by}, {x + high_by, y}, {x - high_by, y + wide_by}};
    painter.line(is_expanded ? open : closed, 3);
}

void draw_check(const Painter& painter, RECT place, bool is_on, const std::string& words)
{
    const int size = painter.length(box_size);
    const LONG left = place.left + painter.length(padding);
    const LONG top = (place.top + place.bottom - size) / 2;
    painter.frame({left, top, left + size, top + size}, painter.text);
    if (is_on) {
        const POINT tick[] = {{left + size / 5, top + size / 2},
                              {left + size * 2 / 5, top + size * 7 / 10},
                              {left + size * 4 / 5, top + size / 4}};
        painter.line(tick, 3);
    }
    place.left = left + size;
    painter.write(words, place, painter.text);
}

void draw_command(const Painter& painter, RECT place, const BrowserRow& row)
{
    InflateRect(&place, -painter.length(2), -painter.length(2));
    const Colors& colors = painter.theme.colors();
    painter.fill(place, row.reading->is_executing ? colors.flash : colors.window);
    painter.frame(place, colors.dimmed);
    const bool is_ready = GenApi::is_writable(row.reading->access) && !row.reading->is_executing;
    painter.write(row.cells[static_cast<std::size_t>(Column::value)], place, is_ready ? colors.text : colors.dimmed,
                  DT_CENTER);
}

void draw_value(const Painter& painter, const BrowserRow& row)
{
    const RECT& place = row.places[static_cast<std::size_t>(Column::value)];
    const std::string& words = row.cells[static_cast<std::size_t>(Column::value)];
    const Colors& colors = painter.theme.colors();
    if (row.reading == nullptr) {
        return;
    }
    if (row.flashes && !row.is_chosen) {
        painter.fill(place, colors.flash);
    }
    if (!row.reading->failure.empty()) {
        painter.write(words, place, row.is_chosen ? painter.text : colors.wrong);
    } else if (row.row->feature->type == PvGenTypeCommand && GenApi::is_available(row.reading->access)) {
        draw_command(painter, place, row);
    } else if (row.row->feature->type == PvGenTypeBoolean && GenApi::is_readable(row.reading->access)) {
        draw_check(painter, place, row.reading->is_on, words);
    } else {
        painter.write(words, place, row.flashes && !row.is_chosen ? colors.field_text : painter.text);
    }
}

}  // namespace

RECT expander_of(const RECT& place, int depth, unsigned dpi) noexcept
{
    const LONG left = place.left + scaled(step * depth, dpi);
    return {left, place.top, left + scaled(step, dpi), place.bottom};
}

void draw_browser_row(HDC dc, const BrowserRow& row, const Theme& theme)
{
    const Colors& colors = theme.colors();
    const bool is_usable =
        row.row->category != nullptr || (row.reading != nullptr && GenApi::is_writable(row.reading->access));
    const Painter painter{dc, theme,
                          row.is_chosen ? colors.accent_text
                          : is_usable   ? colors.field_text
                                        : colors.dimmed};
    RECT whole = row.places.front();
    whole.right = row.places.back().right;
    painter.fill(whole, row.is_chosen ? colors.accent : colors.field);
    const HGDIOBJ before = SelectObject(dc, row.row->category != nullptr ? theme.bold_font() : theme.font());
    RECT name = row.places.front();
    const RECT expander = expander_of(name, row.row->depth, theme.dpi());
    name.left = expander.right;
    if (row.row->category != nullptr) {
        draw_expander(painter, expander, row.row->is_expanded);
        name.right = whole.right;
        painter.write(row.cells.front(), name, painter.text);
    } else {
        // a name is read whatever can be done with its value
        painter.write(row.cells.front(), name, row.is_chosen ? colors.accent_text : colors.field_text);
        draw_value(painter, row);
        for (const Column column : {Column::unit, Column::access}) {
            painter.write(row.cells[static_cast<std::size_t>(column)], row.places[static_cast<std::size_t>(column)],
                          row.is_chosen ? colors.accent_text : colors.dimmed);
        }
    }
    SelectObject(dc, before);
}

}  // namespace vex::gui
