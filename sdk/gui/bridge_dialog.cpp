#include "sdk/gui/bridge_dialog.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "sdk/gui/dialog.h"

namespace vex::gui {

namespace {

constexpr unsigned id_kind = 101;
constexpr unsigned id_name = 102;
constexpr unsigned id_baud_rate = 103;
constexpr unsigned id_parity = 104;
constexpr unsigned id_byte_size = 105;
constexpr unsigned id_stop_bits = 106;
constexpr unsigned id_hard_coded = 107;
constexpr unsigned id_has_parameters = 108;
constexpr unsigned id_device = 109;
constexpr unsigned id_description = 110;

/// Of the choice of kinds.
constexpr int to_endpoint = 0;
constexpr int to_line = 1;

constexpr std::uint32_t least_byte_size = 5;
constexpr std::uint32_t most_byte_size = 8;
constexpr std::uint32_t usual_rates[] = {1200,   2400,    4800,    9600,    19'200, 38'400,
                                         57'600, 115'200, 230'400, 460'800, 921'600};

struct Field {
    HWND label = nullptr;
    HWND control = nullptr;
};

class BridgeDialogContent final : public Dialog {
public:
    BridgeDialogContent(const bridge_manager::Settings& settings, BridgeDialog::Apply apply)
        : settings_(settings), apply_(std::move(apply)), rates_(std::begin(usual_rates), std::end(usual_rates))
    {
        add_rate(settings.line ? settings.line->BaudRate : 0);
        add_rate(settings.hard_coded_baud_rate);
    }

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::bridges_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {480, 500}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {360, 500}; }
    [[nodiscard]] bool has_choice() const noexcept override { return is_taken_; }

private:
    [[nodiscard]] bool make_controls(HWND window) override
    {
        const auto choice = [&](Field& field, unsigned id, Text name) {
            field = {.label = add_label(window, 0, name), .control = add_choice(window, id, name)};
        };
        const auto edit = [&](Field& field, unsigned id, Text name, const PvString& value) {
            field = {.label = add_label(window, 0, name), .control = add_edit(window, id, name)};
            set_text(field.control, value.str());
        };
        const bool has_line = !settings_.serial_port.empty();
        choice(kind_, id_kind, Text::bridge_kind);
        edit(name_, id_name, Text::bridge_name, has_line ? settings_.serial_port : settings_.endpoint);
        choice(baud_rate_, id_baud_rate, Text::bridge_baud_rate);
        choice(parity_, id_parity, Text::bridge_parity);
        choice(byte_size_, id_byte_size, Text::bridge_byte_size);
        choice(stop_bits_, id_stop_bits, Text::bridge_stop_bits);
        choice(hard_coded_, id_hard_coded, Text::bridge_hard_coded);
        has_parameters_ = add_check(window, id_has_parameters, Text::bridge_has_parameters);
        edit(device_, id_device, Text::bridge_device, settings_.device);
        edit(description_, id_description, Text::bridge_description, settings_.description);
        state_ = add_label(window, 0, Text::bridge_hint, SS_LEFT | SS_NOPREFIX);  // of several lines
        ok_ = add_button(window, IDOK, Text::ok, BS_DEFPUSHBUTTON);
        cancel_ = add_button(window, IDCANCEL, Text::cancel);
        return name_.control != nullptr;
    }

    void opened() override
    {
        is_taken_ = false;
        fill_choices();
        const PvSerialPortConfiguration line = settings_.line.value_or(PvSerialPortConfiguration());
        choose_in(kind_.control, settings_.serial_port.empty() ? to_endpoint : to_line);
        choose_in(baud_rate_.control, settings_.line ? entry_of(line.BaudRate) : 0);
        choose_in(parity_.control, static_cast<int>(line.Parity));
        choose_in(byte_size_.control, static_cast<int>(line.ByteSize - least_byte_size));
        choose_in(stop_bits_.control, static_cast<int>(line.StopBits - 1));
        choose_in(hard_coded_.control,
                  settings_.hard_coded_baud_rate != 0 ? entry_of(settings_.hard_coded_baud_rate) : 0);
        SendMessageW(has_parameters_, BM_SETCHECK, settings_.has_parameters ? BST_CHECKED : BST_UNCHECKED, 0);
        enable_fields();
        SetFocus(name_.control);
    }

    void fill_choices() const
    {
        add_entry(kind_.control, Text::bridge_to_endpoint);
        add_entry(kind_.control, Text::bridge_to_line);
        add_entry(baud_rate_.control, Text::bridge_baud_rate_found);
        add_entry(hard_coded_.control, Text::bridge_hard_coded_none);
        for (const std::uint32_t rate : rates_) {
            add_entry(baud_rate_.control, std::to_string(rate));
            add_entry(hard_coded_.control, std::to_string(rate));
        }
        for (const Text name : {Text::bridge_parity_none, Text::bridge_parity_even, Text::bridge_parity_odd}) {
            add_entry(parity_.control, name);
        }
        for (std::uint32_t bits = least_byte_size; bits <= most_byte_size; ++bits) {
            add_entry(byte_size_.control, std::to_string(bits));
        }
        add_entry(stop_bits_.control, "1");
        add_entry(stop_bits_.control, "2");
    }

    void place(const RECT& inside, const Metrics& metrics) override
    {
        Placing placing(23);
        RECT rest = inside;
        const auto put = [&](const Field& field) {
            RECT line = cut_top(rest, metrics.line, metrics.gap);
            placing.put(field.label, cut_left(line, metrics.button * 3 / 2, metrics.gap));
            placing.put(field.control, line);
        };
        for (const Field* const field :
             {&kind_, &name_, &baud_rate_, &parity_, &byte_size_, &stop_bits_, &hard_coded_}) {
            put(*field);
        }
        placing.put(has_parameters_, cut_top(rest, metrics.line, metrics.gap));
        put(device_);
        put(description_);
        RECT bottom = cut_bottom(rest, metrics.line, metrics.gap);
        placing.put(cancel_, cut_right(bottom, metrics.button, metrics.gap));
        placing.put(ok_, cut_right(bottom, metrics.button, metrics.gap));
        placing.put(state_, rest);
    }

    bool command(unsigned id, unsigned notification, HWND /*control*/) override
    {
        switch (id) {
        case IDCANCEL: close(); return true;
        case IDOK: accept(); return true;
        case id_kind:
        case id_baud_rate:
            if (notification == CBN_SELCHANGE) {
                enable_fields();
            }
            return true;
        case id_has_parameters: enable_fields(); return true;
        default: return false;
        }
    }

    /// What has no meaning with what is chosen cannot be set.
    void enable_fields() const
    {
        const bool is_line = chosen_in(kind_.control) == to_line;
        const bool sets_line = chosen_in(baud_rate_.control) > 0;
        const bool has_parameters = !is_line && SendMessageW(has_parameters_, BM_GETCHECK, 0, 0) == BST_CHECKED;
        for (const Field* const field : {&parity_, &byte_size_, &stop_bits_}) {
            EnableWindow(field->control, sets_line);
        }
        EnableWindow(has_parameters_, !is_line);
        EnableWindow(device_.control, has_parameters);
        EnableWindow(description_.control, has_parameters);
    }

    void accept()
    {
        const bool is_line = chosen_in(kind_.control) == to_line;
        PvString name(text_of(name_.control));
        const int rate = chosen_in(baud_rate_.control);
        if (is_line && name.empty()) {
            complain(Text::bridge_wants_name, name_.control);
            return;
        }
        if (is_line && rate <= 0) {
            complain(Text::bridge_wants_rate, baud_rate_.control);
            return;
        }
        bridge_manager::Settings next;
        (is_line ? next.serial_port : next.endpoint) = std::move(name);
        if (rate > 0) {
            next.line = PvSerialPortConfiguration{
                .BaudRate = rate_of(rate),
                .Parity = static_cast<PvParity>(chosen_in(parity_.control)),
                .ByteSize = least_byte_size + static_cast<std::uint32_t>(chosen_in(byte_size_.control)),
                .StopBits = 1 + static_cast<std::uint32_t>(chosen_in(stop_bits_.control))};
        }
        if (const int fixed = chosen_in(hard_coded_.control); fixed > 0) {
            next.hard_coded_baud_rate = rate_of(fixed);
        }
        next.has_parameters = !is_line && SendMessageW(has_parameters_, BM_GETCHECK, 0, 0) == BST_CHECKED;
        next.device = PvString(text_of(device_.control));
        next.description = PvString(text_of(description_.control));
        hand_over(next);
    }

    void hand_over(const bridge_manager::Settings& next)
    {
        const PvResult result = apply_(next);
        if (window() == nullptr) {
            return;  // whoever was asked has closed it
        }
        if (result.IsOK()) {
            is_taken_ = true;
            close();
        } else {
            set_text(state_, std::string(result.description()));
            SetFocus(name_.control);
        }
    }

    void complain(Text words, HWND about) const
    {
        set_text(state_, words);
        SetFocus(about);
    }

    void add_rate(std::uint32_t rate)
    {
        if (rate != 0 && std::ranges::find(rates_, rate) == rates_.end()) {
            rates_.insert(std::ranges::upper_bound(rates_, rate), rate);
        }
    }
    /// The first entry of a choice of rates is no rate.
    [[nodiscard]] int entry_of(std::uint32_t rate) const
    {
        return 1 + static_cast<int>(std::ranges::find(rates_, rate) - rates_.begin());
    }
    [[nodiscard]] std::uint32_t rate_of(int entry) const { return rates_[static_cast<std::size_t>(entry - 1)]; }

    const bridge_manager::Settings settings_;
    const BridgeDialog::Apply apply_;
    std::vector<std::uint32_t> rates_;
    bool is_taken_ = false;
    Field kind_;
    Field name_;
    Field baud_rate_;
    Field parity_;
    Field byte_size_;
    Field stop_bits_;
    Field hard_coded_;
    HWND has_parameters_ = nullptr;
    Field device_;
    Field description_;
    HWND state_ = nullptr;
    HWND ok_ = nullptr;
    HWND cancel_ = nullptr;
};

}  // namespace

BridgeDialog::BridgeDialog(const std::string& port, const bridge_manager::Settings& settings, Apply apply)
    : PvWnd(std::make_shared<BridgeDialogContent>(settings, std::move(apply)))
{
    SetTitle(PvString(port));
}

}  // namespace vex::gui
