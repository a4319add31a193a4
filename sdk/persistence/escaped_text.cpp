#include "sdk/persistence/escaped_text.h"

#include <cstddef>
#include <cstdint>

#include "sdk/base/utf8.h"

namespace vex::persistence {
namespace {

/// A code point, or a byte that begins none.
struct Unit {
    char32_t value = 0;
    std::size_t length = 1;
    bool is_character = false;
};

/// The unit at the front of a text that is not empty. Surrogates count as characters.
Unit unit_at(std::string_view text) noexcept
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return {lead, 1, false};
    }
    char32_t value = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return {lead, 1, false};
        }
        value = value << 6 | (byte(i) & 0x3F);
    }
    if (value < smallest[length] || value > 0x10FFFF) {
        return {lead, 1, false};
    }
    return {value, length, true};
}

bool is_plain(const Unit& unit) noexcept
{
    const char32_t c = unit.value;
    const bool is_control = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool is_surrogate = c >= 0xD800 && c < 0xE000;
    return unit.is_character && !is_control && !is_surrogate && c != 0xFFFE && c != 0xFFFF;
}

void append_hex(std::string& out, char32_t value, int digits)
{
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        out += "0123456789ABCDEF"[value >> shift & 0xF];
    }
}

std::optional<char32_t> hex_value(std::string_view digits) noexcept
{
    char32_t value = 0;
    for (const char c : digits) {
        const bool is_digit = c >= '0' && c <= '9';
        const bool is_letter = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!is_digit && !is_letter) {
            return std::nullopt;
        }
        value = value << 4 | static_cast<char32_t>(is_digit ? c - '0' : (c | 0x20) - 'a' + 10);
    }
    return value;
}

}  // namespace

bool needs_escapes(std::string_view text) noexcept
{
    if (text.starts_with(' ') || text.ends_with(' ')) {
        return true;
    }
    while (!text.empty()) {
        const Unit unit = unit_at(text);
        if (!is_plain(unit)) {
            return true;
        }
        text.remove_prefix(unit.length);
    }
    return false;
}

std::string with_escapes(std::string_view text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const Unit unit = unit_at(text.substr(at));
        const bool is_outer_space = text[at] == ' ' && (at == 0 || at + 1 == text.size());
        if (!unit.is_character) {
            out += "\\x";
            append_hex(out, unit.value, 2);
        } else if (!is_plain(unit) || is_outer_space) {
            out += "\\u";
            append_hex(out, unit.value, 4);
        } else if (text[at] == '\\') {
            out += "\\\\";
        } else {
            out += text.substr(at, unit.length);
        }
        at += unit.length;
    }
    return out;
}

std::optional<std::string> without_escapes(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        const std::size_t plain = text.find('\\');
        out += text.substr(0, plain);
        if (plain == text.npos) {
            break;
        }
        text.remove_prefix(plain + 1);
        const char kind = text.empty() ? '\0' : text.front();
        const std::size_t digits = kind == 'u' ? 4 : kind == 'x' ? 2 : 0;
        if (kind == '\\') {
            out += '\\';
        } else if (const auto value = hex_value(text.substr(text.empty() ? 0 : 1, digits));
                   digits != 0 && text.size() > digits && value) {
            if (kind == 'u') {
                append_utf8(out, *value);
            } else {
                out += static_cast<char>(*value);
            }
        } else {
            return std::nullopt;
        }
        text.remove_prefix(1 + digits);
    }
    return out;
}

}  // namespace vex::persistence
