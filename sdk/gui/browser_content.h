// The inside of a feature browser.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "sdk/browser/browser_state.h"
#include "sdk/browser/columns.h"
#include "sdk/browser/feature_reader.h"
#include "sdk/browser/feature_tree.h"
#include "sdk/gui/dialog.h"
#include "sdk/gui/in_place_editor.h"

class PvGenBrowserWnd;
class PvGenParameterArray;

namespace vex::genicam {
class ArrayGate;
}

namespace vex::gui {

/// Its parts are in browser_content.cpp (the features and the window), browser_view.cpp (what is shown) and
/// browser_input.cpp (what the user does).
///
/// Thread safety: as Dialog. The owner and the host may do anything in a call, also let this object go; so whoever
/// calls a member holds a share in it.
class BrowserContent final : public Dialog {
public:
    /// A window that has the browser as a part of itself. Each may be missing.
    struct Host {
        std::function<void(PvGenVisibility)> visibility_chosen{};  ///< by the user
        std::function<bool(const MSG&)> key{};                     ///< one that the browser does not use
    };

    BrowserContent();
    ~BrowserContent() override;

    /// The owner is asked what is displayed until it detaches.
    void attach(PvGenBrowserWnd& owner) noexcept { owner_ = &owner; }
    void detach() noexcept { owner_ = nullptr; }
    void set_host(Host host) { host_ = std::move(host); }

    /// Null for none.
    void set_array(const PvGenParameterArray* array);
    [[nodiscard]] PvGenVisibility visibility() const noexcept { return tree_.visibility(); }
    /// InvalidParameter for what is none; nothing is changed then.
    [[nodiscard]] PvResult set_visibility(PvGenVisibility visibility);
    [[nodiscard]] browser::BrowserState state() const;
    /// What is not told stays as it is.
    void set_state(const browser::BrowserState& state);

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::browser_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {640, 720}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {420, 360}; }
    [[nodiscard]] bool key(const MSG& message) override;

private:
    /// What a feature was like last.
    struct Shown {
        browser::Reading reading{};
        ULONGLONG flashes_until = 0;  ///< 0: its value has not just changed
    };

    [[nodiscard]] bool make_controls(HWND window) override;
    void opened() override;
    void closing() noexcept override;
    void place(const RECT& inside, const Metrics& metrics) override;
    bool command(unsigned id, unsigned notification, HWND control) override;
    [[nodiscard]] std::optional<LRESULT> notify(NMHDR& header) override;
    [[nodiscard]] std::optional<LRESULT> other(UINT message, WPARAM wparam, LPARAM lparam) override;
    void restyled() override;

    // the features
    void load();
    void reload();
    void check_array();
    void forget_features();
    void begin_reading();
    void take(std::uint64_t epoch, const std::shared_ptr<const browser::Feature>& feature, browser::Reading reading);
    void take(std::uint64_t epoch, const std::shared_ptr<const browser::Feature>& feature,
              const browser::Outcome& outcome);
    void refresh();
    [[nodiscard]] browser::Widths widths() const noexcept;
    void fit_columns(int width);

    // what is shown
    void show_all();
    void show_rows();
    void show_visible();
    void show_chosen();
    void show_state();
    void show_settings();
    void redraw(const browser::Feature* feature) const;
    void end_flashes();
    [[nodiscard]] const Shown* shown(const browser::Feature* feature) const;
    [[nodiscard]] const browser::Row* row_at(int item) const noexcept;
    [[nodiscard]] std::string cell(const browser::Row& row, browser::Column column) const;
    void fill(LVITEMW& item) const;
    void fill_tip(NMLVGETINFOTIPW& tip) const;
    [[nodiscard]] LRESULT draw(NMLVCUSTOMDRAW& drawing);
    /// Of a cell, in pixels of the list and of the window.
    [[nodiscard]] RECT place_in_list(int item, browser::Column column) const;
    [[nodiscard]] RECT place_of(int item, browser::Column column) const;

    // what the user does
    bool list_key(const MSG& message);
    bool editor_key(const MSG& message);
    void click(const NMITEMACTIVATE& where);
    void expand(int item, bool expanded);
    void step_out(int item);
    void activate(int item);
    void edit(int item);
    void commit();
    void leave_editor();
    void end_editing();
    void slide(HWND control);
    void copy_chosen() const;
    [[nodiscard]] bool drag(UINT message, LPARAM lparam);
    [[nodiscard]] int chosen_item() const;

    static constexpr UINT_PTR flash_timer = 1;
    static constexpr UINT_PTR array_timer = 2;

    PvGenBrowserWnd* owner_ = nullptr;
    Host host_;
    const PvGenParameterArray* array_ = nullptr;  ///< good behind the gate
    std::shared_ptr<genicam::ArrayGate> gate_;
    bool is_loaded_ = false;  ///< the tree has the features that are behind the gate
    bool have_gone_ = false;  ///< the features that there were
    browser::FeatureTree tree_;
    std::map<const browser::Feature*, Shown> shown_;  ///< of those that the tree has
    browser::FeatureReader::Features visible_;
    std::uint64_t epoch_ = 0;  ///< counts readers: what an earlier one told is dropped
    InPlaceEditor editor_;
    std::shared_ptr<const browser::Feature> edit_wanted_;  ///< a register that is still being read
    std::uint64_t editor_edit_ = 0;                        ///< the edit of the open field that is under way; 0 for none
    std::string sent_;                                     ///< its text, and that of the last that was refused
    bool is_sliding_ = false;                              ///< the field stays open when its value is taken
    bool is_showing_ = false;                              ///< rows are being put in: what the list tells is no choice
    bool is_dragging_ = false;
    RECT splitter_{};
    int details_height_ = 130;  ///< of the design
    browser::Widths widths_{240, 220, 60, 100};
    browser::Widths fitted_{};  ///< pixels that columns were given; another width is the user's

    HWND filter_label_ = nullptr;
    HWND filter_ = nullptr;
    HWND visibility_label_ = nullptr;
    HWND visibility_choice_ = nullptr;
    HWND alphabetical_ = nullptr;
    HWND refresh_ = nullptr;
    HWND list_ = nullptr;
    HWND details_ = nullptr;
    HWND state_ = nullptr;

    std::unique_ptr<browser::FeatureReader> reader_;  ///< the first to go, while there is a window
};

}  // namespace vex::gui
