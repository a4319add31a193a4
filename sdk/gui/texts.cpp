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
    set(Text::bridges_title, L"Serial Bridges");
    set(Text::bridges_list, L"Bridges of the device's serial ports");
    set(Text::bridges_column_port, L"Port");
    set(Text::bridges_column_other_end, L"Bridge to");
    set(Text::bridges_column_line, L"Line");
    set(Text::bridges_column_from_device, L"From device");
    set(Text::bridges_column_to_device, L"To device");
    set(Text::bridges_column_dropped, L"Dropped");
    set(Text::bridges_column_parameters, L"Parameters");
    set(Text::bridges_column_state, L"State");
    set(Text::bridges_start, L"&Start");
    set(Text::bridges_stop, L"S&top");
    set(Text::bridges_settings, L"S&ettings\u2026");
    set(Text::bridges_parameters, L"&Parameters\u2026");
    set(Text::bridges_recover, L"&Recover");
    set(Text::bridges_reset, L"Reset &counters");
    set(Text::bridges_no_device, L"No device");
    set(Text::bridges_no_ports, L"The device has no serial ports.");
    set(Text::bridge_kind, L"Bridge &to");
    set(Text::bridge_to_endpoint, L"Pipe or TCP port");
    set(Text::bridge_to_line, L"Serial port of this computer");
    set(Text::bridge_name, L"&Name");
    set(Text::bridge_baud_rate, L"&Baud rate");
    set(Text::bridge_baud_rate_found, L"As the device is set");
    set(Text::bridge_parity, L"P&arity");
    set(Text::bridge_parity_none, L"None");
    set(Text::bridge_parity_even, L"Even");
    set(Text::bridge_parity_odd, L"Odd");
    set(Text::bridge_byte_size, L"Data b&its");
    set(Text::bridge_stop_bits, L"&Stop bits");
    set(Text::bridge_hard_coded, L"&Rate of the device");
    set(Text::bridge_hard_coded_none, L"As the line");
    set(Text::bridge_has_parameters, L"&Camera Link parameters");
    set(Text::bridge_device, L"Ca&mera");
    set(Text::bridge_description, L"D&escription");
    set(Text::bridge_hint,
        L"A name, tcp:PORT, or nothing for a pipe with a name of its own; COM3 and the like for a serial port.");
    set(Text::bridge_wants_name, L"Name the serial port.");
    set(Text::bridge_wants_rate, L"Choose a baud rate for the serial port.");
    set(Text::browser_title, L"Features");
    set(Text::browser_filter, L"&Filter");
    set(Text::browser_visibility, L"&Visibility");
    set(Text::browser_beginner, L"Beginner");
    set(Text::browser_expert, L"Expert");
    set(Text::browser_guru, L"Guru");
    set(Text::browser_invisible, L"Invisible");
    set(Text::browser_alphabetical, L"&Alphabetical");
    set(Text::browser_list, L"Features");
    set(Text::browser_details, L"About the chosen feature");
    set(Text::browser_column_name, L"Name");
    set(Text::browser_column_value, L"Value");
    set(Text::browser_column_unit, L"Unit");
    set(Text::browser_column_access, L"Access");
    set(Text::browser_value, L"Value");
    set(Text::browser_entries, L"Values");
    set(Text::browser_slider, L"Value between its limits");
    set(Text::browser_reason, L"Why the value was refused");
    set(Text::browser_execute, L"Execute");
    set(Text::browser_executing, L"Executing\u2026");
    set(Text::browser_no_features, L"There are no features to show.");
    set(Text::browser_features_gone, L"The features have gone with their device.");
    set(Text::browser_nothing_matches, L"No feature matches the filter.");
    set(Text::browser_tabs, L"Tabs");
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
