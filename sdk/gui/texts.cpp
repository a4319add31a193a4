#include "sdk/gui/texts.h"

#include <array>
#include <cstddef>
#include <utility>

namespace vex::gui {

namespace {

constexpr auto texts = [] {
    std::array<const wchar_t*, static_cast<std::size_t>(Text::count)> all{};
    const auto set = [&all](Text which, const wchar_t* words) { all[static_cast<std::size_t>(which)] = words; };
    set(Text::ok, L"OK");
    set(Text::cancel, L"Cancel");
    set(Text::close, L"Close");
    set(Text::refresh, L"&Refresh");
    set(Text::display_title, L"Display");
    set(Text::finder_title, L"Device Finder");
    set(Text::finder_filter, L"&Filter");
    set(Text::finder_list, L"Devices");
    set(Text::finder_details, L"Details of the chosen device");
    set(Text::finder_set_address, L"&Set IP address\u2026");
    set(Text::finder_column_name, L"Name");
    set(Text::finder_column_model, L"Model");
    set(Text::finder_column_address, L"IP address");
    set(Text::finder_column_mac, L"MAC address");
    set(Text::finder_column_serial_number, L"Serial number");
    set(Text::finder_column_state, L"State");
    set(Text::finder_searching, L"Searching\u2026");
    set(Text::finder_nothing,
        L"No device was found. Check that the camera has power and a cable to one of the interfaces "
        L"below, and that the firewall lets this program receive UDP.");
    set(Text::finder_nothing_matches, L"No device matches the filter.");
    set(Text::address_title, L"Set IP Address");
    set(Text::address_address, L"IP &address");
    set(Text::address_mask, L"Subnet &mask");
    set(Text::address_gateway, L"&Gateway");
    set(Text::address_setting, L"Setting the address\u2026");
    set(Text::terminal_title, L"Serial Terminal");
    set(Text::terminal_port, L"&Port");
    set(Text::terminal_baud_rate, L"&Baud rate");
    set(Text::terminal_local_echo, L"Local &echo");
    set(Text::terminal_hexadecimal, L"&Hexadecimal");
    set(Text::terminal_ending, L"E&nd of line");
    set(Text::terminal_ending_none, L"none");
    set(Text::terminal_ending_cr, L"CR");
    set(Text::terminal_ending_lf, L"LF");
    set(Text::terminal_ending_cr_lf, L"CR LF");
    set(Text::terminal_output, L"What came from the device");
    set(Text::terminal_input, L"&Text");
    set(Text::terminal_send, L"&Send");
    set(Text::terminal_clear, L"&Clear");
    set(Text::terminal_log, L"&Log to file\u2026");
    set(Text::terminal_log_stop, L"End &log");
    set(Text::terminal_log_files, L"Log files");
    set(Text::terminal_no_device, L"No device");
    set(Text::terminal_away, L"The device is not connected; the terminal goes on when it is back.");
    set(Text::terminal_ready, L"Connected");
    return all;
}();

constexpr bool all_are_there()
{
    for (const wchar_t* const words : texts) {
        if (words == nullptr) {
            return false;
        }
    }
    return true;
}
static_assert(all_are_there());

}  // namespace

const wchar_t* text(Text which) noexcept { return texts[static_cast<std::size_t>(which)]; }

}  // namespace vex::gui
