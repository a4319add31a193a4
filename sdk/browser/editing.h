// Values as a browser shows and takes them, whatever the locale.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/types.h"

namespace vex::browser {

/// As the representation wants it: decimal, hexadecimal after 0x, 192.168.0.1 or 00:11:22:33:44:55; decimal where a
/// number is too large for an address.
[[nodiscard]] std::string integer_text(std::int64_t value, GenApi::Representation representation);
/// Any of these notations; without 0x also plain hexadecimal digits where the representation is hexadecimal and the
/// text has a digit that is not decimal. Nothing for other text.
[[nodiscard]] std::optional<std::int64_t> integer_of(std::string_view text, GenApi::Representation representation);

/// All digits, and an exponent only where the number would be long without.
[[nodiscard]] std::string float_text(double value);
/// With so many digits as the notation counts them: all of them, or those behind the point.
[[nodiscard]] std::string float_text(double value, GenApi::DisplayNotation notation, int precision);

/// Pairs of upper case digits with a space between them.
[[nodiscard]] std::string hex_text(std::span<const std::uint8_t> bytes);
/// Pairs of hexadecimal digits, after 0x or not, with white space wherever there is no pair in the middle. Nothing for
/// other text.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> bytes_of(std::string_view text);

/// Where values lie on a slider, from 0 to the number of its steps.
class SliderScale {
public:
    static constexpr int steps = 1000;

    /// Of whole numbers: `increment` from `min` on.
    static SliderScale of_integers(std::int64_t min, std::int64_t max, std::int64_t increment,
                                   GenApi::Representation representation);
    static SliderScale of_floats(double min, double max, GenApi::Representation representation);

    /// There is a slider for such limits and such a representation: it has room and an end.
    [[nodiscard]] bool is_useful() const noexcept { return is_useful_; }
    /// Values beyond the limits lie at the ends.
    [[nodiscard]] int position_of(double value) const;
    /// Exact at both ends.
    [[nodiscard]] double float_at(int position) const;
    /// The nearest value that the increment allows.
    [[nodiscard]] std::int64_t integer_at(int position) const;

private:
    double min_ = 0;
    double max_ = 0;
    std::int64_t least_ = 0;
    std::int64_t largest_ = 0;
    std::int64_t increment_ = 1;
    bool is_logarithmic_ = false;
    bool is_useful_ = false;
};

}  // namespace vex::browser
