#include "sdk/base/address.h"

#include <charconv>
#include <cstddef>

namespace vex {

namespace {

std::optional<std::uint8_t> hex_digit(char c) noexcept
{
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<std::uint8_t>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<std::uint8_t>(c - 'A' + 10);
    }
    return std::nullopt;
}

}  // namespace

std::optional<Ipv4Address> Ipv4Address::parse(std::string_view text) noexcept
{
    const char* at = text.data();
    const char* const end = at + text.size();
    std::uint32_t value = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (at == end || *at != '.') {
                return std::nullopt;
            }
            ++at;
        }
        unsigned number = 0;
        const auto [next, error] = std::from_chars(at, end, number);
        // more than three digits would only be leading zeros, which some systems read as octal
        if (error != std::errc{} || number > 255 || next - at > 3) {
            return std::nullopt;
        }
        value = (value << 8) | number;
        at = next;
    }
    if (at != end) {
        return std::nullopt;
    }
    return Ipv4Address{value};
}

std::string Ipv4Address::to_string() const
{
    return std::to_string(value >> 24) + '.' + std::to_string((value >> 16) & 0xFF) + '.' +
           std::to_string((value >> 8) & 0xFF) + '.' + std::to_string(value & 0xFF);
}

std::optional<MacAddress> MacAddress::parse(std::string_view text) noexcept
{
    MacAddress mac;
    constexpr std::size_t digits = 2 * std::tuple_size_v<decltype(mac.bytes)>;
    // digits that stand together, and what stands between them
    std::size_t group = digits;
    char separator = 0;
    if (text.size() > 2 && (text[2] == ':' || text[2] == '-')) {
        group = 2;
        separator = text[2];
    } else if (text.size() > 4 && text[4] == '.') {
        group = 4;
        separator = '.';
    }
    if (text.size() != digits + digits / group - 1) {
        return std::nullopt;
    }
    for (std::size_t digit = 0; digit < digits; ++digit) {
        const std::size_t at = digit + digit / group;
        const auto value = hex_digit(text[at]);
        if (!value || (digit > 0 && digit % group == 0 && text[at - 1] != separator)) {
            return std::nullopt;
        }
        mac.bytes[digit / 2] = static_cast<std::uint8_t>(mac.bytes[digit / 2] << 4 | *value);
    }
    return mac;
}

std::string MacAddress::to_string() const
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ':';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string Endpoint::to_string() const { return address.to_string() + ':' + std::to_string(port); }

}  // namespace vex
