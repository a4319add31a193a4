#include "sdk/description/description_url.h"

#include <charconv>
#include <cstdio>
#include <system_error>

#include "sdk/description/url_text.h"

namespace vex::description {

namespace {

std::optional<std::uint32_t> hexadecimal(std::string_view text)
{
    text = trimmed(text);
    if (starts_with_word(text, "0x")) {
        text.remove_prefix(2);
    }
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

/// What follows the last slash of either kind.
std::string_view file_name(std::string_view path)
{
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::optional<DescriptionUrl> parse_description_url(std::string_view text)
{
    text = trimmed(text);
    if (text.empty()) {
        return std::nullopt;
    }
    DescriptionUrl url;
    url.text = std::string(text);
    using Scheme = DescriptionUrl::Scheme;
    if (starts_with_word(text, "http:") || starts_with_word(text, "https:")) {
        url.scheme = Scheme::http;
        url.name = std::string(file_name(text.substr(0, text.find('?'))));
        return url;
    }
    if (starts_with_word(text, "file:")) {
        url.scheme = Scheme::file;
        url.name = std::string(file_name(text.substr(5, text.find('?') - 5)));
        return url;
    }
    if (!starts_with_word(text, "local:")) {
        return url;
    }

    text.remove_prefix(6);
    text = text.substr(0, text.find('?'));
    // the numbers are the last two parts: a file name may hold a semicolon
    const std::size_t second = text.rfind(';');
    const std::size_t first =
        second == std::string_view::npos || second == 0 ? std::string_view::npos : text.rfind(';', second - 1);
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    const auto address = hexadecimal(text.substr(first + 1, second - first - 1));
    const auto length = hexadecimal(text.substr(second + 1));
    if (!address || !length) {
        return std::nullopt;
    }
    url.scheme = Scheme::local;
    url.name = std::string(file_name(trimmed(text.substr(0, first))));
    url.address = *address;
    url.length = *length;
    return url;
}

std::string local_url(std::string_view name, std::uint32_t address, std::size_t length)
{
    char numbers[32];
    std::snprintf(numbers, sizeof numbers, ";%X;%zX", static_cast<unsigned>(address), length);
    return "Local:" + std::string(name) + numbers;
}

}  // namespace vex::description
