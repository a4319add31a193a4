// The stages between unpacking and packing: colour models, depth, gain and offset.
#pragma once

#include <initializer_list>

#include "sdk/convert/lines.h"

class PvFilterRGB;

namespace vex::convert {

/// Gains and offsets in the form in which they act.
struct ColorGains {
    std::array<std::uint32_t, 3> gain{4096, 4096, 4096};  ///< red, green, blue; in 1/4096, at most 65535
    std::array<std::int32_t, 3> offset{};                 ///< in steps of an 8-bit value, -255 to 255

    [[nodiscard]] bool neutral() const noexcept { return *this == ColorGains{}; }
    friend bool operator==(const ColorGains&, const ColorGains&) = default;
};
[[nodiscard]] ColorGains gains_of(const PvFilterRGB& filter) noexcept;

/// What a sample of a pixel is, where it is no colour.
enum OtherSample : std::size_t { kept_sample = 3, opaque_sample };

/// The gains and offsets of a line's samples, of which the first few repeat over and over.
struct LineGains {
    /// A multiple of all numbers of samples that repeat: of 1 to 4.
    static constexpr std::size_t entries = 192;
    alignas(64) std::array<std::uint16_t, entries> gain;
    alignas(64) std::array<std::int16_t, entries> offset;

    /// `samples`: what the first ones are, 0 red, 1 green, 2 blue or an OtherSample.
    LineGains(const ColorGains& gains, std::initializer_list<std::size_t> samples) noexcept;
};

/// value * gain + offset for `count` samples scaled to their full range, in place.
template <class Sample>
void apply_gain(const LineGains& gains, std::size_t count, Sample* line) noexcept;
/// The same for samples as they are packed in words of which `depth` low bits count.
void apply_gain_to_words(const LineGains& gains, unsigned depth, std::size_t count, std::uint8_t* line) noexcept;

/// Sums of the pixels that count for the white balance.
struct ColorSums {
    std::array<std::uint64_t, 3> color{};
    std::uint64_t pixels = 0;
};

/// Grey of a line of RGB; `to` may be one of the channels.
template <class Sample>
void rgb_to_grey(const Channels<const Sample>& from, std::size_t width, Sample* to) noexcept;

/// Y, U and V of a line of RGB, in lines of their own.
void rgb_to_yuv(std::size_t width, const Channels<const std::uint8_t>& from, const Channels<std::uint8_t>& to) noexcept;
/// The opposite, in place.
void yuv_to_rgb(std::size_t width, const Channels<std::uint8_t>& line) noexcept;

void narrow_line(const std::uint16_t* from, std::size_t width, std::uint8_t* to) noexcept;
void widen_line(const std::uint8_t* from, std::size_t width, std::uint16_t* to) noexcept;

}  // namespace vex::convert
