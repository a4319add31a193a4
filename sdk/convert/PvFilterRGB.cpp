#include "sdk/convert/PvFilterRGB.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/color.h"
#include "sdk/convert/conversion.h"
#include "sdk/convert/filter_target.h"
#include "sdk/convert/pack.h"
#include "sdk/convert/simd/simd.h"
#include "sdk/convert/unpack.h"
#include "sdk/convert/views.h"

namespace {

using namespace vex;
using namespace vex::convert;
using Byte = std::uint8_t;

PvResult no_colour(const PvBuffer& buffer)
{
    return failure(PvResult::NotSupported, "Images of pixel type ",
                   static_cast<std::uint32_t>(buffer.GetImage()->GetPixelType()), " have no colours to filter");
}

template <class Sample>
Channels<Sample> scratch_channels(Scratch& scratch) noexcept
{
    return {{scratch.line<Sample>(0), scratch.line<Sample>(1), scratch.line<Sample>(2)}, scratch.line<Byte>(3)};
}

/// The colour of a Bayer image's pixel: 0 red, 1 green, 2 blue.
std::size_t bayer_color(const Format& format, std::size_t x, std::size_t y) noexcept
{
    const bool red_column = x % 2 == format.red_x;
    const bool red_line = y % 2 == format.red_y;
    return red_column == red_line ? (red_line ? 0 : 2) : 1;
}

template <class Sample>
constexpr bool is_words = sizeof(Sample) == 2;

/// What unpacks lines of a type into channels of samples, YUV as RGB; null when there is none.
template <class Sample>
simd::LineKernel unpacking_kernel(const Format& format) noexcept
{
    if (format.model == Model::bayer) {
        return is_words<Sample> ? simd::find_samples_kernel(format, 16) : nullptr;
    }
    return simd::find_line_kernel(format, *find_format(is_words<Sample> ? PvPixelRGB16Planar : PvPixelRGB8Planar));
}

template <class Sample>
PackedLine<Byte> as_bytes(const Channels<Sample>& line) noexcept
{
    const auto at = [&](std::size_t channel) { return reinterpret_cast<Byte*>(line.color[channel]); };
    return {at(0), at(1), at(2)};
}

/// A line whose samples do not lie in bytes or words of their own.
template <class Sample>
void filter_packed_line(const Format& format, const PackedLine<Byte>& at, std::size_t width, const ColorGains& gains,
                        const LineGains& bayer_gains, Scratch& scratch) noexcept
{
    const auto line = scratch_channels<Sample>(scratch);
    const PackedLine<const Byte> from{at[0], at[1], at[2]};
    if (const auto unpack = unpacking_kernel<Sample>(format); unpack != nullptr) {
        unpack(from, width, {0, width}, as_bytes(line));
    } else {
        unpack_line(format, from, width, line);
    }
    if (format.model == Model::bayer) {
        apply_gain(bayer_gains, width, line.color[0]);
    } else {
        for (std::size_t color = 0; color < 3; ++color) {
            apply_gain(LineGains(gains, {color}), width, line.color[color]);
        }
    }
    pack_line(format, Channels<const Sample>{{line.color[0], line.color[1], line.color[2]}, line.alpha}, width, at);
}

void filter_lines(const CheckedImage<Byte>& image, const ColorGains& gains, Scratch& scratch) noexcept
{
    const auto& [checked, view] = image;
    const Format& format = *checked;
    const std::size_t first = format.blue_first ? 2 : 0;
    const LineGains of_planes[] = {{gains, {0}}, {gains, {1}}, {gains, {2}}};
    const LineGains of_triples(gains, {first, 1, 2 - first});
    const LineGains of_quads(gains, {first, 1, 2 - first, format.alpha ? kept_sample : opaque_sample});
    const auto of_bayer = [&](std::size_t y) {
        return LineGains(gains, {bayer_color(format, 0, y), bayer_color(format, 1, y)});
    };
    const LineGains of_bayer_lines[] = {of_bayer(0), of_bayer(1)};
    for (std::size_t y = 0; y < view.height; ++y) {
        const auto at = view.line(y);
        const auto& of_cells = of_bayer_lines[y % 2];
        switch (format.packing) {
        case Packing::bytes: apply_gain(of_cells, view.width, at[0]); break;
        case Packing::words: apply_gain_to_words(of_cells, format.depth, view.width, at[0]); break;
        case Packing::triples: apply_gain(of_triples, 3 * view.width, at[0]); break;
        case Packing::quads: apply_gain(of_quads, 4 * view.width, at[0]); break;
        case Packing::word_triples: apply_gain_to_words(of_triples, format.depth, 3 * view.width, at[0]); break;
        case Packing::planar_bytes:
            for (std::size_t color = 0; color < 3; ++color) {
                apply_gain(of_planes[color], view.width, at[color]);
            }
            break;
        case Packing::planar_words:
            for (std::size_t color = 0; color < 3; ++color) {
                apply_gain_to_words(of_planes[color], format.depth, view.width, at[color]);
            }
            break;
        default:
            if (format.depth <= 8) {
                filter_packed_line<Byte>(format, at, view.width, gains, of_cells, scratch);
            } else {
                filter_packed_line<std::uint16_t>(format, at, view.width, gains, of_cells, scratch);
            }
        }
    }
}

void add(ColorSums& sums, std::uint64_t red, std::uint64_t green, std::uint64_t blue) noexcept
{
    sums.color[0] += red;
    sums.color[1] += green;
    sums.color[2] += blue;
    ++sums.pixels;
}

template <class Sample>
constexpr unsigned saturated = 250U * (std::numeric_limits<Sample>::max() / 255U);
template <class Sample>
ColorSums sum_pixels(const CheckedImage<const Byte>& image, Scratch& scratch) noexcept
{
    const auto& [format, view] = image;
    const auto line = scratch_channels<Sample>(scratch);
    const auto& [red, green, blue] = line.color;
    const auto planes = as_bytes(line);
    const auto unpack = unpacking_kernel<Sample>(*format);
    const auto add_line = simd::find_pixel_sums_kernel(is_words<Sample>);
    ColorSums sums;
    for (std::size_t y = 0; y < view.height; ++y) {
        if (unpack != nullptr) {
            unpack(view.line(y), view.width, {0, view.width}, planes);
        } else {
            unpack_line(*format, view.line(y), view.width, line);
        }
        if constexpr (!is_words<Sample>) {
            if (format->model == Model::yuv && unpack == nullptr) {
                yuv_to_rgb(view.width, line);
            }
        }
        if (add_line != nullptr) {
            add_line({planes[0], planes[1], planes[2]}, view.width, saturated<Sample>, sums);
            continue;
        }
        for (std::size_t x = 0; x < view.width; ++x) {
            if (std::max({red[x], green[x], blue[x]}) < saturated<Sample>) {
                add(sums, red[x], green[x], blue[x]);
            }
        }
    }
    return sums;
}

/// A line that begins with red and green, and one with green and blue; `width` is even.
template <class Sample>
void add_cells(const Sample* red_row, const Sample* blue_row, std::size_t width, ColorSums& sums) noexcept
{
    if (const auto kernel = simd::find_cell_sums_kernel(is_words<Sample>); kernel != nullptr) {
        const auto bytes_of = [](const Sample* row) { return reinterpret_cast<const Byte*>(row); };
        return kernel({bytes_of(red_row), bytes_of(blue_row), nullptr}, width, saturated<Sample>, sums);
    }
    for (std::size_t x = 0; x < width; x += 2) {
        if (std::max({red_row[x], red_row[x + 1], blue_row[x], blue_row[x + 1]}) < saturated<Sample>) {
            add(sums, red_row[x], std::uint64_t{red_row[x + 1]} + blue_row[x], blue_row[x + 1]);
        }
    }
}

template <class Sample>
ColorSums sum_cells(const CheckedImage<const Byte>& image, Scratch& scratch) noexcept
{
    const auto& [format, view] = image;
    Sample* const rows[] = {scratch.line<Sample>(0), scratch.line<Sample>(1)};
    const auto unpack = unpacking_kernel<Sample>(*format);
    // cells that begin with green are cells upside down that begin with blue
    const bool upside_down = format->red_x != 0;
    const std::size_t first = upside_down ? 1U - format->red_y : format->red_y;
    ColorSums sums;
    for (std::size_t y = 0; y + 1 < view.height; y += 2) {
        for (std::size_t i = 0; i < 2; ++i) {
            if (unpack != nullptr) {
                unpack(view.line(y + i), view.width, {0, view.width}, {reinterpret_cast<Byte*>(rows[i])});
            } else {
                unpack_line(*format, view.line(y + i), view.width,
                            Channels<Sample>{{rows[i], nullptr, nullptr}, nullptr});
            }
        }
        add_cells(rows[first], rows[1 - first], view.width / 2 * 2, sums);
    }
    if (upside_down) {
        std::swap(sums.color[0], sums.color[2]);
    }
    sums.color[0] *= 2;  // of green there are two in each cell
    sums.color[2] *= 2;
    return sums;
}

ColorSums sum(const CheckedImage<const Byte>& image, Scratch& scratch) noexcept
{
    const bool bytes = image.format->depth <= 8;
    if (image.format->model == Model::bayer) {
        return bytes ? sum_cells<Byte>(image, scratch) : sum_cells<std::uint16_t>(image, scratch);
    }
    return bytes ? sum_pixels<Byte>(image, scratch) : sum_pixels<std::uint16_t>(image, scratch);
}

}  // namespace

void PvFilterRGB::Reset() noexcept { *this = PvFilterRGB(); }

PvResult PvFilterRGB::WhiteBalance(const PvBuffer* buffer)
{
    CheckedImage<const Byte> image;
    if (auto checked = check_image(buffer, "buffer", image); !checked.IsOK()) {
        return checked;
    }
    if (image.format == nullptr || image.format->model == Model::mono) {
        return no_colour(*buffer);
    }
    Scratch scratch;
    try {
        scratch.reserve(image.view.width, 4);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    const auto sums = sum(image, scratch);
    if (sums.pixels == 0) {
        return failure(PvResult::ImageError, "Every pixel of the image is saturated");
    }
    if (*std::min_element(sums.color.begin(), sums.color.end()) == 0) {
        return failure(PvResult::ImageError, "A colour is absent from the image; it cannot be balanced");
    }
    const auto largest = static_cast<double>(*std::max_element(sums.color.begin(), sums.color.end()));
    const auto gain = [&](std::size_t color) { return largest / static_cast<double>(sums.color[color]); };
    Reset();
    gain_r_ = gain(0);
    gain_g_ = gain(1);
    gain_b_ = gain(2);
    return PvResult::OK;
}

PvResult PvFilterRGB::Apply(PvBuffer* buffer)
{
    CheckedImage<Byte> image;
    if (auto checked = check_image(buffer, "buffer", image); !checked.IsOK()) {
        return checked;
    }
    if (image.format == nullptr || image.format->model == Model::mono || image.format->model == Model::yuv) {
        return no_colour(*buffer);
    }
    const auto gains = gains_of(*this);
    if (gains.neutral()) {
        return PvResult::OK;
    }
    Scratch scratch;
    try {
        scratch.reserve(image.view.width, 4);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    filter_lines(image, gains, scratch);
    return PvResult::OK;
}

PvResult PvFilterRGB::Apply(const PvBuffer* in, PvBuffer* out)
{
    CheckedImage<const Byte> image;
    if (auto checked = check_image(in, "input", image); !checked.IsOK()) {
        return checked;
    }
    if (image.format == nullptr || image.format->model == Model::mono || image.format->model == Model::yuv) {
        return no_colour(*in);
    }
    if (auto copied = copy_image(in, out); !copied.IsOK()) {
        return copied;
    }
    return Apply(out);
}
