// The little that the readers of URLs and of HTTP share.
#pragma once

#include <algorithm>
#include <string_view>

namespace vex::description {

/// Whether `text` starts with the lower-case `word`, in any case.
[[nodiscard]] inline bool starts_with_word(std::string_view text, std::string_view word)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return text.size() >= word.size() &&
           std::equal(word.begin(), word.end(), text.begin(), [&](char a, char b) { return a == lower(b); });
}

/// Without the blanks at both ends.
[[nodiscard]] inline std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace vex::description
