// Code points as UTF-8, and halves of surrogate pairs in it.
#pragma once

#include <string>
#include <string_view>

namespace vex {

/// Appends a code point, at most 0x10FFFF, as one to four bytes. A surrogate is encoded as it stands, in three bytes.
inline void append_utf8(std::string& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

/// The text without encoded surrogates, which well-formed UTF-8 does not have, for what leaves the process, such as a
/// device's register or a file: two halves of a pair side by side become the code point they mean, any other U+FFFD.
[[nodiscard]] std::string without_surrogates(std::string_view text);

}  // namespace vex
