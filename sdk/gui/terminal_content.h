// The inside of a serial terminal.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "sdk/control/PvTypes.h"
#include "sdk/gui/dialog.h"
#include "sdk/terminal/screen.h"
#include "sdk/terminal/session.h"

class PvDevice;

namespace vex::gui {

/// Bytes that come while there is no window are kept for the next one, as far as the screen keeps them.
///
/// Thread safety: as Dialog.
class TerminalContent final : public Dialog {
public:
    TerminalContent();
    ~TerminalContent() override;

    [[nodiscard]] PvResult set_device(PvDevice* device);
    [[nodiscard]] PvResult set_port(PvIPEngineSerial port);
    [[nodiscard]] PvIPEngineSerial port() const noexcept { return port_; }
    /// Gives the port back.
    void end() noexcept;

    [[nodiscard]] const wchar_t* title() const noexcept override { return text(Text::terminal_title); }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {720, 480}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {560, 300}; }
    [[nodiscard]] bool is_dialog() const noexcept override { return false; }  // Escape is typed, too
    [[nodiscard]] bool is_dialog_key(const MSG& message) const noexcept override;
    [[nodiscard]] bool key(const MSG& message) override;

private:
    struct Arrivals;

    [[nodiscard]] bool make_controls(HWND window) override;
    void opened() override;
    void place(const RECT& inside, const Metrics& metrics) override;
    bool command(unsigned id, unsigned notification, HWND control) override;
    void restyled() override;

    [[nodiscard]] PvResult open();
    void take_arrivals();
    void add(const std::vector<std::uint8_t>& bytes);
    void show_new();
    void show_state();
    void send(std::vector<std::uint8_t> bytes);
    void send_line();
    void recall(int step);
    void choose_port();
    void choose_baud_rate();
    void paste();
    void toggle_log();

    PvIPEngineSerial port_ = PvIPEngineSerial0;
    PvDevice* device_ = nullptr;
    std::weak_ptr<const void> device_lifetime_;
    PvResult open_failure_;
    std::shared_ptr<Arrivals> arrivals_;  ///< shared with the session's threads
    std::unique_ptr<terminal::Session> session_;
    terminal::State state_;
    terminal::Screen screen_;
    std::ofstream log_;
    std::vector<std::string> history_;
    std::size_t recalled_ = 0;
    bool local_echo_ = true;
    int ending_ = 1;

    HWND port_label_ = nullptr;
    HWND port_choice_ = nullptr;
    HWND baud_label_ = nullptr;
    HWND baud_choice_ = nullptr;
    HWND echo_ = nullptr;
    HWND hexadecimal_ = nullptr;
    HWND output_ = nullptr;
    HWND input_label_ = nullptr;
    HWND input_ = nullptr;
    HWND ending_choice_ = nullptr;
    HWND send_ = nullptr;
    HWND clear_ = nullptr;
    HWND log_button_ = nullptr;
    HWND status_ = nullptr;
};

}  // namespace vex::gui
