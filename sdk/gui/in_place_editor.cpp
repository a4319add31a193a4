#include "sdk/gui/in_place_editor.h"

#include <algorithm>
#include <utility>

#include "sdk/base/numbers.h"
#include "sdk/gui/controls.h"

namespace vex::gui {

namespace {

constexpr int least_width_with_slider = 150;  // of the design
constexpr int entries_height = 240;
constexpr int field_margin = 7;
constexpr int reason_margin = 6;
constexpr int slider_page = browser::SliderScale::steps / 20;

int width_of(const RECT& place) { return static_cast<int>(place.right - place.left); }
int height_of(const RECT& place) { return static_cast<int>(place.bottom - place.top); }

void put_on_top(HWND control, const RECT& place)
{
    SetWindowPos(control, HWND_TOP, static_cast<int>(place.left), static_cast<int>(place.top), width_of(place),
                 height_of(place), SWP_SHOWWINDOW | SWP_NOACTIVATE);
}

/// As high as a line of text wants it, in the middle: an edit control writes at its top.
RECT field_in(RECT place, const Theme& theme)
{
    const HDC dc = GetDC(nullptr);
    const HGDIOBJ before = SelectObject(dc, theme.font());
    TEXTMETRICW facts{};
    GetTextMetricsW(dc, &facts);
    SelectObject(dc, before);
    ReleaseDC(nullptr, dc);
    const int height = static_cast<int>(facts.tmHeight) + scaled(field_margin, theme.dpi());
    InflateRect(&place, 0, std::min((height - height_of(place)) / 2, 0));
    return place;
}

}  // namespace

void InPlaceEditor::make(HWND window)
{
    window_ = window;
    field_ = add_edit(window, id_field, Text::browser_value);
    entries_ = add_choice(window, id_entries, Text::browser_entries);
    slider_ = add_slider(window, id_slider, Text::browser_slider);
    reason_ = add_label(window, id_reason, Text::browser_reason);
    SetWindowLongPtrW(reason_, GWL_STYLE, (GetWindowLongPtrW(reason_, GWL_STYLE) & ~SS_TYPEMASK) | SS_OWNERDRAW);
    SendMessageW(field_, EM_SETLIMITTEXT, 0, 0);  // none
    SendMessageW(slider_, TBM_SETRANGE, FALSE, MAKELPARAM(0, browser::SliderScale::steps));
    SendMessageW(slider_, TBM_SETPAGESIZE, 0, slider_page);
    for (const HWND control : {field_, entries_, slider_, reason_}) {
        ShowWindow(control, SW_HIDE);
    }
}

void InPlaceEditor::forget() noexcept
{
    window_ = field_ = entries_ = slider_ = reason_ = nullptr;
    feature_.reset();
    reason_text_.clear();
}

void InPlaceEditor::begin(std::shared_ptr<const browser::Feature> feature, const browser::Reading& reading,
                          const RECT& place, const Theme& theme)
{
    end();
    feature_ = std::move(feature);
    if (feature_->type == PvGenTypeEnum) {
        begin_entries(reading, place, theme.dpi());
    } else {
        begin_field(reading, place, theme);
    }
    begun_with_ = text();
}

void InPlaceEditor::begin_entries(const browser::Reading& reading, const RECT& place, unsigned dpi)
{
    SendMessageW(entries_, CB_RESETCONTENT, 0, 0);
    for (const std::string& entry : reading.entries) {
        const LRESULT index = SendMessageW(entries_, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide(entry).c_str()));
        if (entry == reading.text) {
            SendMessageW(entries_, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
        }
    }
    RECT with_list = place;
    with_list.bottom += scaled(entries_height, dpi);
    put_on_top(entries_, with_list);
    SetFocus(entries_);
    SendMessageW(entries_, CB_SHOWDROPDOWN, TRUE, 0);
}

void InPlaceEditor::begin_field(const browser::Reading& reading, RECT place, const Theme& theme)
{
    set_scale(reading);
    if (scale_.is_useful() && width_of(place) >= scaled(least_width_with_slider, theme.dpi())) {
        const RECT half = cut_right(place, width_of(place) / 2, 0);
        SendMessageW(slider_, TBM_SETPOS, TRUE, scale_.position_of(reading.number));
        put_on_top(slider_, half);
    }
    const std::string value = browser::editable_text(*feature_, reading);
    SetWindowTextW(field_, wide(value).c_str());
    put_on_top(field_, field_in(place, theme));
    SetFocus(field_);
    SendMessageW(field_, EM_SETSEL, 0, -1);
}

void InPlaceEditor::set_scale(const browser::Reading& reading)
{
    scale_ = {};
    if (feature_->type == PvGenTypeInteger && reading.valid_values.empty()) {
        scale_ =
            browser::SliderScale::of_integers(reading.min, reading.max, reading.increment, feature_->representation);
    } else if (feature_->type == PvGenTypeFloat) {
        scale_ = browser::SliderScale::of_floats(reading.least, reading.most, feature_->representation);
    }
}

void InPlaceEditor::end()
{
    // first: what the controls tell when they are hidden concerns nobody any more
    feature_.reset();
    hide_reason();
    SendMessageW(entries_, CB_SHOWDROPDOWN, FALSE, 0);
    for (const HWND control : {field_, entries_, slider_}) {
        ShowWindow(control, SW_HIDE);
    }
}

std::string InPlaceEditor::text() const
{
    if (feature_ == nullptr) {
        return {};
    }
    return text_of(feature_->type == PvGenTypeEnum ? entries_ : field_);
}

bool InPlaceEditor::has(HWND control) const noexcept
{
    return control != nullptr && (control == field_ || control == entries_ || control == slider_);
}

void InPlaceEditor::show_reason(const std::string& reason, const RECT& place, const Theme& theme)
{
    reason_text_ = reason;
    set_text(reason_, reason);
    RECT inside{};
    GetClientRect(window_, &inside);
    RECT needed{0, 0, std::max(width_of(place), width_of(inside) / 2), 0};
    const HDC dc = GetDC(reason_);
    const HGDIOBJ before = SelectObject(dc, theme.font());
    DrawTextW(dc, wide(reason).c_str(), -1, &needed, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(dc, before);
    ReleaseDC(reason_, dc);
    const int margin = scaled(reason_margin, theme.dpi());
    const int width = width_of(needed) + 2 * margin;
    const int height = height_of(needed) + 2 * margin;
    // below the value, or above it where there is no room
    const bool fits = place.bottom + height <= inside.bottom;
    const LONG left = std::max<LONG>(std::min<LONG>(place.left, inside.right - width), 0);
    const LONG top = fits ? place.bottom : place.top - height;
    put_on_top(reason_, {left, top, left + width, top + height});
    InvalidateRect(reason_, nullptr, FALSE);
}

void InPlaceEditor::hide_reason()
{
    if (!reason_text_.empty()) {
        reason_text_.clear();
        ShowWindow(reason_, SW_HIDE);
    }
}

void InPlaceEditor::draw_reason(const DRAWITEMSTRUCT& drawing, const Theme& theme) const
{
    const Colors& colors = theme.colors();
    const auto brush = static_cast<HBRUSH>(GetStockObject(DC_BRUSH));
    RECT place = drawing.rcItem;
    SetDCBrushColor(drawing.hDC, colors.field);
    FillRect(drawing.hDC, &place, brush);
    SetDCBrushColor(drawing.hDC, colors.wrong);
    FrameRect(drawing.hDC, &place, brush);
    const int margin = scaled(reason_margin, theme.dpi());
    InflateRect(&place, -margin, -margin);
    SetTextColor(drawing.hDC, colors.wrong);
    SetBkMode(drawing.hDC, TRANSPARENT);
    const HGDIOBJ before = SelectObject(drawing.hDC, theme.font());
    DrawTextW(drawing.hDC, wide(reason_text_).c_str(), -1, &place, DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(drawing.hDC, before);
}

bool InPlaceEditor::slide(HWND control)
{
    if (control == nullptr || control != slider_ || feature_ == nullptr) {
        return false;
    }
    const int position = static_cast<int>(SendMessageW(slider_, TBM_GETPOS, 0, 0));
    set_text(field_, feature_->type == PvGenTypeInteger
                         ? browser::integer_text(scale_.integer_at(position), feature_->representation)
                         : browser::float_text(scale_.float_at(position)));
    return true;
}

}  // namespace vex::gui
