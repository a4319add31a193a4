#include "sdk/gui/address_dialog.h"

#include <utility>

#include "sdk/control/worker.h"
#include "sdk/device/PvDevice.h"
#include "sdk/gui/dialog.h"

namespace vex::gui {

namespace {

constexpr std::chrono::milliseconds longest_setting{5000};

class AddressContent final : public Dialog {
public:
    explicit AddressContent(AddressSettings proposal) : settings_(std::move(proposal)) {}
    ~AddressContent() override
    {
        if (worker_) {
            worker_->stop(longest_setting);
        }
    }

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::address_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {420, 220}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {320, 220}; }
    [[nodiscard]] bool has_choice() const noexcept override { return is_set_; }

private:
    [[nodiscard]] bool make_controls(HWND window) override
    {
        const auto add = [&](Text name, const std::string& value, HWND& label, HWND& edit) {
            label = add_label(window, 0, name);
            edit = add_edit(window, 0, name);
            set_text(edit, value);
        };
        add(Text::address_address, settings_.address, labels_[0], address_);
        add(Text::address_mask, settings_.mask, labels_[1], mask_);
        add(Text::address_gateway, settings_.gateway, labels_[2], gateway_);
        state_ = add_label(window, 0, Text::address_setting);
        set_text(state_, std::string());
        ok_ = add_button(window, IDOK, Text::ok, BS_DEFPUSHBUTTON);
        cancel_ = add_button(window, IDCANCEL, Text::cancel);
        return address_ != nullptr;
    }

    void opened() override
    {
        is_set_ = false;
        SetFocus(address_);
    }

    void place(const RECT& inside, const Metrics& metrics) override
    {
        Placing placing(9);
        RECT rest = inside;
        const HWND edits[] = {address_, mask_, gateway_};
        for (int index = 0; index < 3; ++index) {
            RECT line = cut_top(rest, metrics.line, metrics.gap);
            placing.put(labels_[index], cut_left(line, metrics.button, metrics.gap));
            placing.put(edits[index], line);
        }
        RECT bottom = cut_bottom(rest, metrics.line, metrics.gap);
        placing.put(cancel_, cut_right(bottom, metrics.button, metrics.gap));
        placing.put(ok_, cut_right(bottom, metrics.button, metrics.gap));
        placing.put(state_, cut_top(rest, metrics.line, metrics.gap));
    }

    bool command(unsigned id, unsigned /*notification*/, HWND /*control*/) override
    {
        if (id == IDCANCEL) {
            close();
        } else if (id == IDOK) {
            set();
        } else {
            return false;
        }
        return true;
    }

    void set()
    {
        set_enabled(ok_, false, cancel_);
        set_text(state_, Text::address_setting);
        settings_.address = text_of(address_);
        settings_.mask = text_of(mask_);
        settings_.gateway = text_of(gateway_);
        worker_ = std::make_unique<control::Worker>(
            "pv-force-ip", [settings = settings_, calls = calls(), this](control::Worker::Signals&) {
                PvResult result = PvDevice::SetIPConfiguration(PvString(settings.mac), PvString(settings.address),
                                                               PvString(settings.mask), PvString(settings.gateway));
                // dropped when the window has gone, and this object perhaps with it
                calls->post([this, result = std::move(result)] { tell(result); });
            });
    }

    void tell(const PvResult& result)
    {
        EnableWindow(ok_, TRUE);
        if (result.IsOK()) {
            is_set_ = true;
            close();
        } else {
            set_text(state_, std::string(result.description()));
            SetFocus(address_);
        }
    }

    AddressSettings settings_;
    std::unique_ptr<control::Worker> worker_;
    bool is_set_ = false;
    HWND labels_[3] = {};
    HWND address_ = nullptr;
    HWND mask_ = nullptr;
    HWND gateway_ = nullptr;
    HWND state_ = nullptr;
    HWND ok_ = nullptr;
    HWND cancel_ = nullptr;
};

}  // namespace

AddressDialog::AddressDialog(AddressSettings proposal) : PvWnd(std::make_shared<AddressContent>(std::move(proposal))) {}

}  // namespace vex::gui
