#include "sdk/gui/terminal_content.h"

#include <commdlg.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <mutex>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/bridge/engine_side.h"
#include "sdk/device/PvDevice.h"
#include "sdk/gui/clipboard.h"
#include "sdk/serial/port_names.h"

namespace vex::gui {

namespace {

constexpr unsigned id_port = 101;
constexpr unsigned id_baud_rate = 102;
constexpr unsigned id_echo = 103;
constexpr unsigned id_hexadecimal = 104;
constexpr unsigned id_output = 105;
constexpr unsigned id_input = 106;
constexpr unsigned id_ending = 107;
constexpr unsigned id_send = 108;
constexpr unsigned id_clear = 109;
constexpr unsigned id_log = 110;

constexpr int port_count = 10;
constexpr std::array<std::string_view, 4> endings{"", "\r", "\n", "\r\n"};
constexpr std::array<Text, 4> ending_names{Text::terminal_ending_none, Text::terminal_ending_cr,
                                           Text::terminal_ending_lf, Text::terminal_ending_cr_lf};
constexpr std::size_t most_history = 100;
/// Offered where a device does not list its own.
constexpr std::uint32_t usual_rates[] = {9600, 19'200, 38'400, 57'600, 115'200, 230'400, 460'800, 921'600};

/// What an edit control holds at most: what a screen of the most bytes shows in hexadecimal.
constexpr WPARAM most_output = terminal::Screen::most_bytes / 16 * 80 + 1024;

std::vector<std::uint8_t> bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

}  // namespace

/// What the session has told and the window's thread has not taken yet.
struct TerminalContent::Arrivals {
    std::mutex mutex;
    std::vector<std::uint8_t> bytes;
    terminal::State state;
    bool posted = false;  ///< the window knows that there is something
};

TerminalContent::TerminalContent() = default;
TerminalContent::~TerminalContent() = default;

// ---- the port ----

PvResult TerminalContent::set_device(PvDevice* device)
{
    session_.reset();
    device_ = device;
    device_lifetime_ = device != nullptr ? device->lifetime() : std::weak_ptr<const void>();
    PvResult result = device != nullptr ? open() : PvResult(PvResult::OK);
    show_state();
    return result;
}

PvResult TerminalContent::set_port(PvIPEngineSerial port)
{
    if (serial::name_of(port).empty()) {
        return failure(PvResult::InvalidParameter, "There is no port ", static_cast<std::int32_t>(port));
    }
    if (port == port_ && session_) {
        return PvResult::OK;
    }
    session_.reset();
    port_ = port;
    choose_in(port_choice_, static_cast<int>(port));
    PvResult result = device_ != nullptr && !device_lifetime_.expired() ? open() : PvResult(PvResult::OK);
    show_state();
    return result;
}

PvResult TerminalContent::open()
{
    state_ = {};
    std::unique_ptr<bridge::CameraSide> side;
    open_failure_ = bridge::EngineSide::open(device_, port_, side);
    if (!open_failure_.IsOK()) {
        return open_failure_;
    }
    const auto arrivals = std::make_shared<Arrivals>();
    arrivals_ = arrivals;
    // this object is there as long as its window is, and without it the call is dropped
    const auto tell = [calls = calls(), arrivals, this](auto&& change) {
        {
            const std::lock_guard lock(arrivals->mutex);
            change(*arrivals);
            if (std::exchange(arrivals->posted, true)) {
                return;
            }
        }
        if (!calls->post([this] { take_arrivals(); })) {
            const std::lock_guard lock(arrivals->mutex);
            arrivals->posted = false;
        }
    };
    session_ = std::make_unique<terminal::Session>(
        std::move(side),
        terminal::Session::Listener{
            [tell](const std::vector<std::uint8_t>& bytes) {
                tell([&](Arrivals& all) {
                    all.bytes.insert(all.bytes.end(), bytes.begin(), bytes.end());
                    if (all.bytes.size() > 2 * terminal::Screen::most_bytes) {
                        all.bytes.erase(all.bytes.begin(), all.bytes.end() - terminal::Screen::most_bytes);
                    }
                });
            },
            [tell](const terminal::State& state) { tell([&](Arrivals& all) { all.state = state; }); }});
    return PvResult::OK;
}

void TerminalContent::end() noexcept { session_.reset(); }

void TerminalContent::take_arrivals()
{
    if (!arrivals_) {
        return;
    }
    std::vector<std::uint8_t> bytes;
    {
        const std::lock_guard lock(arrivals_->mutex);
        bytes.swap(arrivals_->bytes);
        state_ = arrivals_->state;
        arrivals_->posted = false;
    }
    if (state_.is_up && state_.baud_rates.empty()) {
        state_.baud_rates.assign(std::begin(usual_rates), std::end(usual_rates));
    }
    add(bytes);
    show_state();
}

// ---- the window ----

bool TerminalContent::make_controls(HWND window)
{
    port_label_ = add_label(window, 0, Text::terminal_port);
    port_choice_ = add_choice(window, id_port, Text::terminal_port);
    baud_label_ = add_label(window, 0, Text::terminal_baud_rate);
    baud_choice_ = add_choice(window, id_baud_rate, Text::terminal_baud_rate);
    echo_ = add_check(window, id_echo, Text::terminal_local_echo);
    hexadecimal_ = add_check(window, id_hexadecimal, Text::terminal_hexadecimal);
    output_ = add_edit(window, id_output, Text::terminal_output, ES_MULTILINE | ES_READONLY | WS_VSCROLL);
    input_label_ = add_label(window, 0, Text::terminal_input);
    input_ = add_edit(window, id_input, Text::terminal_input);
    ending_choice_ = add_choice(window, id_ending, Text::terminal_ending);
    send_ = add_button(window, id_send, Text::terminal_send, BS_DEFPUSHBUTTON);
    clear_ = add_button(window, id_clear, Text::terminal_clear);
    log_button_ = add_button(window, id_log, log_.is_open() ? Text::terminal_log_stop : Text::terminal_log);
    status_ = add_label(window, 0, Text::terminal_no_device);
    for (int port = 0; port < port_count; ++port) {
        add_entry(port_choice_, serial::name_of(static_cast<PvIPEngineSerial>(port)));
    }
    for (const Text name : ending_names) {
        add_entry(ending_choice_, name);
    }
    SendMessageW(output_, EM_SETLIMITTEXT, most_output, 0);
    return output_ != nullptr;
}

void TerminalContent::opened()
{
    choose_in(port_choice_, static_cast<int>(port_));
    choose_in(ending_choice_, ending_);
    SendMessageW(echo_, BM_SETCHECK, local_echo_ ? BST_CHECKED : BST_UNCHECKED, 0);
    SendMessageW(hexadecimal_, BM_SETCHECK, screen_.is_hexadecimal() ? BST_CHECKED : BST_UNCHECKED, 0);
    // what was shown in an earlier window is shown again
    screen_.show_again();
    take_arrivals();
    show_new();
    show_state();
    SetFocus(input_);
}

void TerminalContent::restyled()
{
    SendMessageW(output_, WM_SETFONT, reinterpret_cast<WPARAM>(theme()->fixed_font()), TRUE);
    SendMessageW(input_, WM_SETFONT, reinterpret_cast<WPARAM>(theme()->fixed_font()), TRUE);
}

void TerminalContent::place(const RECT& inside, const Metrics& metrics)
{
    Placing placing(14);
    RECT rest = inside;
    RECT top = cut_top(rest, metrics.line, metrics.gap);
    placing.put(port_label_, cut_left(top, metrics.button / 3, metrics.gap));
    placing.put(port_choice_, cut_left(top, metrics.button, metrics.gap));
    placing.put(baud_label_, cut_left(top, metrics.button * 2 / 3, metrics.gap));
    placing.put(baud_choice_, cut_left(top, metrics.button, metrics.gap));
    placing.put(echo_, cut_left(top, metrics.button, metrics.gap));
    placing.put(hexadecimal_, cut_left(top, metrics.button * 5 / 4, metrics.gap));
    RECT bottom = cut_bottom(rest, metrics.line, metrics.gap);
    placing.put(log_button_, cut_right(bottom, metrics.button, metrics.gap));
    placing.put(clear_, cut_right(bottom, metrics.button, metrics.gap));
    placing.put(status_, bottom);
    RECT line = cut_bottom(rest, metrics.line, metrics.gap);
    placing.put(input_label_, cut_left(line, metrics.button / 3, metrics.gap));
    placing.put(send_, cut_right(line, metrics.button, metrics.gap));
    placing.put(ending_choice_, cut_right(line, metrics.button, metrics.gap));
    placing.put(input_, line);
    placing.put(output_, rest);
}

void TerminalContent::add(const std::vector<std::uint8_t>& bytes)
{
    if (bytes.empty()) {
        return;
    }
    if (log_.is_open()) {
        log_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        log_.flush();
    }
    screen_.add(bytes);
    show_new();
}

void TerminalContent::show_new()
{
    if (output_ == nullptr || window() == nullptr) {
        return;
    }
    const terminal::Screen::Change change = screen_.take_change();
    const int length = change.anew ? 0 : GetWindowTextLengthW(output_);
    if (change.anew) {
        SetWindowTextW(output_, L"");
    }
    SendMessageW(output_, EM_SETSEL, static_cast<WPARAM>(std::max(0, length - static_cast<int>(change.removed))),
                 length);
    SendMessageW(output_, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(wide(change.added).c_str()));
}

void TerminalContent::show_state()
{
    if (window() == nullptr) {
        return;
    }
    if (!open_failure_.IsOK()) {
        set_text(status_, std::string(open_failure_.description()));
    } else if (!session_) {
        set_text(status_, Text::terminal_no_device);
    } else if (!state_.is_up) {
        set_text(status_, Text::terminal_away);
    } else if (!state_.failure.IsOK()) {
        set_text(status_, std::string(state_.failure.description()));
    } else if (state_.lost != 0) {
        set_text(status_,
                 PvString(text(Text::terminal_ready)).str() + ", " + std::to_string(state_.lost) + " bytes lost");
    } else {
        set_text(status_, Text::terminal_ready);
    }
    set_enabled(baud_choice_, session_ != nullptr && !state_.baud_rates.empty(), input_);
    const auto found = std::ranges::find(state_.baud_rates, state_.line.BaudRate);
    const int wanted = found != state_.baud_rates.end() ? static_cast<int>(found - state_.baud_rates.begin()) : -1;
    if (SendMessageW(baud_choice_, CB_GETCOUNT, 0, 0) != static_cast<LRESULT>(state_.baud_rates.size())) {
        SendMessageW(baud_choice_, CB_RESETCONTENT, 0, 0);
        for (const std::uint32_t rate : state_.baud_rates) {
            add_entry(baud_choice_, std::to_string(rate));
        }
    }
    if (chosen_in(baud_choice_) != wanted) {
        choose_in(baud_choice_, wanted);
    }
}

// ---- what the user does ----

bool TerminalContent::key(const MSG& message)
{
    if (message.message == WM_CHAR && message.hwnd == output_) {
        const auto letter = static_cast<wchar_t>(message.wParam);
        if (letter == 3) {  // Ctrl+C copies what is marked
            return false;
        }
        if (letter == 22) {
            paste();
        } else {
            const wchar_t typed[] = {letter, L'\0'};
            send(bytes_of(PvString(typed).str()));
        }
        return true;
    }
    if (message.message != WM_KEYDOWN || message.hwnd != input_) {
        return false;
    }
    switch (message.wParam) {
    case VK_RETURN: send_line(); return true;
    case VK_UP: recall(-1); return true;
    case VK_DOWN: recall(1); return true;
    default: return false;
    }
}

/// In the output, Tab, Enter and Escape are for the device.
bool TerminalContent::is_dialog_key(const MSG& message) const noexcept
{
    return message.hwnd != output_ || message.message == WM_SYSKEYDOWN || message.message == WM_SYSCHAR;
}

bool TerminalContent::command(unsigned id, unsigned notification, HWND /*control*/)
{
    switch (id) {
    case id_port:
        if (notification == CBN_SELCHANGE) {
            choose_port();
        }
        return true;
    case id_baud_rate:
        if (notification == CBN_SELCHANGE) {
            choose_baud_rate();
        }
        return true;
    case id_ending: ending_ = std::max(0, chosen_in(ending_choice_)); return true;
    case id_echo: local_echo_ = SendMessageW(echo_, BM_GETCHECK, 0, 0) == BST_CHECKED; return true;
    case id_hexadecimal:
        screen_.set_hexadecimal(SendMessageW(hexadecimal_, BM_GETCHECK, 0, 0) == BST_CHECKED);
        show_new();
        return true;
    case id_send: send_line(); return true;
    case id_clear:
        screen_.clear();
        show_new();
        return true;
    case id_log: toggle_log(); return true;
    default: return false;
    }
}

void TerminalContent::send(std::vector<std::uint8_t> bytes)
{
    if (bytes.empty() || !session_) {
        return;
    }
    if (local_echo_) {
        add(bytes);
    }
    if (!session_->send(std::move(bytes))) {
        state_.failure = failure(PvResult::NotEnoughMemory, "Too much waits for the device; nothing more was sent");
        show_state();
    }
}

void TerminalContent::send_line()
{
    const std::string line = text_of(input_);
    if (!line.empty() && (history_.empty() || history_.back() != line)) {
        history_.push_back(line);
        if (history_.size() > most_history) {
            history_.erase(history_.begin());
        }
    }
    recalled_ = history_.size();
    send(bytes_of(line + std::string(endings[static_cast<std::size_t>(ending_)])));
    set_text(input_, std::string());
}

void TerminalContent::recall(int step)
{
    const auto wanted = static_cast<std::ptrdiff_t>(recalled_) + step;
    recalled_ =
        static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(wanted, 0, static_cast<std::ptrdiff_t>(history_.size())));
    const std::string line = recalled_ < history_.size() ? history_[recalled_] : std::string();
    set_text(input_, line);
    SendMessageW(input_, EM_SETSEL, line.size(), static_cast<LPARAM>(line.size()));
}

void TerminalContent::choose_port()
{
    if (const int port = chosen_in(port_choice_); port >= 0) {
        (void)set_port(static_cast<PvIPEngineSerial>(port));
    }
}

void TerminalContent::choose_baud_rate()
{
    const int chosen = chosen_in(baud_choice_);
    if (session_ && chosen >= 0 && chosen < static_cast<int>(state_.baud_rates.size())) {
        PvSerialPortConfiguration line = state_.line;
        line.BaudRate = state_.baud_rates[static_cast<std::size_t>(chosen)];
        session_->configure(line);
    }
}

void TerminalContent::paste() { send(bytes_of(clipboard_text(window()))); }

void TerminalContent::toggle_log()
{
    if (log_.is_open()) {
        log_.close();
        set_text(log_button_, Text::terminal_log);
        return;
    }
    wchar_t name[MAX_PATH] = L"terminal.log";
    const std::wstring filter = std::wstring(text(Text::terminal_log_files)) + L'\0' + L"*.log;*.txt" + L'\0';
    OPENFILENAMEW facts{};
    facts.lStructSize = sizeof facts;
    facts.hwndOwner = window();
    facts.lpstrFilter = filter.c_str();
    facts.lpstrFile = name;
    facts.nMaxFile = MAX_PATH;
    facts.lpstrDefExt = L"log";
    facts.Flags = OFN_OVERWRITEPROMPT | OFN_PATHMUSTEXIST | OFN_NOCHANGEDIR;
    if (!GetSaveFileNameW(&facts) || window() == nullptr) {
        return;
    }
    log_.open(std::filesystem::path(name), std::ios::binary | std::ios::trunc);
    if (log_.is_open()) {
        set_text(log_button_, Text::terminal_log_stop);
    } else {
        set_text(status_, "The file " + PvString(name).str() + " cannot be written");
        log_.clear();
    }
}

}  // namespace vex::gui
