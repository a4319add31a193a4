// The inside of the device finder.
#pragma once

#include <memory>
#include <string>

#include "sdk/finder/device_table.h"
#include "sdk/finder/live_search.h"
#include "sdk/gui/dialog.h"

class PvDeviceFinderWnd;
class PvDeviceInfo;

namespace vex::gui {

/// Thread safety: as Dialog.
class FinderContent final : public Dialog {
public:
    /// The owner is asked about devices until it detaches.
    void attach(PvDeviceFinderWnd& owner) noexcept { owner_ = &owner; }
    void detach() noexcept { owner_ = nullptr; }
    [[nodiscard]] PvDeviceInfo* selected() const noexcept;

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::finder_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {820, 520}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {520, 360}; }
    [[nodiscard]] bool has_choice() const noexcept override { return accepted_; }
    [[nodiscard]] bool key(const MSG& message) override;

private:
    [[nodiscard]] bool make_controls(HWND window) override;
    void opened() override;
    void closing() noexcept override;
    void place(const RECT& inside, const Metrics& metrics) override;
    bool command(unsigned id, unsigned notification, HWND control) override;
    [[nodiscard]] std::optional<LRESULT> notify(NMHDR& header) override;
    void restyled() override;

    void take(std::shared_ptr<const finder::Found> found);
    void refresh();
    void show_rows();
    void show_chosen();
    void show_state();
    void accept();
    void set_address();
    void copy_details() const;
    void fill(LVITEMW& item) const;
    [[nodiscard]] LRESULT draw(NMLVCUSTOMDRAW& drawing) const;

    PvDeviceFinderWnd* owner_ = nullptr;
    finder::LiveSearch search_;
    finder::DeviceTable table_;
    std::shared_ptr<const finder::Device> selected_;  ///< what the user accepted
    bool accepted_ = false;
    bool showing_ = false;  ///< rows are being put in: what the list tells is no choice
    PvResult search_result_;

    HWND filter_label_ = nullptr;
    HWND filter_ = nullptr;
    HWND refresh_ = nullptr;
    HWND list_ = nullptr;
    HWND details_ = nullptr;
    HWND state_ = nullptr;
    HWND set_address_ = nullptr;
    HWND ok_ = nullptr;
    HWND cancel_ = nullptr;
};

}  // namespace vex::gui
