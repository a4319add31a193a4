// The field in which a value of a table is changed.
#pragma once

#include <memory>
#include <string>

#include "sdk/browser/editing.h"
#include "sdk/browser/feature_reader.h"
#include "sdk/gui/theme.h"
#include "sdk/gui/win32.h"

namespace vex::gui {

/// A field, a list of entries or a field with a slider, by the feature's type, and beside it why a value was refused.
/// They are controls of a window and lie upon its table; what they tell goes to the window.
///
/// Thread safety: as the window.
class InPlaceEditor {
public:
    static constexpr unsigned id_field = 107;
    static constexpr unsigned id_entries = 108;
    static constexpr unsigned id_slider = 109;
    static constexpr unsigned id_reason = 110;

    /// Makes the controls, hidden. They go with the window.
    void make(HWND window);
    /// The window is going.
    void forget() noexcept;

    /// Begins with the value that was read. `place`: of the value in the table, in pixels of the window.
    void begin(std::shared_ptr<const browser::Feature> feature, const browser::Reading& reading, const RECT& place,
               const Theme& theme);
    void end();
    [[nodiscard]] bool is_open() const noexcept { return feature_ != nullptr; }
    [[nodiscard]] const std::shared_ptr<const browser::Feature>& feature() const noexcept { return feature_; }
    /// What is typed or chosen.
    [[nodiscard]] std::string text() const;
    /// It is not what the editor began with, or what taken() was given last.
    [[nodiscard]] bool is_changed() const { return text() != begun_with_; }
    /// What is typed was taken; another change begins here.
    void taken(const std::string& text) { begun_with_ = text; }
    /// The control is one of those in which a value is changed.
    [[nodiscard]] bool has(HWND control) const noexcept;

    /// Shows below `place` why a value was refused, with or without an open field, until hide_reason() or end().
    void show_reason(const std::string& reason, const RECT& place, const Theme& theme);
    void hide_reason();
    [[nodiscard]] bool shows_reason() const noexcept { return !reason_text_.empty(); }
    /// The answer to WM_DRAWITEM of the reason.
    void draw_reason(const DRAWITEMSTRUCT& drawing, const Theme& theme) const;

    /// The slider was moved: its value goes into the field. False for another control.
    bool slide(HWND control);

private:
    void begin_entries(const browser::Reading& reading, const RECT& place, unsigned dpi);
    void begin_field(const browser::Reading& reading, RECT place, const Theme& theme);
    void set_scale(const browser::Reading& reading);

    HWND window_ = nullptr;
    HWND field_ = nullptr;
    HWND entries_ = nullptr;
    HWND slider_ = nullptr;
    HWND reason_ = nullptr;
    std::shared_ptr<const browser::Feature> feature_;
    std::string begun_with_;
    std::string reason_text_;
    browser::SliderScale scale_;
};

}  // namespace vex::gui
