// The inside of the serial bridge manager.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sdk/bridge_manager/manager.h"
#include "sdk/bridge_manager/row_texts.h"
#include "sdk/gui/dialog.h"

class PvDevice;
class PvPropertyList;
class PvSerialBridgeManagerWnd;
class PvStringList;

namespace vex::gui {

/// Thread safety: as Dialog.
class BridgeManagerContent final : public Dialog {
public:
    /// Shows an array to the user, above a window.
    using Browse = std::function<void(HWND above, PvGenParameterArray& array, const PvString& name)>;

    BridgeManagerContent();

    /// The owner is told of arrays until the end.
    void attach(PvSerialBridgeManagerWnd& owner) noexcept { owner_ = &owner; }
    /// Ends all bridges.
    void end();
    /// With one, the window has a button for it from its next showing on.
    void set_browser(Browse browse) { browse_ = std::move(browse); }

    [[nodiscard]] bridge_manager::Manager& manager() noexcept { return manager_; }
    void set_ports(std::vector<std::shared_ptr<bridge_manager::Port>> ports);
    [[nodiscard]] PvResult set_device(PvDevice* device);
    [[nodiscard]] PvResult save(PvPropertyList& list) const;
    [[nodiscard]] PvResult load(const PvPropertyList& list, PvStringList& errors);
    [[nodiscard]] PvResult recover();

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::bridges_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {900, 360}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {660, 260}; }
    [[nodiscard]] bool key(const MSG& message) override;

private:
    using Cells = std::array<std::string, bridge_manager::column_count>;

    [[nodiscard]] bool make_controls(HWND window) override;
    void opened() override;
    void place(const RECT& inside, const Metrics& metrics) override;
    bool command(unsigned id, unsigned notification, HWND control) override;
    [[nodiscard]] std::optional<LRESULT> notify(NMHDR& header) override;
    [[nodiscard]] std::optional<LRESULT> other(UINT message, WPARAM wparam, LPARAM lparam) override;
    void restyled() override;

    void take();
    void show();
    void show_rows();
    void show_chosen();
    [[nodiscard]] std::size_t chosen() const;
    void set_chosen();
    void browse_chosen();
    void copy_chosen() const;
    void fill(LVITEMW& item) const;
    [[nodiscard]] LRESULT draw(NMLVCUSTOMDRAW& drawing) const;

    PvSerialBridgeManagerWnd* owner_ = nullptr;
    bridge_manager::Manager manager_;
    Browse browse_;
    bool has_device_ = false;
    std::vector<Cells> cells_;  ///< as they are shown
    bool showing_ = false;      ///< rows are being put in: what the list tells is no choice

    HWND list_ = nullptr;
    HWND start_ = nullptr;
    HWND stop_ = nullptr;
    HWND settings_ = nullptr;
    HWND parameters_ = nullptr;
    HWND recover_ = nullptr;
    HWND reset_ = nullptr;
    HWND status_ = nullptr;
};

}  // namespace vex::gui
