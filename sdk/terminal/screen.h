// What a terminal shows of the bytes that came and went.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>

namespace vex::terminal {

/// As text: CR, LF and both together begin a line, backspace takes a character back, tabs stay, and what cannot be
/// shown is a dot. As hexadecimal: sixteen bytes a line, with the offset before and the characters behind them.
///
/// Keeps the last bytes, and what it shows is always made of those: the view may be changed at any time.
///
/// Thread safety: none.
class Screen {
public:
    /// Bytes that are kept at most; the older half is dropped when they are more.
    static constexpr std::size_t most_bytes = 128 * 1024;

    void add(std::span<const std::uint8_t> bytes);
    void clear();
    void set_hexadecimal(bool on);
    [[nodiscard]] bool is_hexadecimal() const noexcept { return hexadecimal_; }

    /// The next change shows all: for another window.
    void show_again() { show_anew(); }

    /// What has to be done to what was shown before to show all: nothing more than adding, or beginning anew.
    struct Change {
        bool anew = false;
        std::size_t removed = 0;  ///< characters off the end, before something is added
        std::string added;        ///< ASCII; lines end with CR LF
    };
    /// Since the last call.
    [[nodiscard]] Change take_change();

private:
    void show(std::uint8_t byte);
    void show_anew();
    void remove_last();

    std::deque<std::uint8_t> bytes_;
    std::uint64_t dropped_ = 0;  ///< bytes before those that are kept
    bool hexadecimal_ = false;
    bool after_cr_ = false;
    std::size_t line_length_ = 0;  ///< characters since the last line's end; of the text view
    std::string hex_line_;         ///< the unfinished line as it is shown now
    Change change_;
};

}  // namespace vex::terminal
