// What a user does in a browser.

#include <algorithm>
#include <utility>

#include "sdk/gui/browser_content.h"
#include "sdk/gui/browser_row.h"
#include "sdk/gui/clipboard.h"

namespace vex::gui {

using browser::Column;

// ---- keys ----

bool BrowserContent::key(const MSG& message)
{
    if (message.message == WM_KEYDOWN) {
        if (message.wParam == VK_F5) {
            refresh();
            return true;
        }
        if (message.wParam == 'F' && GetKeyState(VK_CONTROL) < 0) {
            SetFocus(filter_);
            return true;
        }
        if ((editor_.is_open() && editor_key(message)) || (message.hwnd == list_ && list_key(message))) {
            return true;
        }
    }
    return host_.key && host_.key(message);
}

bool BrowserContent::list_key(const MSG& message)
{
    const int item = chosen_item();
    switch (message.wParam) {
    case VK_RETURN:
    case VK_F2:
    case VK_SPACE: activate(item); return item >= 0;
    case VK_RIGHT:
    case VK_ADD: expand(item, true); return true;
    case VK_SUBTRACT: expand(item, false); return true;
    case VK_LEFT: step_out(item); return true;
    case VK_ESCAPE:
        if (editor_.shows_reason()) {
            editor_.hide_reason();
            return true;
        }
        return false;
    case 'C':
        if (GetKeyState(VK_CONTROL) < 0) {
            copy_chosen();
            return true;
        }
        return false;
    default: return false;
    }
}

bool BrowserContent::editor_key(const MSG& message)
{
    if (!editor_.has(message.hwnd)) {
        return false;
    }
    switch (message.wParam) {
    case VK_RETURN:
        is_sliding_ = false;
        commit();
        return true;
    case VK_ESCAPE: end_editing(); return true;
    default: return false;
    }
}

// ---- rows ----

void BrowserContent::expand(int item, bool expanded)
{
    const browser::Row* const row = row_at(item);
    if (row != nullptr && row->category != nullptr && row->is_expanded != expanded) {
        end_editing();
        tree_.expand(static_cast<std::size_t>(item), expanded);
        show_rows();
    }
}

/// Closes an open category; from anywhere else to the category around it.
void BrowserContent::step_out(int item)
{
    const browser::Row* const row = row_at(item);
    if (row == nullptr) {
        return;
    }
    if (row->category != nullptr && row->is_expanded) {
        expand(item, false);
    } else if (const auto above = tree_.parent_of(static_cast<std::size_t>(item))) {
        tree_.choose(above);
        show_rows();
        show_chosen();
        ListView_EnsureVisible(list_, static_cast<int>(*above), FALSE);
    }
}

void BrowserContent::click(const NMITEMACTIVATE& where)
{
    const browser::Row* const row = row_at(where.iItem);
    if (row == nullptr || theme() == nullptr) {
        return;
    }
    const RECT name = place_in_list(where.iItem, Column::name);
    if (row->category != nullptr) {
        const RECT expander = expander_of(name, row->depth, theme()->dpi());
        if (PtInRect(&expander, where.ptAction)) {
            expand(where.iItem, !row->is_expanded);
        }
        return;
    }
    const RECT value = place_in_list(where.iItem, Column::value);
    if (PtInRect(&value, where.ptAction)) {
        activate(where.iItem);
    }
}

void BrowserContent::copy_chosen() const
{
    if (const browser::Row* const row = row_at(chosen_item()); row != nullptr && row->feature != nullptr) {
        copy_to_clipboard(window(), row->feature->name + " = " + cell(*row, Column::value));
    }
}

// ---- editing ----

/// A row was double-clicked, its value clicked, or Enter pressed on it.
void BrowserContent::activate(int item)
{
    const browser::Row* const row = row_at(item);
    if (row == nullptr) {
        return;
    }
    if (row->category != nullptr) {
        expand(item, !row->is_expanded);
        return;
    }
    const Shown* const known = shown(row->feature.get());
    if (reader_ == nullptr || known == nullptr || !GenApi::is_writable(known->reading.access)) {
        return;  // the details say why
    }
    end_editing();
    if (row->feature->type == PvGenTypeCommand) {
        static_cast<void>(reader_->execute(row->feature));
    } else if (row->feature->type == PvGenTypeBoolean) {
        static_cast<void>(reader_->set(row->feature, known->reading.is_on ? "0" : "1"));
    } else if (row->feature->type == PvGenTypeRegister && known->reading.is_part()) {
        edit_wanted_ = row->feature;  // once all of it has been read
    } else {
        edit(item);
    }
}

void BrowserContent::edit(int item)
{
    ListView_EnsureVisible(list_, item, FALSE);
    const browser::Row& row = *row_at(item);
    const Shown* const known = shown(row.feature.get());
    if (known != nullptr && theme() != nullptr) {
        editor_.begin(row.feature, known->reading, place_of(item, Column::value), *theme());
    }
}

/// Hands on what the open field has, once; the field stays until it was taken.
void BrowserContent::commit()
{
    if (!editor_.is_open() || editor_edit_ != 0 || reader_ == nullptr) {
        return;
    }
    if (!editor_.is_changed()) {
        if (!is_sliding_) {
            end_editing();
        }
        return;
    }
    editor_.hide_reason();
    sent_ = editor_.text();
    editor_edit_ = reader_->set(editor_.feature(), sent_);
}

/// The focus has gone elsewhere, perhaps, or the list of entries was closed.
void BrowserContent::leave_editor()
{
    if (!editor_.is_open() || editor_edit_ != 0) {
        return;
    }
    if (editor_.feature()->type == PvGenTypeEnum || !editor_.has(GetFocus())) {
        is_sliding_ = false;
        // what was refused stays until it is changed or given up
        if (!editor_.shows_reason() || editor_.text() != sent_) {
            commit();
        }
    }
}

void BrowserContent::end_editing()
{
    if (window() == nullptr) {
        return;
    }
    edit_wanted_.reset();
    const bool had_focus = editor_.has(GetFocus());
    editor_.end();
    editor_edit_ = 0;
    is_sliding_ = false;
    sent_.clear();
    if (had_focus) {
        SetFocus(list_);
    }
}

void BrowserContent::slide(HWND control)
{
    if (editor_.slide(control)) {
        is_sliding_ = true;
        commit();
    }
}

}  // namespace vex::gui
