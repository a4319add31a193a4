// Values as text.

#include <cctype>
#include <charconv>
#include <optional>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

std::string as_ipv4(std::int64_t value)
{
    const auto bits = static_cast<std::uint64_t>(value);
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(bits >> shift & 0xFF);
        if (shift != 0) {
            text += '.';
        }
    }
    return text;
}

std::string as_mac(std::int64_t value)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const auto bits = static_cast<std::uint64_t>(value);
    std::string text;
    for (int shift = 40; shift >= 0; shift -= 8) {
        text += digits[bits >> (shift + 4) & 0xF];
        text += digits[bits >> shift & 0xF];
        if (shift != 0) {
            text += ':';
        }
    }
    return text;
}

std::string as_text(std::int64_t value, Representation representation)
{
    const auto bits = static_cast<std::uint64_t>(value);
    switch (representation) {
    case Representation::hex_number: return to_hex_text(bits);
    case Representation::ipv4_address: return bits <= 0xFFFFFFFF ? as_ipv4(value) : to_text(value);
    case Representation::mac_address: return bits >> 48 == 0 ? as_mac(value) : to_text(value);
    default: return to_text(value);
    }
}

/// Fields of a fixed base and size between separators; nothing when the text is made otherwise.
std::optional<std::int64_t> parse_fields(std::string_view text, char separator, int base, int fields) noexcept
{
    std::uint64_t value = 0;
    for (int i = 0; i < fields; ++i) {
        const std::size_t end = std::min(text.find(separator), text.size());
        unsigned field = 0;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + end, field, base);
        if (end == 0 || error != std::errc() || stop != text.data() + end || field > 0xFF) {
            return std::nullopt;
        }
        value = value << 8 | field;
        const bool last = i == fields - 1;
        if (last != (end == text.size())) {
            return std::nullopt;
        }
        text.remove_prefix(last ? end : end + 1);
    }
    return static_cast<std::int64_t>(value);
}

std::int64_t integer_from(std::string_view text)
{
    text = trimmed(text);
    if (const auto value = parse_integer(text)) {
        return *value;
    }
    if (const auto address = parse_fields(text, '.', 10, 4)) {
        return *address;
    }
    if (const auto address = parse_fields(text, ':', 16, 6)) {
        return *address;
    }
    throw ValueError("\"" + std::string(text) + "\" is not an integer");
}

bool boolean_from(std::string_view text)
{
    text = trimmed(text);
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (lower == "1" || lower == "true") {
        return true;
    }
    if (lower == "0" || lower == "false") {
        return false;
    }
    throw ValueError("\"" + std::string(text) + "\" is neither 0 nor 1");
}

std::string as_hex(std::span<const std::uint8_t> bytes)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::vector<std::uint8_t> bytes_from(std::string_view text)
{
    text = trimmed(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        std::uint8_t byte = 0;
        const std::size_t end = std::min(i + 2, text.size());
        const auto [stop, error] = std::from_chars(text.data() + i, text.data() + end, byte, 16);
        if (end != i + 2 || error != std::errc() || stop != text.data() + end) {
            throw ValueError("the text is not pairs of hexadecimal digits");
        }
        bytes.push_back(byte);
    }
    return bytes;
}

[[noreturn]] void no_text(const Node& node)
{
    throw TypeError(std::string(node.text_name) + " is a " + std::string(node.element()) + " and has no value");
}

}  // namespace

std::string Node::to_string(ReadMode mode)
{
    switch (type()) {
    case InterfaceType::integer: return as_text(int_value(mode), shown_as);
    case InterfaceType::floating: return to_text(float_value(mode));
    case InterfaceType::boolean: return bool_value(mode) ? "1" : "0";
    case InterfaceType::enumeration: return std::string(current_entry(mode).symbolic());
    case InterfaceType::enum_entry: return to_text(int_value(mode));
    case InterfaceType::command: return is_done() ? "0" : "1";
    case InterfaceType::string: return string_value(mode);
    case InterfaceType::raw_register: {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(register_length()));
        get_bytes(bytes, mode);
        return as_hex(bytes);
    }
    case InterfaceType::none:
    case InterfaceType::category:
    case InterfaceType::port: break;
    }
    no_text(*this);
}

void Node::from_string(std::string_view text)
{
    const auto parsed = [&](auto parse) { return map->speaking_of(*this, Wish::write, [&] { return parse(text); }); };
    switch (type()) {
    case InterfaceType::integer: set_int_value(parsed(integer_from)); return;
    case InterfaceType::floating:
        set_float_value(parsed([](std::string_view number) {
            if (const auto value = parse_float(number)) {
                return *value;
            }
            throw ValueError("\"" + std::string(number) + "\" is not a number");
        }));
        return;
    case InterfaceType::boolean: set_bool_value(parsed(boolean_from)); return;
    case InterfaceType::enumeration: set_entry(trimmed(text)); return;
    case InterfaceType::command:
        if (parsed(boolean_from)) {
            execute();
        }
        return;
    case InterfaceType::string: set_string_value(text); return;
    case InterfaceType::raw_register: set_bytes(parsed(bytes_from)); return;
    case InterfaceType::none:
    case InterfaceType::category:
    case InterfaceType::enum_entry:
    case InterfaceType::port: break;
    }
    no_text(*this);
}

}  // namespace GenApi
