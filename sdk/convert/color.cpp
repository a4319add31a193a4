#include "sdk/convert/color.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sdk/convert/PvFilterRGB.h"
#include "sdk/convert/simd/simd.h"
#include "sdk/convert/yuv_coefficients.h"

namespace vex::convert {
namespace {

using namespace yuv;

std::uint8_t limited(int value) noexcept { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

std::uint32_t fixed_gain(double gain) noexcept
{
    if (!(gain > 0)) {  // no number included
        return 0;
    }
    return static_cast<std::uint32_t>(std::lround(std::min(gain, 16.0) * 4096));
}

template <class Sample>
Sample with_gain(const LineGains& gains, std::size_t x, Sample value) noexcept
{
    constexpr std::int32_t largest = std::numeric_limits<Sample>::max();
    const std::uint32_t gain = gains.gain[x % LineGains::entries];
    const std::int32_t offset = gains.offset[x % LineGains::entries] * (largest / 255);
    const auto scaled = static_cast<std::int32_t>((value * gain + 2048) >> 12);
    return static_cast<Sample>(std::clamp(scaled + offset, 0, largest));
}

}  // namespace

ColorGains gains_of(const PvFilterRGB& filter) noexcept
{
    const double gains[] = {filter.GetGainR(), filter.GetGainG(), filter.GetGainB()};
    const int offsets[] = {filter.GetOffsetR(), filter.GetOffsetG(), filter.GetOffsetB()};
    ColorGains result;
    for (std::size_t c = 0; c < 3; ++c) {
        result.gain[c] = std::min<std::uint32_t>(fixed_gain(gains[c]), 65535);
        result.offset[c] = std::clamp(offsets[c], -255, 255);
    }
    return result;
}

LineGains::LineGains(const ColorGains& gains, std::initializer_list<std::size_t> samples) noexcept
{
    for (std::size_t first = 0; first < samples.size(); ++first) {
        const std::size_t sample = samples.begin()[first];
        const bool is_color = sample < kept_sample;
        const std::uint32_t factor = is_color ? gains.gain[sample] : (sample == kept_sample ? 4096U : 0U);
        const std::int32_t added = is_color ? gains.offset[sample] : (sample == kept_sample ? 0 : 255);
        for (std::size_t i = first; i < entries; i += samples.size()) {
            gain[i] = static_cast<std::uint16_t>(factor);
            offset[i] = static_cast<std::int16_t>(added);
        }
    }
}

template <class Sample>
void apply_gain(const LineGains& gains, std::size_t count, Sample* line) noexcept
{
    constexpr unsigned depth = std::numeric_limits<Sample>::digits;
    if (const auto kernel = simd::find_gain_kernel(depth); kernel != nullptr) {
        return kernel(gains, count, reinterpret_cast<std::uint8_t*>(line));
    }
    for (std::size_t x = 0; x < count; ++x) {
        line[x] = with_gain(gains, x, line[x]);
    }
}
template void apply_gain(const LineGains&, std::size_t, std::uint8_t*) noexcept;
template void apply_gain(const LineGains&, std::size_t, std::uint16_t*) noexcept;

void apply_gain_to_words(const LineGains& gains, unsigned depth, std::size_t count, std::uint8_t* line) noexcept
{
    if (const auto kernel = simd::find_gain_kernel(depth); kernel != nullptr) {
        return kernel(gains, count, line);
    }
    const unsigned mask = (1U << depth) - 1;
    for (std::size_t x = 0; x < count; ++x) {
        const auto value = with_gain(gains, x, widen(load16(line + 2 * x) & mask, depth));
        store16(line + 2 * x, static_cast<unsigned>(value >> (16 - depth)));
    }
}

template <class Sample>
void rgb_to_grey(const Channels<const Sample>& from, std::size_t width, Sample* to) noexcept
{
    const auto [red, green, blue] = from.color;
    for (std::size_t x = 0; x < width; ++x) {
        to[x] = static_cast<Sample>((y_red * red[x] + y_green * green[x] + y_blue * blue[x] + half) >> fraction_bits);
    }
}
template void rgb_to_grey(const Channels<const std::uint8_t>&, std::size_t, std::uint8_t*) noexcept;
template void rgb_to_grey(const Channels<const std::uint16_t>&, std::size_t, std::uint16_t*) noexcept;

// The addresses are copied first: bytes that are written could otherwise be the addresses' own, to the compiler. And
// one channel at a time: it does not vectorise loops over six.

void rgb_to_yuv(std::size_t width, const Channels<const std::uint8_t>& from, const Channels<std::uint8_t>& to) noexcept
{
    const auto [red, green, blue] = from.color;
    const auto weigh = [width, r = red, g = green, b = blue](int of_red, int of_green, int of_blue, int zero,
                                                             std::uint8_t* out) {
        for (std::size_t x = 0; x < width; ++x) {
            out[x] = limited(((of_red * r[x] + of_green * g[x] + of_blue * b[x] + half) >> fraction_bits) + zero);
        }
    };
    weigh(y_red, y_green, y_blue, 0, to.color[0]);
    weigh(u_red, u_green, u_blue, 128, to.color[1]);
    weigh(v_red, v_green, v_blue, 128, to.color[2]);
}

void yuv_to_rgb(std::size_t width, const Channels<std::uint8_t>& line) noexcept
{
    const auto [first, second, third] = line.color;
    for (std::size_t x = 0; x < width; ++x) {
        const int y = first[x];
        const int u = second[x] - 128;
        const int v = third[x] - 128;
        first[x] = limited(y + ((red_v * v + half) >> fraction_bits));
        second[x] = limited(y + ((green_u * u + green_v * v + half) >> fraction_bits));
        third[x] = limited(y + ((blue_u * u + half) >> fraction_bits));
    }
}

void narrow_line(const std::uint16_t* from, std::size_t width, std::uint8_t* to) noexcept
{
    for (std::size_t x = 0; x < width; ++x) {
        to[x] = static_cast<std::uint8_t>(from[x] >> 8);
    }
}

void widen_line(const std::uint8_t* from, std::size_t width, std::uint16_t* to) noexcept
{
    for (std::size_t x = 0; x < width; ++x) {
        to[x] = widen(from[x], 8);
    }
}

}  // namespace vex::convert
