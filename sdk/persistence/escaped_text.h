// Texts that XML cannot carry as they stand, written so that a person can still read the rest of them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vex::persistence {

/// An XML attribute would not bring the text back byte by byte: it has control characters, halves of surrogate pairs,
/// bytes that are no UTF-8 or one of the two characters that are none, or it begins or ends with a space.
[[nodiscard]] bool needs_escapes(std::string_view text) noexcept;

/// With \u and four hexadecimal digits for what XML cannot hold, \x and two for a byte that is no UTF-8, and \\ for a
/// backslash.
[[nodiscard]] std::string with_escapes(std::string_view text);

/// The text before with_escapes; nothing when a backslash begins none of its escapes.
[[nodiscard]] std::optional<std::string> without_escapes(std::string_view text);

}  // namespace vex::persistence
