#include "sdk/base/PvString.h"

#include <cstdint>

#include "sdk/base/utf8.h"

using namespace vex;

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr bool wide_is_utf16 = sizeof(wchar_t) == 2;

constexpr bool is_high_surrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool is_low_surrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }
constexpr char32_t joined(char32_t high, char32_t low) { return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00); }

/// A code point; half of a surrogate pair where the other half does not stand beside it.
char32_t next_wide(const wchar_t*& p)
{
    const auto unit = static_cast<char32_t>(*p++);
    if (is_high_surrogate(unit) && is_low_surrogate(static_cast<char32_t>(*p))) {
        return joined(unit, static_cast<char32_t>(*p++));
    }
    return unit > 0x10FFFF ? replacement : unit;
}

/// Takes one code point, or an encoded surrogate, off the front of `text`, which is not empty; an ill-formed sequence
/// costs one byte.
char32_t next_utf8(std::string_view& text)
{
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    std::size_t length = 1;
    char32_t value = lead;
    if (lead >= 0xF0 && lead < 0xF5) {
        length = 4;
        value = lead & 0x07;
    } else if (lead >= 0xE0 && lead < 0xF0) {
        length = 3;
        value = lead & 0x0F;
    } else if (lead >= 0xC2 && lead < 0xE0) {
        length = 2;
        value = lead & 0x1F;
    } else if (lead >= 0x80) {
        value = replacement;
    }
    bool valid = length <= text.size();
    for (std::size_t i = 1; valid && i < length; ++i) {
        valid = (byte(i) & 0xC0) == 0x80;
        value = (value << 6) | (byte(i) & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (!valid || value < smallest[length] || value > 0x10FFFF) {
        length = 1;
        value = replacement;
    }
    text.remove_prefix(length);
    return value;
}

}  // namespace

PvString::PvString(const wchar_t* wide)
{
    if (wide == nullptr) {
        return;
    }
    while (*wide != L'\0') {
        append_utf8(utf8_, next_wide(wide));
    }
}

std::wstring PvString::GetWide() const
{
    std::wstring wide;
    wide.reserve(utf8_.size());
    std::string_view rest = utf8_;
    while (!rest.empty()) {
        if (static_cast<signed char>(rest.front()) >= 0) {  // nearly all text is ASCII
            wide += static_cast<wchar_t>(rest.front());
            rest.remove_prefix(1);
            continue;
        }
        const char32_t c = next_utf8(rest);
        if (!wide_is_utf16 && is_low_surrogate(c) && !wide.empty() &&
            is_high_surrogate(static_cast<char32_t>(wide.back()))) {
            wide.back() = static_cast<wchar_t>(joined(static_cast<char32_t>(wide.back()), c));
        } else if (wide_is_utf16 && c > 0xFFFF) {
            wide += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
            wide += static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            wide += static_cast<wchar_t>(c);
        }
    }
    return wide;
}
