#include "sdk/base/numbers.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace vex {

namespace {

constexpr bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool has_hex_prefix(std::string_view text) noexcept
{
    return text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

std::optional<std::uint64_t> parse_unsigned(std::string_view digits, int base) noexcept
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return value;
}

bool equals_ignoring_case(std::string_view text, std::string_view upper) noexcept
{
    if (text.size() != upper.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i] >= 'a' && text[i] <= 'z' ? static_cast<char>(text[i] - 'a' + 'A') : text[i];
        if (c != upper[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string_view trimmed(std::string_view text) noexcept
{
    while (!text.empty() && is_space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::optional<std::int64_t> parse_integer(std::string_view text) noexcept
{
    text = trimmed(text);
    const bool negative = !text.empty() && text.front() == '-';
    std::string_view digits = text;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
        digits.remove_prefix(1);
    }
    if (digits.empty() || digits.front() == '-' || digits.front() == '+') {
        return std::nullopt;
    }
    const bool hex = has_hex_prefix(digits);
    if (const auto magnitude = parse_unsigned(hex ? digits.substr(2) : digits, hex ? 16 : 10)) {
        constexpr std::uint64_t largest_negative = std::uint64_t{1} << 63;
        if (negative && *magnitude > largest_negative) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(negative ? std::uint64_t{0} - *magnitude : *magnitude);
    }
    if (const auto value = hex ? std::nullopt : parse_float(text); value && *value == std::trunc(*value)) {
        return truncated_to_integer(*value);
    }
    return std::nullopt;
}

std::optional<std::uint64_t> parse_hex_identifier(std::string_view text) noexcept
{
    text = trimmed(text);
    if (has_hex_prefix(text)) {
        text.remove_prefix(2);
    }
    if (text.empty() || text.front() == '-' || text.front() == '+') {
        return std::nullopt;
    }
    return parse_unsigned(text, 16);
}

std::optional<double> parse_float(std::string_view text) noexcept
{
    text = trimmed(text);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        text.remove_prefix(1);
    }
    double magnitude = 0;
    if (text.empty() || text.front() == '-' || text.front() == '+') {
        return std::nullopt;
    }
    if (equals_ignoring_case(text, "INF") || equals_ignoring_case(text, "INFINITY")) {
        magnitude = std::numeric_limits<double>::infinity();
    } else if (equals_ignoring_case(text, "NAN")) {
        magnitude = std::numeric_limits<double>::quiet_NaN();
    } else if (has_hex_prefix(text)) {
        const auto whole = parse_unsigned(text.substr(2), 16);
        if (!whole) {
            return std::nullopt;
        }
        magnitude = static_cast<double>(*whole);
    } else {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
        if (error != std::errc() || end != text.data() + text.size()) {
            return std::nullopt;
        }
    }
    return negative ? -magnitude : magnitude;
}

std::string to_text(std::int64_t value) { return std::to_string(value); }

std::string to_text(double value)
{
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "INF" : "-INF";
    }
    char buffer[32];
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof(buffer), value);
    return error == std::errc() ? std::string(buffer, end) : std::to_string(value);
}

std::string to_hex_text(std::uint64_t value)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    do {
        text.insert(text.begin(), digits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return "0x" + text;
}

std::optional<std::int64_t> truncated_to_integer(double value) noexcept
{
    constexpr double two_to_63 = 9223372036854775808.0;
    if (!(value >= -two_to_63 && value < two_to_63)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(value);
}

std::optional<std::int64_t> rounded_to_integer(double value) noexcept
{
    return truncated_to_integer(std::round(value));
}

}  // namespace vex
