#include "sdk/convert/PvFilterRGB.h"

#include <algorithm>
#include <limits>
#include <new>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/failure.h"
#include "sdk/convert/color.h"
#include "sdk/convert/conversion.h"
#include "sdk/convert/filter_target.h"
#include "sdk/convert/pack.h"
#include "sdk/convert/unpack.h"
#include "sdk/convert/views.h"

namespace {

using namespace convert;
using Byte = std::uint8_t;

PvResult no_colour(const PvBuffer& buffer)
{
    return failure(PvResult::NotSupported, "images of pixel type ",
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
void filter_lines(const CheckedImage<Byte>& image, const ColorGains& gains, Scratch& scratch) noexcept
{
    const auto& [format, view] = image;
    const auto line = scratch_channels<Sample>(scratch);
    for (std::size_t y = 0; y < view.height; ++y) {
        const auto at = view.line(y);
        unpack_line(*format, PackedLine<const Byte>{at[0], at[1], at[2]}, view.width, line);
        if (format->model == Model::bayer)
            for (std::size_t x = 0; x < std::min<std::size_t>(view.width, 2); ++x)
                apply_gain(gains, bayer_color(*format, x, y), view.width - x, 2, line.color[0] + x);
        else
            for (std::size_t color = 0; color < 3; ++color)
                apply_gain(gains, color, view.width, 1, line.color[color]);
        pack_line(*format, Channels<const Sample>{{line.color[0], line.color[1], line.color[2]}, line.alpha},
                  view.width, at);
    }
}

/// Sums of the pixels that count for the white balance.
struct Sums {
    std::array<std::uint64_t, 3> color{};
    std::uint64_t pixels = 0;

    void add(std::uint64_t red, std::uint64_t green, std::uint64_t blue) noexcept
    {
        color[0] += red;
        color[1] += green;
        color[2] += blue;
        ++pixels;
    }
};

template <class Sample>
constexpr unsigned saturated = 250U * (std::numeric_limits<Sample>::max() / 255U);

template <class Sample>
Sums sum_pixels(const CheckedImage<const Byte>& image, Scratch& scratch) noexcept
{
    const auto& [format, view] = image;
    const auto line = scratch_channels<Sample>(scratch);
    const auto& [red, green, blue] = line.color;
    Sums sums;
    for (std::size_t y = 0; y < view.height; ++y) {
        unpack_line(*format, view.line(y), view.width, line);
        if constexpr (std::is_same_v<Sample, Byte>)
            if (format->model == Model::yuv)
                yuv_to_rgb(view.width, line);
        for (std::size_t x = 0; x < view.width; ++x)
            if (std::max({red[x], green[x], blue[x]}) < saturated<Sample>)
                sums.add(red[x], green[x], blue[x]);
    }
    return sums;
}

template <class Sample>
Sums sum_cells(const CheckedImage<const Byte>& image, Scratch& scratch) noexcept
{
    const auto& [format, view] = image;
    Sample* const rows[] = {scratch.line<Sample>(0), scratch.line<Sample>(1)};
    Sums sums;
    for (std::size_t y = 0; y + 1 < view.height; y += 2) {
        for (std::size_t i = 0; i < 2; ++i)
            unpack_line(*format, view.line(y + i), view.width, Channels<Sample>{{rows[i], nullptr, nullptr}, nullptr});
        const Sample* const red_row = rows[format->red_y];
        const Sample* const blue_row = rows[1 - format->red_y];
        const std::size_t red_x = format->red_x;
        for (std::size_t x = 0; x + 1 < view.width; x += 2) {
            const unsigned red = red_row[x + red_x];
            const unsigned green_1 = red_row[x + 1 - red_x];
            const unsigned green_2 = blue_row[x + red_x];
            const unsigned blue = blue_row[x + 1 - red_x];
            if (std::max({red, green_1, green_2, blue}) < saturated<Sample>)
                sums.add(2 * red, green_1 + green_2, 2 * blue);
        }
    }
    return sums;
}

Sums sum(const CheckedImage<const Byte>& image, Scratch& scratch) noexcept
{
    const bool bytes = image.format->depth <= 8;
    if (image.format->model == Model::bayer)
        return bytes ? sum_cells<Byte>(image, scratch) : sum_cells<std::uint16_t>(image, scratch);
    return bytes ? sum_pixels<Byte>(image, scratch) : sum_pixels<std::uint16_t>(image, scratch);
}

}  // namespace

void PvFilterRGB::Reset() noexcept { *this = PvFilterRGB(); }

PvResult PvFilterRGB::WhiteBalance(const PvBuffer* buffer)
{
    CheckedImage<const Byte> image;
    if (auto checked = check_image(buffer, "buffer", image); !checked.IsOK())
        return checked;
    if (image.format == nullptr || image.format->model == Model::mono)
        return no_colour(*buffer);
    Scratch scratch;
    try {
        scratch.reserve(image.view.width, 4);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    const auto sums = sum(image, scratch);
    if (sums.pixels == 0)
        return failure(PvResult::ImageError, "every pixel of the image is saturated");
    if (*std::min_element(sums.color.begin(), sums.color.end()) == 0)
        return failure(PvResult::ImageError, "a colour is absent from the image; it cannot be balanced");
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
    if (auto checked = check_image(buffer, "buffer", image); !checked.IsOK())
        return checked;
    if (image.format == nullptr || image.format->model == Model::mono || image.format->model == Model::yuv)
        return no_colour(*buffer);
    const auto gains = gains_of(*this);
    if (gains.neutral())
        return PvResult::OK;
    Scratch scratch;
    try {
        scratch.reserve(image.view.width, 4);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    if (image.format->depth <= 8)
        filter_lines<Byte>(image, gains, scratch);
    else
        filter_lines<std::uint16_t>(image, gains, scratch);
    return PvResult::OK;
}

PvResult PvFilterRGB::Apply(const PvBuffer* in, PvBuffer* out)
{
    CheckedImage<const Byte> image;
    if (auto checked = check_image(in, "input", image); !checked.IsOK())
        return checked;
    if (image.format == nullptr || image.format->model == Model::mono || image.format->model == Model::yuv)
        return no_colour(*in);
    if (auto copied = copy_image(in, out); !copied.IsOK())
        return copied;
    return Apply(out);
}
