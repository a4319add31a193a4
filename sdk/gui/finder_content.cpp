#include "sdk/gui/finder_content.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "sdk/gui/PvDeviceFinderWnd.h"
#include "sdk/gui/address_dialog.h"
#include "sdk/gui/clipboard.h"
#include "sdk/gui/device_icons.h"

namespace vex::gui {

namespace {

constexpr unsigned id_filter = 101;
constexpr unsigned id_refresh = 102;
constexpr unsigned id_list = 103;
constexpr unsigned id_set_address = 104;

struct ColumnFacts {
    Text title;
    int width;  // of the design
};
constexpr ColumnFacts columns[finder::column_count] = {
    {Text::finder_column_name, 160}, {Text::finder_column_model, 170},         {Text::finder_column_address, 110},
    {Text::finder_column_mac, 130},  {Text::finder_column_serial_number, 100}, {Text::finder_column_state, 180},
};

DeviceIcon icon_of(const finder::Device& device) noexcept
{
    return !device.is_reachable            ? DeviceIcon::astray
           : device.access == PvAccessOpen ? DeviceIcon::available
                                           : DeviceIcon::in_use;
}

std::string utf8(Text which) { return PvString(text(which)).str(); }

}  // namespace

PvDeviceInfo* FinderContent::selected() const noexcept { return selected_ ? selected_->info.get() : nullptr; }

bool FinderContent::make_controls(HWND window)
{
    filter_label_ = add_label(window, 0, Text::finder_filter);
    filter_ = add_edit(window, id_filter, Text::finder_filter);
    refresh_ = add_button(window, id_refresh, Text::refresh);
    list_ = add_table(window, id_list, Text::finder_list);
    details_ = add_edit(window, 0, Text::finder_details, ES_MULTILINE | ES_READONLY | WS_VSCROLL);
    state_ = add_label(window, 0, Text::finder_searching);
    set_address_ = add_button(window, id_set_address, Text::finder_set_address);
    ok_ = add_button(window, IDOK, Text::ok, BS_DEFPUSHBUTTON);
    cancel_ = add_button(window, IDCANCEL, Text::cancel);
    for (int index = 0; index < finder::column_count; ++index) {
        add_column(list_, index, columns[index].title, columns[index].width);
    }
    return list_ != nullptr;
}

void FinderContent::opened()
{
    accepted_ = false;
    // a choice of an earlier time is shown, and given again only if it is accepted again
    selected_.reset();
    show_rows();
    show_chosen();
    show_state();
    SetFocus(list_);
    search_.start([calls = calls(), this](std::shared_ptr<const finder::Found> found) {
        // this object is there as long as its window is, and without it the call is dropped
        calls->post([this, found = std::move(found)] { take(found); });
    });
}

void FinderContent::closing() noexcept { search_.stop(); }

void FinderContent::restyled()
{
    for (int index = 0; index < finder::column_count; ++index) {
        ListView_SetColumnWidth(list_, index, scaled(columns[index].width, theme()->dpi()));
    }
    if (const HIMAGELIST before = ListView_SetImageList(list_, make_device_icons(*theme()), LVSIL_SMALL)) {
        ImageList_Destroy(before);
    }
}

void FinderContent::place(const RECT& inside, const Metrics& metrics)
{
    Placing placing(9);
    RECT rest = inside;
    RECT top = cut_top(rest, metrics.line, metrics.gap);
    placing.put(filter_label_, cut_left(top, metrics.button / 2, metrics.gap));
    placing.put(refresh_, cut_right(top, metrics.button, metrics.gap));
    placing.put(filter_, top);
    RECT bottom = cut_bottom(rest, metrics.line, metrics.gap);
    placing.put(cancel_, cut_right(bottom, metrics.button, metrics.gap));
    placing.put(ok_, cut_right(bottom, metrics.button, metrics.gap));
    placing.put(set_address_, cut_left(bottom, metrics.button * 3 / 2, metrics.gap));
    placing.put(state_, bottom);
    placing.put(details_, cut_bottom(rest, std::min(metrics.line * 5, static_cast<int>(rest.bottom - rest.top) / 2),
                                     metrics.gap));
    placing.put(list_, rest);
}

// ---- what was found ----

void FinderContent::take(std::shared_ptr<const finder::Found> found)
{
    search_result_ = found->result;
    table_.set(std::move(found), [this](const finder::Device& device) {
        return owner_ == nullptr || owner_->OnFound(device.info.get());
    });
    if (window() == nullptr) {
        return;  // the owner closed it when it was asked
    }
    show_rows();
    show_chosen();
    show_state();
}

void FinderContent::refresh()
{
    table_.forget_answers();
    search_.refresh();
    set_text(state_, Text::finder_searching);
}

void FinderContent::show_rows()
{
    showing_ = true;
    ListView_SetItemCountEx(list_, static_cast<int>(table_.rows().size()), LVSICF_NOSCROLL);
    ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
    if (const auto chosen = table_.chosen_row()) {
        ListView_SetItemState(list_, *chosen, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    }
    showing_ = false;
    InvalidateRect(list_, nullptr, FALSE);
}

void FinderContent::show_chosen()
{
    const auto chosen = table_.chosen();
    set_enabled(ok_, chosen != nullptr, list_);
    set_enabled(set_address_, chosen != nullptr, list_);
    if (chosen) {
        set_text(details_, finder::details(*chosen));
    } else {
        show_state();
    }
}

void FinderContent::show_state()
{
    const finder::Found* const found = table_.found();
    if (found == nullptr || !found->is_complete) {
        set_text(state_, Text::finder_searching);
        if (!table_.chosen()) {
            set_text(details_, std::string());
        }
        return;
    }
    if (!search_result_.IsOK()) {
        set_text(state_, std::string(search_result_.description()));
    } else {
        const std::size_t devices = table_.device_count();
        const std::size_t searched = found->interfaces.size();
        set_text(state_, std::to_string(devices) + (devices == 1 ? " device on " : " devices on ") +
                             std::to_string(searched) + (searched == 1 ? " interface" : " interfaces"));
    }
    if (table_.chosen()) {
        return;
    }
    std::string hint;
    if (table_.device_count() == 0) {
        hint = utf8(Text::finder_nothing) + "\r\n";
        for (const finder::Interface& searched : found->interfaces) {
            hint += "\r\n" + searched.description + "  " + searched.address + " / " + searched.mask;
        }
    } else if (table_.rows().empty()) {
        hint = utf8(Text::finder_nothing_matches);
    }
    set_text(details_, hint);
}

// ---- what the user does ----

bool FinderContent::key(const MSG& message)
{
    if (message.message != WM_KEYDOWN) {
        return false;
    }
    if (message.wParam == VK_F5) {
        refresh();
        return true;
    }
    if (message.wParam == 'C' && GetKeyState(VK_CONTROL) < 0 && message.hwnd == list_) {
        copy_details();
        return true;
    }
    return false;
}

bool FinderContent::command(unsigned id, unsigned notification, HWND /*control*/)
{
    switch (id) {
    case IDOK: accept(); return true;
    case IDCANCEL: close(); return true;
    case id_refresh: refresh(); return true;
    case id_set_address: set_address(); return true;
    case id_filter:
        if (notification == EN_CHANGE) {
            table_.set_filter(text_of(filter_));
            show_rows();
            show_chosen();
        }
        return true;
    default: return false;
    }
}

std::optional<LRESULT> FinderContent::notify(NMHDR& header)
{
    if (header.idFrom != id_list) {
        return std::nullopt;
    }
    switch (header.code) {
    case static_cast<UINT>(LVN_GETDISPINFOW): fill(reinterpret_cast<NMLVDISPINFOW&>(header).item); return 0;
    case static_cast<UINT>(LVN_ITEMCHANGED):
        if (!showing_) {
            table_.choose(ListView_GetNextItem(list_, -1, LVNI_SELECTED));
            show_chosen();
        }
        return 0;
    case static_cast<UINT>(LVN_COLUMNCLICK):
        table_.sort_by(static_cast<finder::Column>(reinterpret_cast<NMLISTVIEW&>(header).iSubItem));
        show_rows();
        return 0;
    case static_cast<UINT>(NM_DBLCLK): accept(); return 0;
    case static_cast<UINT>(NM_CUSTOMDRAW): return draw(reinterpret_cast<NMLVCUSTOMDRAW&>(header));
    default: return std::nullopt;
    }
}

void FinderContent::accept()
{
    if (const auto chosen = table_.chosen()) {
        selected_ = chosen;
        accepted_ = true;
        close();
    }
}

void FinderContent::set_address()
{
    const auto chosen = table_.chosen();
    if (!chosen || table_.found() == nullptr) {
        return;
    }
    finder::Interface seen_by;
    for (const finder::Interface& searched : table_.found()->interfaces) {
        if (searched.id == chosen->interface_id) {
            seen_by = searched;
        }
    }
    std::vector<std::string> taken;
    for (const finder::Device& device : table_.found()->devices) {
        taken.push_back(device.address);
    }
    AddressDialog dialog({.mac = chosen->mac,
                          .address = finder::proposed_address(seen_by, taken),
                          .mask = seen_by.mask.empty() ? chosen->mask : seen_by.mask,
                          .gateway = "0.0.0.0"});
    if (dialog.ShowModal(window()).IsOK()) {
        refresh();
    }
}

void FinderContent::copy_details() const
{
    if (const auto chosen = table_.chosen()) {
        copy_to_clipboard(window(), finder::details(*chosen));
    }
}

// ---- rows ----

void FinderContent::fill(LVITEMW& item) const
{
    if (item.iItem < 0 || item.iItem >= static_cast<int>(table_.rows().size())) {
        return;
    }
    const finder::Row& row = table_.rows()[static_cast<std::size_t>(item.iItem)];
    if (item.mask & LVIF_IMAGE) {
        item.iImage = row.device ? static_cast<int>(icon_of(*row.device)) : I_IMAGENONE;
    }
    if (!(item.mask & LVIF_TEXT)) {
        return;
    }
    const std::string heading = item.iSubItem == 0 ? row.heading : std::string();
    copy_text(row.device ? finder::cell(*row.device, static_cast<finder::Column>(item.iSubItem)) : heading,
              item.pszText, item.cchTextMax);
}

LRESULT FinderContent::draw(NMLVCUSTOMDRAW& drawing) const
{
    if (drawing.nmcd.dwDrawStage == CDDS_PREPAINT) {
        return CDRF_NOTIFYITEMDRAW;
    }
    if (drawing.nmcd.dwDrawStage != CDDS_ITEMPREPAINT || theme() == nullptr ||
        drawing.nmcd.dwItemSpec >= table_.rows().size()) {
        return CDRF_DODEFAULT;
    }
    const finder::Row& row = table_.rows()[drawing.nmcd.dwItemSpec];
    const Colors& colors = theme()->colors();
    if (!row.device) {
        // a heading goes across all columns
        const HDC dc = drawing.nmcd.hdc;
        RECT place{};
        ListView_GetItemRect(list_, static_cast<int>(drawing.nmcd.dwItemSpec), &place, LVIR_BOUNDS);
        SetTextColor(dc, colors.field_text);
        SetBkColor(dc, colors.field);
        ExtTextOutW(dc, 0, 0, ETO_OPAQUE, &place, L"", 0, nullptr);
        const HGDIOBJ before = SelectObject(dc, theme()->bold_font());
        place.left += scaled(6, theme()->dpi());
        const std::wstring words = wide(row.heading);
        DrawTextW(dc, words.c_str(), -1, &place, DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS | DT_NOPREFIX);
        SelectObject(dc, before);
        return CDRF_SKIPDEFAULT;
    }
    const DeviceIcon icon = icon_of(*row.device);
    return theme()->color_row(drawing, icon == DeviceIcon::available ? colors.field_text
                                       : icon == DeviceIcon::in_use  ? colors.dimmed
                                                                     : colors.wrong);
}

}  // namespace vex::gui
