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
    if (text.size() != mac.bytes.size() * 3 - 1) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < mac.bytes.size(); ++i) {
        const auto high = hex_digit(text[i * 3]);
        const auto low = hex_digit(text[i * 3 + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        if (i > 0 && text[i * 3 - 1] != ':' && text[i * 3 - 1] != '-') {
            return std::nullopt;
        }
        mac.bytes[i] = static_cast<std::uint8_t>((*high << 4) | *low);
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
