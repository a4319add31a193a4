#include "sdk/device/description_source.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <utility>
#include <vector>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/zip.h"
#include "sdk/wire/bootstrap.h"

namespace device {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool starts_with_word(std::string_view text, std::string_view word)
{
    return text.size() >= word.size() &&
           std::equal(word.begin(), word.end(), text.begin(), [](char a, char b) { return a == lower(b); });
}

std::string_view trim(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<std::uint32_t> hexadecimal(std::string_view text)
{
    text = trim(text);
    if (starts_with_word(text, "0x"))
        text.remove_prefix(2);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

/// What follows the last slash of either kind.
std::string_view file_name(std::string_view path)
{
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

/// "name.zip" as "name.xml"; characters that no file system wants as '_'.
std::string unpacked_name(std::string_view name)
{
    std::string result(name);
    for (char& c : result)
        if (static_cast<unsigned char>(c) < 0x20 || std::string_view("<>:\"|?*").find(c) != std::string_view::npos)
            c = '_';
    if (result.size() >= 4 && result[result.size() - 4] == '.')
        result.resize(result.size() - 4);
    if (result.empty() || result == "." || result == "..")
        result = "device";
    return result + ".xml";
}

PvResult unusable(const ControlChannel& channel, const std::string& why)
{
    return {PvResult::GenICamXMLError, "The GenICam description of the device " + channel.device().address.to_string() +
                                           " cannot be used: " + why};
}

PvResult read_url(ControlChannel& channel, std::uint32_t address, std::optional<DescriptionUrl>& url)
{
    std::array<std::uint8_t, wire::bootstrap::url_length> bytes{};
    if (const auto outcome = channel.read_memory(address, bytes); !outcome.ok())
        return to_result(outcome, channel.device());
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    const std::string text(bytes.begin(), end);
    url = parse_description_url(text);
    if (!url)
        return unusable(channel, trim(text).empty() ? "no URL says where it is"
                                                    : "its URL \"" + text + "\" has no usable address and length");
    return PvResult::OK;
}

PvResult read_local(ControlChannel& channel, const DescriptionUrl& url, Description& description)
{
    if (url.length == 0 || url.length > largest_stored_description)
        return unusable(channel,
                        "its URL \"" + url.text + "\" gives it a length of " + std::to_string(url.length) + " bytes");
    std::vector<std::uint8_t> bytes(url.length);
    if (const auto outcome = channel.read_memory(url.address, bytes); !outcome.ok())
        return to_result(outcome, channel.device());
    try {
        description.xml = GenApi::load_description(bytes);
    } catch (const GenApi::Error& error) {
        return unusable(channel, error.what());
    }
    description.name = unpacked_name(url.name);
    return PvResult::OK;
}

PvResult fetch_from(ControlChannel& channel, std::uint32_t url_address, Description& description)
{
    std::optional<DescriptionUrl> url;
    if (PvResult result = read_url(channel, url_address, url); !result.IsOK())
        return result;
    if (url->scheme == DescriptionUrl::Scheme::local)
        return read_local(channel, *url, description);
    return {PvResult::NotSupported, "The GenICam description of the device " + channel.device().address.to_string() +
                                        " is not in the device but at \"" + url->text +
                                        "\"; only descriptions in the device are read"};
}

}  // namespace

std::optional<DescriptionUrl> parse_description_url(std::string_view text)
{
    text = trim(text);
    if (text.empty())
        return std::nullopt;
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
    if (!starts_with_word(text, "local:"))
        return url;

    text.remove_prefix(6);
    text = text.substr(0, text.find('?'));
    // the numbers are the last two parts: a file name may hold a semicolon
    const std::size_t second = text.rfind(';');
    const std::size_t first =
        second == std::string_view::npos || second == 0 ? std::string_view::npos : text.rfind(';', second - 1);
    if (first == std::string_view::npos)
        return std::nullopt;
    const auto address = hexadecimal(text.substr(first + 1, second - first - 1));
    const auto length = hexadecimal(text.substr(second + 1));
    if (!address || !length)
        return std::nullopt;
    url.scheme = Scheme::local;
    url.name = std::string(file_name(trim(text.substr(0, first))));
    url.address = *address;
    url.length = *length;
    return url;
}

PvResult fetch_description(ControlChannel& channel, Description& description)
{
    const PvResult first = fetch_from(channel, wire::bootstrap::first_url, description);
    if (first.IsOK() || channel.is_closed())
        return first;
    const PvResult second = fetch_from(channel, wire::bootstrap::second_url, description);
    // the first failure is the one to explain: the second URL is empty on most devices
    return second.IsOK() ? second : first;
}

}  // namespace device
