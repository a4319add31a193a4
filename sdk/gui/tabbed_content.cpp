#include "sdk/gui/tabbed_content.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/gui/frame.h"

namespace vex::gui {

namespace {

constexpr unsigned id_tabs = 101;
constexpr unsigned id_page = 102;

}  // namespace

// ---- tabs ----

void TabbedContent::add(PvGenParameterArray& array, const PvString& name)
{
    Tab tab;
    tab.array = &array;
    tab.lifetime = array.lifetime();
    tab.name = name;
    tab.content = std::make_shared<BrowserContent>();
    // a page's window stands in this one's
    tab.content->set_host({.visibility_chosen = [this](PvGenVisibility chosen) { settings_.visibility = chosen; },
                           .key = [this](const MSG& message) { return page_key(message); }});
    tab.content->set_array(&array);
    tabs_.push_back(std::move(tab));
    show_tabs();
    if (chosen_ + 1 == tabs_.size()) {
        open_page();
    }
}

void TabbedContent::remove(std::size_t index)
{
    if (index == chosen_) {
        close_page();
    }
    tabs_.erase(tabs_.begin() + static_cast<std::ptrdiff_t>(index));
    if (chosen_ > index || (chosen_ == tabs_.size() && chosen_ > 0)) {
        --chosen_;
    }
    show_tabs();
    open_page();
}

void TabbedContent::rename(std::size_t index, const PvString& name)
{
    tabs_[index].name = name;
    show_tabs();
}

void TabbedContent::remove_all()
{
    close_page();
    tabs_.clear();
    chosen_ = 0;
    show_tabs();
}

void TabbedContent::choose(std::size_t index)
{
    if (index == chosen_ || index >= tabs_.size()) {
        return;
    }
    close_page();
    chosen_ = index;
    TabCtrl_SetCurSel(tab_control_, static_cast<int>(index));
    open_page();
}

// ---- what holds for all ----

PvGenVisibility TabbedContent::visibility() const { return settings_.visibility.value_or(PvGenVisibilityBeginner); }

PvResult TabbedContent::set_visibility(PvGenVisibility visibility)
{
    if (!browser::is_visibility(visibility)) {
        return failure(PvResult::InvalidParameter, "There is no visibility ", static_cast<std::int32_t>(visibility));
    }
    settings_.visibility = visibility;
    return page_ != nullptr && is_chosen_there() ? tabs_[chosen_].content->set_visibility(visibility)
                                                 : PvResult(PvResult::OK);
}

browser::BrowserState TabbedContent::state() const
{
    browser::BrowserState now = page_ != nullptr && is_chosen_there() ? tabs_[chosen_].content->state() : settings_;
    now.visibility = visibility();
    now.tab = static_cast<std::uint32_t>(chosen_);
    return now;
}

void TabbedContent::set_state(const browser::BrowserState& state)
{
    settings_ = this->state();
    settings_.visibility = state.visibility ? state.visibility : settings_.visibility;
    settings_.order = state.order ? state.order : settings_.order;
    settings_.collapsed = state.collapsed ? state.collapsed : settings_.collapsed;
    settings_.details_height = state.details_height ? state.details_height : settings_.details_height;
    for (std::size_t column = 0; column < settings_.widths.size(); ++column) {
        settings_.widths[column] = state.widths[column] ? state.widths[column] : settings_.widths[column];
    }
    if (page_ != nullptr && is_chosen_there()) {
        tabs_[chosen_].content->set_state(settings_);
    }
    if (state.tab) {
        choose(*state.tab);
    }
}

// ---- the window ----

bool TabbedContent::make_controls(HWND window)
{
    tab_control_ = add_tabs(window, id_tabs, Text::browser_tabs);
    return tab_control_ != nullptr;
}

void TabbedContent::opened()
{
    show_tabs();
    open_page();
}

void TabbedContent::closing() noexcept
{
    try {
        close_page();
    } catch (const std::bad_alloc&) {
        page_.reset();  // and what was set in it is lost
    }
    tab_control_ = nullptr;
}

void TabbedContent::place(const RECT& inside, const Metrics& /*metrics*/)
{
    inside_ = inside;
    {
        Placing placing(1);
        placing.put(tab_control_, inside);
    }
    if (page_ != nullptr) {
        page_->set_position(page_place());
    }
}

RECT TabbedContent::page_place() const
{
    RECT page = inside_;
    TabCtrl_AdjustRect(tab_control_, FALSE, &page);
    return page;
}

bool TabbedContent::command(unsigned /*id*/, unsigned /*notification*/, HWND /*control*/) { return false; }

std::optional<LRESULT> TabbedContent::notify(NMHDR& header)
{
    if (header.idFrom != id_tabs || header.code != static_cast<UINT>(TCN_SELCHANGE)) {
        return std::nullopt;
    }
    if (const int index = TabCtrl_GetCurSel(tab_control_); index >= 0) {
        choose(static_cast<std::size_t>(index));
    }
    return 0;
}

/// The system tells of new colours to top-level windows only.
void TabbedContent::restyled()
{
    if (page_ != nullptr) {
        SendMessageW(page_->window(), WM_SYSCOLORCHANGE, 0, 0);
    }
}

void TabbedContent::show_tabs()
{
    if (window() == nullptr || tab_control_ == nullptr) {
        return;
    }
    TabCtrl_DeleteAllItems(tab_control_);
    int index = 0;
    for (const Tab& tab : tabs_) {
        std::wstring words = tab.name.empty() ? std::wstring(text(Text::browser_title)) : tab.name.GetWide();
        TCITEMW item{};
        item.mask = TCIF_TEXT;
        item.pszText = words.data();
        SendMessageW(tab_control_, TCM_INSERTITEMW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&item));
        ++index;
    }
    TabCtrl_SetCurSel(tab_control_, static_cast<int>(chosen_));
}

/// Gives the chosen browser its window, if there is one of this object's and it has none.
void TabbedContent::open_page()
{
    if (page_ != nullptr || window() == nullptr || tab_control_ == nullptr || !is_chosen_there()) {
        return;
    }
    const std::shared_ptr<BrowserContent> content = tabs_[chosen_].content;
    content->set_state(settings_);
    page_ = std::make_shared<Frame>(content);
    page_->set_position(page_place());
    if (page_->create_in(window(), id_page).IsOK()) {
        SetWindowPos(page_->window(), HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    } else {
        page_.reset();
    }
}

void TabbedContent::close_page()
{
    if (page_ == nullptr) {
        return;
    }
    const std::shared_ptr<Frame> page = std::exchange(page_, nullptr);
    if (is_chosen_there()) {
        const PvGenVisibility all = visibility();
        settings_ = tabs_[chosen_].content->state();
        settings_.visibility = all;
    }
    page->close();
}

// ---- keys ----

bool TabbedContent::key(const MSG& message) { return page_key(message); }

/// A key that the browser has no use for.
bool TabbedContent::page_key(const MSG& message)
{
    if (message.message != WM_KEYDOWN) {
        return false;
    }
    const bool with_control = GetKeyState(VK_CONTROL) < 0;
    const bool is_back = message.wParam == VK_PRIOR || GetKeyState(VK_SHIFT) < 0;
    if (with_control && !tabs_.empty() &&
        (message.wParam == VK_TAB || message.wParam == VK_PRIOR || message.wParam == VK_NEXT)) {
        choose((chosen_ + (is_back ? tabs_.size() - 1 : 1)) % tabs_.size());
        return true;
    }
    if (message.wParam == VK_ESCAPE && !(GetWindowLongW(window(), GWL_STYLE) & WS_CHILD)) {
        close();
        return true;
    }
    return false;
}

}  // namespace vex::gui
