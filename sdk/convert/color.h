// The stages between unpacking and packing: colour models, depth, gain and offset.
#pragma once

#include "sdk/convert/lines.h"

class PvFilterRGB;

namespace convert {

/// Gains and offsets in the form in which they act.
struct ColorGains {
    std::array<std::uint32_t, 3> gain{4096, 4096, 4096};  ///< red, green, blue; in 1/4096, at most 65535
    std::array<std::int32_t, 3> offset{};                 ///< in steps of an 8-bit value, -255 to 255

    [[nodiscard]] bool neutral() const noexcept { return *this == ColorGains{}; }
    friend bool operator==(const ColorGains&, const ColorGains&) = default;
};
[[nodiscard]] ColorGains gains_of(const PvFilterRGB& filter) noexcept;

/// value * gain + offset for `width` samples of one colour that lie `step` apart, in place.
template <class Sample>
void apply_gain(const ColorGains& gains, std::size_t color, std::size_t width, std::size_t step, Sample* line) noexcept;

/// Grey of a line of RGB; `to` may be one of the channels.
template <class Sample>
void rgb_to_grey(const Channels<const Sample>& from, std::size_t width, Sample* to) noexcept;

/// Y, U and V of a line of RGB, in lines of their own.
void rgb_to_yuv(std::size_t width, const Channels<const std::uint8_t>& from, const Channels<std::uint8_t>& to) noexcept;
/// The opposite, in place.
void yuv_to_rgb(std::size_t width, const Channels<std::uint8_t>& line) noexcept;

void narrow_line(const std::uint16_t* from, std::size_t width, std::uint8_t* to) noexcept;
void widen_line(const std::uint8_t* from, std::size_t width, std::uint16_t* to) noexcept;

}  // namespace convert
