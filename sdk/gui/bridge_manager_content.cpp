#include "sdk/gui/bridge_manager_content.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/bridge_manager/device_port.h"
#include "sdk/device/PvDevice.h"
#include "sdk/gui/PvSerialBridgeManagerWnd.h"
#include "sdk/gui/bridge_dialog.h"
#include "sdk/gui/clipboard.h"
#include "sdk/lists/PvPropertyList.h"
#include "sdk/lists/PvStringList.h"

namespace vex::gui {

namespace {

using bridge_manager::Column;
using bridge_manager::Row;
using bridge_manager::State;

constexpr unsigned id_list = 101;
constexpr unsigned id_start = 102;
constexpr unsigned id_stop = 103;
constexpr unsigned id_settings = 104;
constexpr unsigned id_parameters = 105;
constexpr unsigned id_recover = 106;
constexpr unsigned id_reset = 107;

/// Counters change without anybody telling.
constexpr UINT_PTR counter_timer = 1;
constexpr UINT counter_interval_ms = 500;

constexpr std::size_t no_row = std::numeric_limits<std::size_t>::max();

struct ColumnFacts {
    Text title;
    int width;  // of the design
};
constexpr ColumnFacts columns[bridge_manager::column_count] = {
    {Text::bridges_column_port, 70},        {Text::bridges_column_other_end, 200}, {Text::bridges_column_line, 100},
    {Text::bridges_column_from_device, 90}, {Text::bridges_column_to_device, 90},  {Text::bridges_column_dropped, 70},
    {Text::bridges_column_parameters, 120}, {Text::bridges_column_state, 120},
};

bool is_counter(Column column) noexcept
{
    return column == Column::from_device || column == Column::to_device || column == Column::dropped;
}

}  // namespace

// this object is there as long as its window is, and without it the call is dropped
BridgeManagerContent::BridgeManagerContent()
    : manager_({.created =
                    [this](PvGenParameterArray& array, const PvString& name) {
                        if (owner_ != nullptr) {
                            owner_->OnParameterArrayCreated(&array, name);
                        }
                    },
                .deleted =
                    [this](PvGenParameterArray& array) {
                        if (owner_ != nullptr) {
                            owner_->OnParameterArrayDeleted(&array);
                        }
                    }},
               [calls = calls(), this] { calls->post([this] { take(); }); })
{}

void BridgeManagerContent::end()
{
    owner_ = nullptr;
    manager_.end();
}

// ---- what the owner does ----

void BridgeManagerContent::set_ports(std::vector<std::shared_ptr<bridge_manager::Port>> ports)
{
    manager_.set_ports(std::move(ports));
    show();
}

PvResult BridgeManagerContent::set_device(PvDevice* device)
{
    const auto lifetime = device != nullptr ? device->lifetime() : std::weak_ptr<const void>();
    manager_.set_ports({});  // who is told of the end of an array may destroy the device
    has_device_ = !lifetime.expired() && device->IsConnected();
    set_ports(has_device_ ? bridge_manager::ports_of(*device) : std::vector<std::shared_ptr<bridge_manager::Port>>());
    return device == nullptr || has_device_ ? PvResult(PvResult::OK)
                                            : failure(PvResult::NotConnected, "The device is not connected");
}

PvResult BridgeManagerContent::save(PvPropertyList& list) const
{
    manager_.save(list);
    return PvResult::OK;
}

PvResult BridgeManagerContent::load(const PvPropertyList& list, PvStringList& errors)
{
    const auto lifetime = errors.lifetime();  // who is told of an array may destroy it
    std::vector<std::string> lines;
    PvResult result = manager_.load(list, lines);
    if (!lifetime.expired()) {
        errors.Clear();
        for (const std::string& line : lines) {
            errors.Add(PvString(std::string_view(line)));
        }
    }
    show();
    return result;
}

PvResult BridgeManagerContent::recover()
{
    PvResult result = manager_.recover();
    show();
    return result;
}

void BridgeManagerContent::take()
{
    manager_.take();
    show();
}

// ---- the window ----

bool BridgeManagerContent::make_controls(HWND window)
{
    list_ = add_table(window, id_list, Text::bridges_list, LVS_SINGLESEL);
    start_ = add_button(window, id_start, Text::bridges_start);
    stop_ = add_button(window, id_stop, Text::bridges_stop);
    settings_ = add_button(window, id_settings, Text::bridges_settings);
    parameters_ = browse_ ? add_button(window, id_parameters, Text::bridges_parameters) : nullptr;
    recover_ = add_button(window, id_recover, Text::bridges_recover);
    reset_ = add_button(window, id_reset, Text::bridges_reset);
    status_ = add_label(window, 0, Text::bridges_no_device);
    for (int index = 0; index < bridge_manager::column_count; ++index) {
        add_column(list_, index, columns[index].title, columns[index].width);
        if (is_counter(static_cast<Column>(index))) {
            LVCOLUMNW digits{};
            digits.mask = LVCF_FMT;
            digits.fmt = LVCFMT_RIGHT;
            ListView_SetColumn(list_, index, &digits);
        }
    }
    return list_ != nullptr;
}

void BridgeManagerContent::opened()
{
    cells_.clear();
    SetTimer(window(), counter_timer, counter_interval_ms, nullptr);
    SetFocus(list_);
    // what came of what the user began in an earlier window; not from here, where the window is only being made
    calls()->post([this] { take(); });
    show();
}

void BridgeManagerContent::restyled()
{
    for (int index = 0; index < bridge_manager::column_count; ++index) {
        ListView_SetColumnWidth(list_, index, scaled(columns[index].width, theme()->dpi()));
    }
}

void BridgeManagerContent::place(const RECT& inside, const Metrics& metrics)
{
    Placing placing(8);
    RECT rest = inside;
    placing.put(status_, cut_bottom(rest, metrics.line, metrics.gap));
    RECT buttons = cut_bottom(rest, metrics.line, metrics.gap);
    for (const HWND button : {start_, stop_, settings_, parameters_}) {
        if (button != nullptr) {
            placing.put(button, cut_left(buttons, metrics.button, metrics.gap));
        }
    }
    placing.put(reset_, cut_right(buttons, metrics.button * 4 / 3, metrics.gap));
    placing.put(recover_, cut_right(buttons, metrics.button, metrics.gap));
    placing.put(list_, rest);
    // what went wrong takes most words: the last column has what the others leave
    constexpr int last = bridge_manager::column_count - 1;
    int left = static_cast<int>(rest.right - rest.left) - 2 * GetSystemMetricsForDpi(SM_CXEDGE, theme()->dpi());
    for (int index = 0; index < last; ++index) {
        left -= ListView_GetColumnWidth(list_, index);
    }
    ListView_SetColumnWidth(list_, last, std::max(left, scaled(columns[last].width, theme()->dpi())));
}

void BridgeManagerContent::show()
{
    if (window() == nullptr) {
        return;  // whoever was told has closed it
    }
    show_rows();
    show_chosen();
}

void BridgeManagerContent::show_rows()
{
    std::vector<Cells> next(manager_.size());
    for (std::size_t index = 0; index < next.size(); ++index) {
        const Row row = manager_.row(index);
        for (std::size_t column = 0; column < next[index].size(); ++column) {
            next[index][column] = bridge_manager::cell(row, static_cast<Column>(column));
        }
    }
    const std::vector<Cells> before = std::exchange(cells_, std::move(next));
    if (before.size() != cells_.size()) {
        showing_ = true;
        ListView_SetItemCountEx(list_, static_cast<int>(cells_.size()), LVSICF_NOSCROLL);
        if (chosen() == no_row && !cells_.empty()) {
            ListView_SetItemState(list_, 0, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
        }
        showing_ = false;
    }
    for (std::size_t index = 0; index < cells_.size(); ++index) {
        if (index >= before.size() || before[index] != cells_[index]) {
            ListView_RedrawItems(list_, static_cast<int>(index), static_cast<int>(index));
        }
    }
}

void BridgeManagerContent::show_chosen()
{
    const std::size_t index = chosen();
    const Row row = manager_.row(index);
    const bool is_row = !row.port.empty();
    set_enabled(start_, is_row && row.state == State::stopped, list_);
    set_enabled(stop_, row.state == State::running || row.state == State::starting, list_);
    set_enabled(settings_, is_row && (row.state == State::stopped || row.state == State::running), list_);
    set_enabled(parameters_, row.has_array, list_);
    set_enabled(reset_, is_row, list_);
    bool any_runs = false;
    for (std::size_t each = 0; each < manager_.size(); ++each) {
        any_runs = any_runs || manager_.row(each).state == State::running;
    }
    set_enabled(recover_, any_runs, list_);
    if (is_row) {
        set_text(status_, row.port + ": " + bridge_manager::state_text(row));
    } else {
        set_text(status_, has_device_ && manager_.size() == 0 ? Text::bridges_no_ports : Text::bridges_no_device);
    }
}

std::size_t BridgeManagerContent::chosen() const
{
    const int row = ListView_GetNextItem(list_, -1, LVNI_SELECTED);
    return row >= 0 ? static_cast<std::size_t>(row) : no_row;
}

// ---- what the user does ----

bool BridgeManagerContent::key(const MSG& message)
{
    if (message.message == WM_KEYDOWN && message.wParam == 'C' && GetKeyState(VK_CONTROL) < 0 &&
        message.hwnd == list_) {
        copy_chosen();
        return true;
    }
    return false;
}

bool BridgeManagerContent::command(unsigned id, unsigned /*notification*/, HWND /*control*/)
{
    switch (id) {
    case id_start: manager_.start(chosen()); break;
    case id_stop: manager_.stop(chosen()); break;
    case id_settings: set_chosen(); break;
    case id_parameters: browse_chosen(); break;
    case id_recover: manager_.recover_later(); break;
    case id_reset: manager_.reset_statistics(chosen()); break;
    case IDCANCEL: close(); return true;
    default: return false;
    }
    show();
    return true;
}

std::optional<LRESULT> BridgeManagerContent::notify(NMHDR& header)
{
    if (header.idFrom != id_list) {
        return std::nullopt;
    }
    switch (header.code) {
    case static_cast<UINT>(LVN_GETDISPINFOW): fill(reinterpret_cast<NMLVDISPINFOW&>(header).item); return 0;
    case static_cast<UINT>(LVN_ITEMCHANGED):
        if (!showing_) {
            show_chosen();
        }
        return 0;
    case static_cast<UINT>(NM_DBLCLK):
        set_chosen();
        show();
        return 0;
    case static_cast<UINT>(NM_CUSTOMDRAW): return draw(reinterpret_cast<NMLVCUSTOMDRAW&>(header));
    default: return std::nullopt;
    }
}

std::optional<LRESULT> BridgeManagerContent::other(UINT message, WPARAM wparam, LPARAM /*lparam*/)
{
    if (message != WM_TIMER || wparam != counter_timer) {
        return std::nullopt;
    }
    if (IsWindowVisible(window()) && !IsIconic(window())) {
        show();
    }
    return 0;
}

void BridgeManagerContent::set_chosen()
{
    const std::size_t index = chosen();
    const Row row = manager_.row(index);
    if (row.port.empty()) {
        return;
    }
    BridgeDialog dialog(row.port, row.settings, [this, index, port = row.port](const bridge_manager::Settings& next) {
        if (manager_.row(index).port != port) {
            return failure(PvResult::StateError, "The device has other ports now");
        }
        return manager_.change(index, next);
    });
    static_cast<void>(dialog.ShowModal(window()));
}

void BridgeManagerContent::browse_chosen()
{
    const std::size_t index = chosen();
    if (PvGenParameterArray* const array = manager_.array(index); browse_ && array != nullptr) {
        browse_(window(), *array, manager_.row(index).array_name);
    }
}

void BridgeManagerContent::copy_chosen() const
{
    const std::size_t index = chosen();
    if (index >= cells_.size()) {
        return;
    }
    std::string words;
    for (std::size_t column = 0; column < cells_[index].size(); ++column) {
        words += PvString(text(columns[column].title)).str() + ": " + cells_[index][column] + "\r\n";
    }
    copy_to_clipboard(window(), words);
}

// ---- rows ----

void BridgeManagerContent::fill(LVITEMW& item) const
{
    if (!(item.mask & LVIF_TEXT) || item.iItem < 0 || item.iItem >= static_cast<int>(cells_.size()) ||
        item.iSubItem < 0 || item.iSubItem >= bridge_manager::column_count) {
        return;
    }
    copy_text(cells_[static_cast<std::size_t>(item.iItem)][static_cast<std::size_t>(item.iSubItem)], item.pszText,
              item.cchTextMax);
}

LRESULT BridgeManagerContent::draw(NMLVCUSTOMDRAW& drawing) const
{
    if (drawing.nmcd.dwDrawStage == CDDS_PREPAINT) {
        return CDRF_NOTIFYITEMDRAW;
    }
    if (drawing.nmcd.dwDrawStage != CDDS_ITEMPREPAINT || theme() == nullptr ||
        drawing.nmcd.dwItemSpec >= manager_.size()) {
        return CDRF_DODEFAULT;
    }
    const Row row = manager_.row(static_cast<std::size_t>(drawing.nmcd.dwItemSpec));
    const Colors& colors = theme()->colors();
    return theme()->color_row(drawing, !row.failure.IsOK()           ? colors.wrong
                                       : row.state == State::stopped ? colors.dimmed
                                                                     : colors.field_text);
}

}  // namespace vex::gui
