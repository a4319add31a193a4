#include "sdk/gui/browser_content.h"

#include <algorithm>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/array_gate.h"
#include "sdk/gui/PvGenBrowserWnd.h"

namespace vex::gui {

namespace {

using browser::Column;

constexpr unsigned id_filter = 101;
constexpr unsigned id_visibility = 102;
constexpr unsigned id_alphabetical = 103;
constexpr unsigned id_refresh = 104;
constexpr unsigned id_list = 105;
constexpr unsigned id_details = 106;

constexpr UINT flash_time = 700;  // milliseconds
constexpr UINT array_interval = 500;

constexpr int row_height = 24;  // lengths of the design
constexpr int least_width = 80;
constexpr int least_list_height = 80;
constexpr int least_details_height = 24;

constexpr std::array<Text, browser::column_count> column_titles{Text::browser_column_name, Text::browser_column_value,
                                                                Text::browser_column_unit, Text::browser_column_access};
constexpr std::array<Text, 4> visibility_names{Text::browser_beginner, Text::browser_expert, Text::browser_guru,
                                               Text::browser_invisible};

int in_design(int pixels, unsigned dpi) noexcept { return MulDiv(pixels, 96, static_cast<int>(dpi)); }

}  // namespace

BrowserContent::BrowserContent()
    : tree_([this](PvGenParameter* parameter) { return owner_ == nullptr || owner_->IsParameterDisplayed(parameter); })
{}

BrowserContent::~BrowserContent() = default;

// ---- the features ----

void BrowserContent::set_array(const PvGenParameterArray* array)
{
    forget_features();
    have_gone_ = false;
    array_ = array;
    gate_ = array != nullptr ? array->gate() : nullptr;
    load();
    show_all();
}

/// Asks the owner what is displayed. What it changes in that call is done when this returns.
void BrowserContent::load()
{
    std::shared_ptr<const browser::Category> features;
    const auto gate = gate_;
    {
        const genicam::ArrayVisit visit(gate);
        is_loaded_ = static_cast<bool>(visit);
        if (visit) {
            features = browser::features_of(*array_);
        }
    }
    static_cast<void>(tree_.set(std::move(features), gate));
}

void BrowserContent::forget_features()
{
    end_editing();
    reader_.reset();
    ++epoch_;
    shown_.clear();
    visible_.clear();
}

/// The array may have been rebuilt or destroyed: nobody tells.
void BrowserContent::check_array()
{
    using State = genicam::ArrayGate::State;
    if (gate_ == nullptr || (gate_->state() != State::closed && (is_loaded_ || gate_->state() == State::preparing))) {
        return;
    }
    forget_features();
    if (gate_->state() == State::closed) {
        gate_ = gate_->next();
        have_gone_ = gate_ == nullptr;
    }
    load();
    show_all();
}

void BrowserContent::begin_reading()
{
    if (reader_ != nullptr || window() == nullptr || !is_loaded_) {
        return;
    }
    const std::uint64_t epoch = ++epoch_;
    // this object is there as long as its window is, and without it the call is dropped
    browser::FeatureReader::Listener listener;
    listener.read = [calls = calls(), this, epoch](std::shared_ptr<const browser::Feature> feature,
                                                   browser::Reading reading) {
        calls->post([this, epoch, feature = std::move(feature), reading = std::move(reading)] {
            take(epoch, feature, reading);
        });
    };
    listener.edited = [calls = calls(), this, epoch](std::shared_ptr<const browser::Feature> feature,
                                                     browser::Outcome outcome) {
        calls->post([this, epoch, feature = std::move(feature), outcome = std::move(outcome)] {
            take(epoch, feature, outcome);
        });
    };
    reader_ = std::make_unique<browser::FeatureReader>(gate_, std::move(listener));
}

PvResult BrowserContent::set_visibility(PvGenVisibility visibility)
{
    if (!browser::is_visibility(visibility)) {
        return failure(PvResult::InvalidParameter, "There is no visibility ", static_cast<std::int32_t>(visibility));
    }
    end_editing();
    static_cast<void>(tree_.set_visibility(visibility));
    show_all();
    return PvResult::OK;
}

void BrowserContent::reload()
{
    static_cast<void>(tree_.reload());
    show_all();
}

void BrowserContent::refresh()
{
    end_editing();
    if (reader_ != nullptr) {
        reader_->refresh();
    }
    reload();
}

browser::BrowserState BrowserContent::state() const
{
    browser::BrowserState state;
    state.visibility = tree_.visibility();
    state.order = tree_.order();
    state.collapsed = tree_.collapsed();
    state.details_height = details_height_;
    const auto now = widths();
    std::copy(now.begin(), now.end(), state.widths.begin());
    return state;
}

browser::Widths BrowserContent::widths() const noexcept
{
    auto now = widths_;
    if (list_ != nullptr && theme() != nullptr) {
        for (std::size_t column = 0; column < now.size(); ++column) {
            const int width = ListView_GetColumnWidth(list_, static_cast<int>(column));
            if (width != fitted_[column]) {
                now[column] = in_design(width, theme()->dpi());
            }
        }
    }
    return now;
}

void BrowserContent::set_state(const browser::BrowserState& state)
{
    end_editing();
    details_height_ = state.details_height.value_or(details_height_);
    widths_ = widths();
    for (std::size_t column = 0; column < widths_.size(); ++column) {
        widths_[column] = state.widths[column].value_or(widths_[column]);
    }
    tree_.set_order(state.order.value_or(tree_.order()));
    if (state.collapsed) {
        tree_.set_collapsed(*state.collapsed);
    }
    if (state.visibility && *state.visibility != tree_.visibility()) {
        static_cast<void>(tree_.set_visibility(*state.visibility));
    }
    if (theme() != nullptr) {
        restyled();
        arrange();
        show_all();
    }
}

// ---- what the reader tells ----

void BrowserContent::take(std::uint64_t epoch, const std::shared_ptr<const browser::Feature>& feature,
                          browser::Reading reading)
{
    if (epoch != epoch_) {
        return;
    }
    const auto [found, is_first] = shown_.try_emplace(feature.get());
    Shown& now = found->second;
    if (!is_first && now.reading.text != reading.text && reading.failure.empty()) {
        now.flashes_until = GetTickCount64() + flash_time;
        SetTimer(window(), flash_timer, flash_time, nullptr);
    }
    now.reading = std::move(reading);
    redraw(feature.get());
    const auto chosen = tree_.chosen_row();
    if (chosen && tree_.rows()[*chosen].feature == feature) {
        show_chosen();
        if (edit_wanted_ == feature && !now.reading.is_part()) {
            edit_wanted_.reset();
            edit(static_cast<int>(*chosen));
        }
    }
}

void BrowserContent::take(std::uint64_t epoch, const std::shared_ptr<const browser::Feature>& feature,
                          const browser::Outcome& outcome)
{
    if (epoch != epoch_ || theme() == nullptr) {
        return;
    }
    const bool is_editors = outcome.edit == editor_edit_ && editor_.is_open();
    if (outcome.edit == editor_edit_) {
        editor_edit_ = 0;
    }
    if (!outcome.result.IsOK()) {
        // next to the value, as long as the user is still there
        const int item = chosen_item();
        if (const browser::Row* const row = row_at(item); row != nullptr && row->feature == feature) {
            editor_.show_reason(std::string(outcome.result.description()), place_of(item, Column::value), *theme());
        } else {
            set_text(state_, std::string(outcome.result.description()));
        }
    } else if (is_editors && is_sliding_) {
        editor_.taken(sent_);
        if (editor_.is_changed()) {
            commit();  // the slider went on meanwhile
        }
    } else if (is_editors) {
        end_editing();
    }
}

// ---- the window ----

bool BrowserContent::make_controls(HWND window)
{
    filter_label_ = add_label(window, 0, Text::browser_filter);
    filter_ = add_edit(window, id_filter, Text::browser_filter);
    refresh_ = add_button(window, id_refresh, Text::refresh);
    visibility_label_ = add_label(window, 0, Text::browser_visibility);
    visibility_choice_ = add_choice(window, id_visibility, Text::browser_visibility);
    alphabetical_ = add_check(window, id_alphabetical, Text::browser_alphabetical);
    list_ = add_table(window, id_list, Text::browser_list);
    editor_.make(window);
    details_ = add_edit(window, id_details, Text::browser_details, ES_MULTILINE | ES_READONLY | WS_VSCROLL);
    state_ = add_label(window, 0, Text::browser_no_features);
    // the editor lies upon it
    SetWindowLongPtrW(list_, GWL_STYLE, GetWindowLongPtrW(list_, GWL_STYLE) | WS_CLIPSIBLINGS | LVS_SINGLESEL);
    ListView_SetExtendedListViewStyleEx(list_, LVS_EX_INFOTIP, LVS_EX_INFOTIP);
    for (std::size_t column = 0; column < column_titles.size(); ++column) {
        add_column(list_, static_cast<int>(column), column_titles[column], widths_[column]);
    }
    for (const Text name : visibility_names) {
        SendMessageW(visibility_choice_, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text(name)));
    }
    return list_ != nullptr;
}

void BrowserContent::opened()
{
    SetTimer(window(), array_timer, array_interval, nullptr);
    check_array();
    show_settings();
    set_text(filter_, tree_.filter());
    show_all();
    SetFocus(list_);
    // asked once more when the window is whole: the owner may close it in that call
    calls()->post([this] { reload(); });
}

void BrowserContent::closing() noexcept
{
    widths_ = widths();
    reader_.reset();
    ++epoch_;
    visible_.clear();
    editor_.end();
    editor_.forget();
    editor_edit_ = 0;
    edit_wanted_.reset();
    is_dragging_ = false;
    for (HWND* const control : {&filter_label_, &filter_, &visibility_label_, &visibility_choice_, &alphabetical_,
                                &refresh_, &list_, &details_, &state_}) {
        *control = nullptr;
    }
}

void BrowserContent::restyled()
{
    const unsigned dpi = theme()->dpi();
    is_showing_ = true;
    for (std::size_t column = 0; column < widths_.size(); ++column) {
        fitted_[column] = scaled(widths_[column], dpi);
        ListView_SetColumnWidth(list_, static_cast<int>(column), fitted_[column]);
    }
    // rows are as high as the pictures that they do not show
    const HIMAGELIST before =
        ListView_SetImageList(list_, ImageList_Create(1, scaled(row_height, dpi), ILC_COLOR, 1, 1), LVSIL_SMALL);
    if (before != nullptr) {
        ImageList_Destroy(before);
    }
    is_showing_ = false;
}

/// In a list of that width.
void BrowserContent::fit_columns(int width)
{
    const unsigned dpi = theme()->dpi();
    widths_ = widths();
    browser::Widths own{};
    std::ranges::transform(widths_, own.begin(), [dpi](int column) { return scaled(column, dpi); });
    const int room = width - GetSystemMetricsForDpi(SM_CXVSCROLL, dpi) - 2 * GetSystemMetricsForDpi(SM_CXEDGE, dpi);
    fitted_ = browser::fitted(own, room, scaled(least_width, dpi));
    for (std::size_t column = 0; column < fitted_.size(); ++column) {
        ListView_SetColumnWidth(list_, static_cast<int>(column), fitted_[column]);
    }
}

void BrowserContent::place(const RECT& inside, const Metrics& metrics)
{
    end_editing();
    Placing placing(9);
    RECT rest = inside;
    RECT top = cut_top(rest, metrics.line, metrics.gap);
    placing.put(filter_label_, cut_left(top, metrics.button / 2, metrics.gap));
    placing.put(refresh_, cut_right(top, metrics.button, metrics.gap));
    placing.put(filter_, top);
    RECT second = cut_top(rest, metrics.line, metrics.gap);
    placing.put(visibility_label_, cut_left(second, metrics.button * 2 / 3, metrics.gap));
    placing.put(visibility_choice_, centred(visibility_choice_, cut_left(second, metrics.button, metrics.gap)));
    placing.put(alphabetical_, cut_left(second, metrics.button * 5 / 4, metrics.gap));
    placing.put(state_, cut_bottom(rest, metrics.line, 0));
    const unsigned dpi = theme()->dpi();
    const int room = static_cast<int>(rest.bottom - rest.top) - metrics.gap;
    const int most = std::max(room - scaled(least_list_height, dpi), 0);
    const int height =
        std::clamp(scaled(details_height_, dpi), std::min(scaled(least_details_height, dpi), most), most);
    placing.put(details_, cut_bottom(rest, height, metrics.gap));
    splitter_ = {rest.left, rest.bottom, rest.right, rest.bottom + metrics.gap};
    placing.put(list_, rest);
    fit_columns(static_cast<int>(rest.right - rest.left));
}

bool BrowserContent::command(unsigned id, unsigned notification, HWND control)
{
    switch (id) {
    case id_filter:
        // not while it is being made
        if (notification == EN_CHANGE && control == filter_) {
            end_editing();
            tree_.set_filter(text_of(filter_));
            show_rows();
            show_chosen();
            show_state();
        }
        return true;
    case id_visibility:
        if (notification == CBN_SELCHANGE) {
            const auto chosen = static_cast<PvGenVisibility>(SendMessageW(visibility_choice_, CB_GETCURSEL, 0, 0));
            if (set_visibility(chosen).IsOK() && host_.visibility_chosen) {
                host_.visibility_chosen(chosen);
            }
        }
        return true;
    case id_alphabetical:
        end_editing();
        tree_.set_order(SendMessageW(alphabetical_, BM_GETCHECK, 0, 0) == BST_CHECKED ? browser::Order::alphabetical
                                                                                      : browser::Order::tree);
        show_rows();
        return true;
    case id_refresh: refresh(); return true;
    case InPlaceEditor::id_field:
        if (notification == EN_KILLFOCUS) {
            calls()->post([this] { leave_editor(); });
        }
        return true;
    case InPlaceEditor::id_entries:
        // going through the open list is no choice yet
        if (notification == CBN_CLOSEUP || notification == CBN_KILLFOCUS ||
            (notification == CBN_SELCHANGE && !SendMessageW(control, CB_GETDROPPEDSTATE, 0, 0))) {
            calls()->post([this] { leave_editor(); });
        }
        return true;
    default: return false;
    }
}

std::optional<LRESULT> BrowserContent::notify(NMHDR& header)
{
    if (header.idFrom != id_list) {
        return std::nullopt;
    }
    switch (header.code) {
    case static_cast<UINT>(LVN_GETDISPINFOW): fill(reinterpret_cast<NMLVDISPINFOW&>(header).item); return 0;
    case static_cast<UINT>(LVN_GETINFOTIPW): fill_tip(reinterpret_cast<NMLVGETINFOTIPW&>(header)); return 0;
    case static_cast<UINT>(LVN_ITEMCHANGED):
        if (!is_showing_ &&
            ((reinterpret_cast<NMLISTVIEW&>(header).uNewState | reinterpret_cast<NMLISTVIEW&>(header).uOldState) &
             LVIS_SELECTED) != 0) {
            end_editing();
            const int chosen = ListView_GetNextItem(list_, -1, LVNI_SELECTED);
            tree_.choose(chosen >= 0 ? std::optional(static_cast<std::size_t>(chosen)) : std::nullopt);
            show_chosen();
        }
        return 0;
    case static_cast<UINT>(LVN_BEGINSCROLL): end_editing(); return 0;
    case static_cast<UINT>(NM_CLICK): click(reinterpret_cast<NMITEMACTIVATE&>(header)); return 0;
    case static_cast<UINT>(NM_DBLCLK): activate(reinterpret_cast<NMITEMACTIVATE&>(header).iItem); return 0;
    case static_cast<UINT>(NM_CUSTOMDRAW): return draw(reinterpret_cast<NMLVCUSTOMDRAW&>(header));
    default: return std::nullopt;
    }
}

std::optional<LRESULT> BrowserContent::other(UINT message, WPARAM wparam, LPARAM lparam)
{
    switch (message) {
    case WM_TIMER:
        if (wparam == flash_timer) {
            end_flashes();
            return 0;
        }
        if (wparam == array_timer) {
            check_array();
            return 0;
        }
        return std::nullopt;
    case WM_HSCROLL: slide(reinterpret_cast<HWND>(lparam)); return 0;
    case WM_DRAWITEM:
        if (wparam == InPlaceEditor::id_reason && theme() != nullptr) {
            editor_.draw_reason(*reinterpret_cast<const DRAWITEMSTRUCT*>(lparam), *theme());
            return TRUE;
        }
        return std::nullopt;
    case WM_SETCURSOR:
    case WM_LBUTTONDOWN:
    case WM_MOUSEMOVE:
    case WM_LBUTTONUP:
    case WM_CAPTURECHANGED: return drag(message, lparam) ? std::optional<LRESULT>(TRUE) : std::nullopt;
    default: return std::nullopt;
    }
}

/// The gap between list and details is dragged. False when it is not about that.
bool BrowserContent::drag(UINT message, LPARAM lparam)
{
    if (message == WM_CAPTURECHANGED) {
        is_dragging_ = false;
        return false;
    }
    POINT at{};
    GetCursorPos(&at);
    ScreenToClient(window(), &at);
    if (message != WM_SETCURSOR) {
        at = {static_cast<short>(LOWORD(lparam)), static_cast<short>(HIWORD(lparam))};
    }
    const bool is_over = PtInRect(&splitter_, at) != FALSE;
    if (message == WM_SETCURSOR && is_over) {
        SetCursor(LoadCursorW(nullptr, IDC_SIZENS));
        return true;
    }
    if (message == WM_LBUTTONDOWN && is_over) {
        SetCapture(window());
        is_dragging_ = true;
        return true;
    }
    if (!is_dragging_ || message == WM_SETCURSOR) {
        return false;
    }
    if (message == WM_LBUTTONUP) {
        ReleaseCapture();
        return true;
    }
    RECT details{};
    GetWindowRect(details_, &details);
    MapWindowPoints(HWND_DESKTOP, window(), reinterpret_cast<POINT*>(&details), 2);
    const int wanted = in_design(static_cast<int>(details.bottom - at.y), theme()->dpi());
    details_height_ = std::max(wanted, least_details_height);
    arrange();
    return true;
}

}  // namespace vex::gui
