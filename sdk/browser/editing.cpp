#include "sdk/browser/editing.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "sdk/base/numbers.h"

namespace vex::browser {

namespace {

using GenApi::Representation;

constexpr char digits[] = "0123456789ABCDEF";
/// Longer ranges, such as those of numbers without limits, leave nothing to hit on a slider.
constexpr double longest_range = 1e12;

std::string mac_text(std::uint64_t bits)
{
    std::string text;
    for (unsigned shift = 48; shift > 0; shift -= 8) {
        text += shift != 48 ? ":" : "";
        text += digits[bits >> (shift - 4) & 0xF];
        text += digits[bits >> (shift - 8) & 0xF];
    }
    return text;
}

std::string ipv4_text(std::uint64_t bits)
{
    std::string text;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        text += shift != 32 ? "." : "";
        text += std::to_string(bits >> (shift - 8) & 0xFF);
    }
    return text;
}

template <class T>
std::optional<T> number_of(std::string_view text, int base)
{
    T value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

std::optional<std::int64_t> fields_of(std::string_view text, char separator, int base, int count)
{
    std::uint64_t value = 0;
    for (int field = 0; field < count; ++field) {
        const std::size_t end = text.find(separator);
        if ((end == std::string_view::npos) != (field == count - 1)) {
            return std::nullopt;
        }
        const auto number = number_of<std::uint32_t>(text.substr(0, end), base);
        if (!number || *number > 0xFF) {
            return std::nullopt;
        }
        value = value << 8 | *number;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return static_cast<std::int64_t>(value);
}

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

std::string integer_text(std::int64_t value, Representation representation)
{
    const auto bits = static_cast<std::uint64_t>(value);
    switch (representation) {
    case Representation::hex_number: return to_hex_text(bits);
    case Representation::ipv4_address: return bits >> 32 == 0 ? ipv4_text(bits) : to_text(value);
    case Representation::mac_address: return bits >> 48 == 0 ? mac_text(bits) : to_text(value);
    case Representation::linear:
    case Representation::logarithmic:
    case Representation::boolean:
    case Representation::pure_number: break;
    }
    return to_text(value);
}

std::optional<std::int64_t> integer_of(std::string_view text, Representation representation)
{
    text = trimmed(text);
    if (const auto value = parse_integer(text)) {
        return value;
    }
    if (const auto value = fields_of(text, '.', 10, 4)) {
        return value;
    }
    for (const char separator : {':', '-'}) {
        if (const auto value = fields_of(text, separator, 16, 6)) {
            return value;
        }
    }
    if (const auto value = number_of<std::uint64_t>(text, 16); value && representation == Representation::hex_number) {
        return static_cast<std::int64_t>(*value);
    }
    return std::nullopt;
}

std::string float_text(double value)
{
    constexpr double longest = 1e15;
    constexpr double shortest = 1e-4;
    const double size = std::abs(value);
    if (value != 0 && !(size >= shortest && size < longest)) {
        return to_text(value);
    }
    char letters[40];
    const auto [end, error] = std::to_chars(letters, letters + sizeof letters, value, std::chars_format::fixed);
    return error == std::errc() ? std::string(letters, end) : to_text(value);
}

std::string float_text(double value, GenApi::DisplayNotation notation, int precision)
{
    if (!std::isfinite(value)) {
        return to_text(value);
    }
    std::chars_format format = std::chars_format::general;
    switch (notation) {
    case GenApi::DisplayNotation::automatic: break;
    case GenApi::DisplayNotation::fixed: format = std::chars_format::fixed; break;
    case GenApi::DisplayNotation::scientific: format = std::chars_format::scientific; break;
    }
    // a number of 308 digits before the point, and what may stand behind it
    constexpr int most_digits = 17;
    char letters[400];
    const auto [end, error] =
        std::to_chars(letters, letters + sizeof letters, value, format, std::clamp(precision, 0, most_digits));
    return error == std::errc() ? std::string(letters, end) : to_text(value);
}

std::string hex_text(std::span<const std::uint8_t> bytes)
{
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> bytes_of(std::string_view text)
{
    text = trimmed(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    std::vector<std::uint8_t> bytes;
    while (!text.empty()) {
        if (is_space(text.front())) {
            text.remove_prefix(1);
            continue;
        }
        const auto byte = number_of<std::uint8_t>(text.substr(0, 2), 16);
        if (text.size() < 2 || !byte) {
            return std::nullopt;
        }
        bytes.push_back(*byte);
        text.remove_prefix(2);
    }
    return bytes;
}

SliderScale SliderScale::of_integers(std::int64_t min, std::int64_t max, std::int64_t increment,
                                     Representation representation)
{
    SliderScale scale = of_floats(static_cast<double>(min), static_cast<double>(max), representation);
    scale.least_ = min;
    scale.largest_ = max;
    scale.increment_ = std::max<std::int64_t>(increment, 1);
    return scale;
}

SliderScale SliderScale::of_floats(double min, double max, Representation representation)
{
    SliderScale scale;
    scale.min_ = min;
    scale.max_ = max;
    const bool wants_logarithm = representation == Representation::logarithmic;
    // there is no logarithm of what is not positive
    scale.is_logarithmic_ = wants_logarithm && min > 0;
    scale.is_useful_ =
        (wants_logarithm || representation == Representation::linear) && min < max && max - min <= longest_range;
    return scale;
}

int SliderScale::position_of(double value) const
{
    if (!is_useful_ || !(value > min_)) {
        return 0;
    }
    if (value >= max_) {
        return steps;
    }
    const double part =
        is_logarithmic_ ? std::log(value / min_) / std::log(max_ / min_) : (value - min_) / (max_ - min_);
    return static_cast<int>(std::lround(part * steps));
}

double SliderScale::float_at(int position) const
{
    if (position <= 0) {
        return min_;
    }
    if (position >= steps) {
        return max_;
    }
    const double part = static_cast<double>(position) / steps;
    return is_logarithmic_ ? min_ * std::pow(max_ / min_, part) : min_ + (max_ - min_) * part;
}

std::int64_t SliderScale::integer_at(int position) const
{
    if (position <= 0) {
        return least_;
    }
    if (!is_useful_) {
        return largest_;
    }
    // a slider's range is short enough for these not to overflow
    const std::int64_t most = (largest_ - least_) / increment_;
    const double wanted = (float_at(position) - min_) / static_cast<double>(increment_);
    return least_ + std::min(static_cast<std::int64_t>(std::llround(wanted)), most) * increment_;
}

}  // namespace vex::browser
