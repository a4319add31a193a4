// Numbers as text, whatever the locale: in descriptions, in settings, and as users read and write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vex {

/// Without white space at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text) noexcept;

/// Decimal with sign, or hexadecimal after 0x; values from 2^63 to 2^64-1 wrap to negative ones, as devices mean bit
/// patterns by them. A decimal fraction that is a whole number ("4.0") is taken too. Nothing for anything else.
[[nodiscard]] std::optional<std::int64_t> parse_integer(std::string_view text) noexcept;

/// Hexadecimal digits with or without 0x, as chunk and event identifiers are written.
[[nodiscard]] std::optional<std::uint64_t> parse_hex_identifier(std::string_view text) noexcept;

/// Decimal with point and exponent whatever the locale, hexadecimal whole numbers, INF and NaN in any case.
[[nodiscard]] std::optional<double> parse_float(std::string_view text) noexcept;

[[nodiscard]] std::string to_text(std::int64_t value);
/// The shortest text that reads back as the same value.
[[nodiscard]] std::string to_text(double value);
/// "0x" and upper case digits, of the bits as they are.
[[nodiscard]] std::string to_hex_text(std::uint64_t value);

/// The nearest whole number; nothing when it does not fit or is not a number.
[[nodiscard]] std::optional<std::int64_t> rounded_to_integer(double value) noexcept;
/// Without the fraction; nothing when it does not fit or is not a number.
[[nodiscard]] std::optional<std::int64_t> truncated_to_integer(double value) noexcept;

}  // namespace vex
