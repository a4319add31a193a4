// The inside of a feature browser with tabs.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "sdk/base/PvString.h"
#include "sdk/browser/browser_state.h"
#include "sdk/gui/browser_content.h"
#include "sdk/gui/dialog.h"

class PvGenParameterArray;

namespace vex::gui {

class Frame;

/// A browser for each array, of which the chosen one has a window. All look the same: what is set in one holds for the
/// others when they are chosen.
///
/// Thread safety: as Dialog.
class TabbedContent final : public Dialog {
public:
    /// One array. The name is as it was given, also where none is shown.
    struct Tab {
        PvGenParameterArray* array = nullptr;  ///< good until `lifetime` expires
        std::weak_ptr<const void> lifetime{};
        PvString name{};
        std::shared_ptr<BrowserContent> content{};
    };

    [[nodiscard]] const std::vector<Tab>& tabs() const noexcept { return tabs_; }
    void add(PvGenParameterArray& array, const PvString& name);
    /// Of a tab that is there, as the two that follow.
    void remove(std::size_t index);
    void rename(std::size_t index, const PvString& name);
    void remove_all();

    [[nodiscard]] PvGenVisibility visibility() const;
    [[nodiscard]] PvResult set_visibility(PvGenVisibility visibility);
    [[nodiscard]] browser::BrowserState state() const;
    void set_state(const browser::BrowserState& state);

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::browser_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {680, 760}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {460, 420}; }
    [[nodiscard]] bool key(const MSG& message) override;

private:
    [[nodiscard]] bool make_controls(HWND window) override;
    void opened() override;
    void closing() noexcept override;
    void place(const RECT& inside, const Metrics& metrics) override;
    bool command(unsigned id, unsigned notification, HWND control) override;
    [[nodiscard]] std::optional<LRESULT> notify(NMHDR& header) override;
    void restyled() override;

    void show_tabs();
    void choose(std::size_t index);
    void open_page();
    void close_page();
    [[nodiscard]] RECT page_place() const;
    bool page_key(const MSG& message);
    [[nodiscard]] bool is_chosen_there() const noexcept { return chosen_ < tabs_.size(); }

    std::vector<Tab> tabs_;
    std::size_t chosen_ = 0;
    browser::BrowserState settings_;  ///< what holds for all; the chosen one's own are newer
    RECT inside_{};
    HWND tab_control_ = nullptr;
    std::shared_ptr<Frame> page_;  ///< the chosen browser's window, while there is one
};

}  // namespace vex::gui
