// What windows say to users, in one place.
#pragma once

namespace vex::gui {

/// '&' stands before the key of a button or a label.
enum class Text {
    ok,
    cancel,
    close,
    refresh,
    display_title,
    finder_title,
    finder_filter,
    finder_list,
    finder_details,
    finder_set_address,
    finder_column_name,
    finder_column_model,
    finder_column_address,
    finder_column_mac,
    finder_column_serial_number,
    finder_column_state,
    finder_searching,
    finder_nothing,
    finder_nothing_matches,
    address_title,
    address_address,
    address_mask,
    address_gateway,
    address_setting,
    terminal_title,
    terminal_port,
    terminal_baud_rate,
    terminal_local_echo,
    terminal_hexadecimal,
    terminal_ending,
    terminal_ending_none,
    terminal_ending_cr,
    terminal_ending_lf,
    terminal_ending_cr_lf,
    terminal_output,
    terminal_input,
    terminal_send,
    terminal_clear,
    terminal_log,
    terminal_log_stop,
    terminal_log_files,
    terminal_no_device,
    terminal_away,
    terminal_ready,
    count,
};

/// UTF-16, zero-terminated; lives as long as the library.
[[nodiscard]] const wchar_t* text(Text which) noexcept;

}  // namespace vex::gui
