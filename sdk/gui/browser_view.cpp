// What a browser shows.

#include <algorithm>
#include <utility>

#include "sdk/browser/details.h"
#include "sdk/gui/browser_content.h"
#include "sdk/gui/browser_row.h"

namespace vex::gui {

namespace {

using browser::Column;

std::string utf8(Text which) { return PvString(text(which)).str(); }

}  // namespace

void BrowserContent::show_all()
{
    if (window() == nullptr) {
        return;
    }
    begin_reading();
    show_settings();
    show_rows();
    show_chosen();
    show_state();
}

void BrowserContent::show_settings()
{
    SendMessageW(visibility_choice_, CB_SETCURSEL, static_cast<WPARAM>(tree_.visibility()), 0);
    SendMessageW(alphabetical_, BM_SETCHECK,
                 tree_.order() == browser::Order::alphabetical ? BST_CHECKED : BST_UNCHECKED, 0);
}

void BrowserContent::show_rows()
{
    is_showing_ = true;
    ListView_SetItemCountEx(list_, static_cast<int>(tree_.rows().size()), LVSICF_NOSCROLL);
    ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
    if (const int chosen = chosen_item(); chosen >= 0) {
        ListView_SetItemState(list_, chosen, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    }
    is_showing_ = false;
    InvalidateRect(list_, nullptr, FALSE);
    show_visible();
}

/// Has the reader read what is to be seen, and no more.
void BrowserContent::show_visible()
{
    if (reader_ == nullptr || list_ == nullptr) {
        return;
    }
    const auto count = static_cast<int>(tree_.rows().size());
    const int first = std::clamp(ListView_GetTopIndex(list_), 0, count);
    // the last row may be seen in part
    const int end = std::min(first + ListView_GetCountPerPage(list_) + 1, count);
    browser::FeatureReader::Features visible;
    for (int item = first; item < end; ++item) {
        if (const browser::Row* const row = row_at(item); row->feature != nullptr) {
            visible.push_back(row->feature);
        }
    }
    const browser::Row* const chosen = row_at(chosen_item());
    const auto whole = chosen != nullptr ? chosen->feature : nullptr;
    if (whole != nullptr) {
        visible.push_back(whole);
    }
    if (visible != visible_) {
        visible_ = visible;
        reader_->show(std::move(visible), whole);
    }
}

void BrowserContent::show_chosen()
{
    if (details_ == nullptr) {
        return;
    }
    show_visible();
    const browser::Row* const row = row_at(chosen_item());
    if (row == nullptr) {
        set_text(details_, std::string());
    } else if (row->category != nullptr) {
        set_text(details_, browser::details(*row->category));
    } else {
        const Shown* const known = shown(row->feature.get());
        set_text(details_, browser::details(*row->feature, known != nullptr ? &known->reading : nullptr));
    }
}

void BrowserContent::show_state()
{
    if (state_ == nullptr) {
        return;
    }
    if (have_gone_) {
        set_text(state_, Text::browser_features_gone);
    } else if (tree_.displayed_count() == 0) {
        set_text(state_, Text::browser_no_features);
    } else if (tree_.rows().empty()) {
        set_text(state_, Text::browser_nothing_matches);
    } else {
        const std::size_t count = tree_.displayed_count();
        set_text(state_, std::to_string(count) + (count == 1 ? " feature" : " features"));
    }
}

void BrowserContent::redraw(const browser::Feature* feature) const
{
    const auto count = static_cast<int>(tree_.rows().size());
    const int first = std::clamp(ListView_GetTopIndex(list_), 0, count);
    const int end = std::min(first + ListView_GetCountPerPage(list_) + 1, count);
    for (int item = first; item < end; ++item) {
        if (row_at(item)->feature.get() == feature) {
            ListView_RedrawItems(list_, item, item);
        }
    }
}

void BrowserContent::end_flashes()
{
    const ULONGLONG now = GetTickCount64();
    bool is_any_left = false;
    for (auto& [feature, known] : shown_) {
        if (known.flashes_until != 0 && known.flashes_until <= now) {
            known.flashes_until = 0;
            redraw(feature);
        }
        is_any_left = is_any_left || known.flashes_until != 0;
    }
    if (!is_any_left) {
        KillTimer(window(), flash_timer);
    }
}

const BrowserContent::Shown* BrowserContent::shown(const browser::Feature* feature) const
{
    const auto found = shown_.find(feature);
    return found != shown_.end() ? &found->second : nullptr;
}

const browser::Row* BrowserContent::row_at(int item) const noexcept
{
    return item >= 0 && item < static_cast<int>(tree_.rows().size()) ? &tree_.rows()[static_cast<std::size_t>(item)]
                                                                     : nullptr;
}

int BrowserContent::chosen_item() const
{
    const auto row = tree_.chosen_row();
    return row ? static_cast<int>(*row) : -1;
}

// ---- rows ----

std::string BrowserContent::cell(const browser::Row& row, Column column) const
{
    if (row.category != nullptr) {
        return column == Column::name ? row.category->display_name : std::string();
    }
    const Shown* const known = shown(row.feature.get());
    switch (column) {
    case Column::name: return row.feature->display_name;
    case Column::unit: return row.feature->unit;
    case Column::access: return browser::access_text(known != nullptr ? &known->reading : nullptr);
    case Column::value: break;
    }
    if (known == nullptr) {
        return {};
    }
    if (!known->reading.failure.empty()) {
        return known->reading.failure;
    }
    if (row.feature->type == PvGenTypeCommand && GenApi::is_available(known->reading.access)) {
        return utf8(known->reading.is_executing ? Text::browser_executing : Text::browser_execute);
    }
    return known->reading.text;
}

void BrowserContent::fill(LVITEMW& item) const
{
    const browser::Row* const row = row_at(item.iItem);
    if ((item.mask & LVIF_TEXT) != 0 && row != nullptr) {
        copy_text(cell(*row, static_cast<Column>(item.iSubItem)), item.pszText, item.cchTextMax);
    }
}

void BrowserContent::fill_tip(NMLVGETINFOTIPW& tip) const
{
    if (const browser::Row* const row = row_at(tip.iItem)) {
        copy_text(row->category != nullptr ? row->category->tool_tip : row->feature->tool_tip, tip.pszText,
                  tip.cchTextMax);
    }
}

RECT BrowserContent::place_in_list(int item, Column column) const
{
    RECT place{};
    ListView_GetItemRect(list_, item, &place, LVIR_BOUNDS);
    for (int before = 0; before < static_cast<int>(column); ++before) {
        place.left += ListView_GetColumnWidth(list_, before);
    }
    place.right = place.left + ListView_GetColumnWidth(list_, static_cast<int>(column));
    return place;
}

RECT BrowserContent::place_of(int item, Column column) const
{
    RECT place = place_in_list(item, column);
    MapWindowPoints(list_, window(), reinterpret_cast<POINT*>(&place), 2);
    return place;
}

LRESULT BrowserContent::draw(NMLVCUSTOMDRAW& drawing)
{
    if (drawing.nmcd.dwDrawStage == CDDS_PREPAINT) {
        show_visible();  // however the list has come to be where it is
        return CDRF_NOTIFYITEMDRAW;
    }
    const auto item = static_cast<int>(drawing.nmcd.dwItemSpec);
    const browser::Row* const row = row_at(item);
    if (drawing.nmcd.dwDrawStage != CDDS_ITEMPREPAINT || theme() == nullptr || row == nullptr) {
        return CDRF_DODEFAULT;
    }
    BrowserRow seen;
    seen.row = row;
    const Shown* const known = row->feature != nullptr ? shown(row->feature.get()) : nullptr;
    seen.reading = known != nullptr ? &known->reading : nullptr;
    seen.flashes = known != nullptr && known->flashes_until != 0;
    seen.is_chosen = ListView_GetItemState(list_, item, LVIS_SELECTED) != 0;
    for (std::size_t column = 0; column < seen.cells.size(); ++column) {
        seen.cells[column] = cell(*row, static_cast<Column>(column));
        seen.places[column] = place_in_list(item, static_cast<Column>(column));
    }
    RECT inside{};
    GetClientRect(list_, &inside);
    seen.places.back().right = std::max(seen.places.back().right, inside.right);
    draw_browser_row(drawing.nmcd.hdc, seen, *theme());
    return CDRF_SKIPDEFAULT;
}

}  // namespace vex::gui
