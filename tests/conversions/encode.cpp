#include "tests/conversions/encode.h"

#include <cmath>
#include <string>
#include <string_view>

#include "sdk/buffer/pixel_type_names.h"

using namespace vex;

namespace sheet {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<unsigned>;

void put8(Bytes& to, unsigned value) { to.push_back(static_cast<std::uint8_t>(value)); }
void put16(Bytes& to, unsigned value)
{
    put8(to, value & 0xFF);
    put8(to, value >> 8);
}

unsigned reduced(std::uint16_t value, unsigned depth) { return static_cast<unsigned>(value) >> (16 - depth); }

/// The depth in a name like "BayerRG12Packed".
unsigned depth_of(std::string_view name)
{
    return static_cast<unsigned>(std::stoul(std::string(name.substr(name.find_first_of("0123456789")))));
}

/// Two samples in three bytes: their high eight bits outside, their low bits in the halves of the middle byte.
void put_pairs(Bytes& to, const Samples& samples, unsigned depth)
{
    const unsigned low = depth - 8;
    const unsigned mask = (1U << low) - 1;
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        const unsigned second = i + 1 < samples.size() ? samples[i + 1] : 0;
        put8(to, samples[i] >> low);
        put8(to, (samples[i] & mask) | (second & mask) << 4);
        if (i + 1 < samples.size()) {
            put8(to, second >> low);
        }
    }
}

void put_single_channel(Bytes& to, const Samples& samples, unsigned depth, bool packed)
{
    if (packed) {
        return put_pairs(to, samples, depth);
    }
    for (const auto sample : samples) {
        depth == 8 ? put8(to, sample) : put16(to, sample);
    }
}

Bytes encode_mono(const Scene& scene, std::string_view name)
{
    const unsigned depth = depth_of(name);
    const unsigned black = name == "Mono8Signed" ? 128 : 0;  // -128 is black
    Bytes bytes;
    for (std::uint32_t y = 0; y < scene.height; ++y) {
        Samples line;
        for (std::uint32_t x = 0; x < scene.width; ++x) {
            line.push_back((reduced(grey_of(scene.at(x, y)), depth) - black) & ((1U << depth) - 1));
        }
        put_single_channel(bytes, line, depth, name.ends_with("Packed"));
    }
    return bytes;
}

/// "BayerGR8": the first line begins green, red; the second has the other two colours.
Bytes encode_bayer(const Scene& scene, std::string_view name)
{
    const unsigned depth = depth_of(name);
    const std::string first(name.substr(5, 2));
    const std::string second = first == "GR" ? "BG" : first == "RG" ? "GB" : first == "GB" ? "RG" : "GR";
    const auto channel = [](char letter) { return std::string("RGB").find(letter); };
    Bytes bytes;
    for (std::uint32_t y = 0; y < scene.height; ++y) {
        Samples line;
        for (std::uint32_t x = 0; x < scene.width; ++x) {
            line.push_back(reduced(scene.at(x, y)[channel((y % 2 == 0 ? first : second)[x % 2])], depth));
        }
        put_single_channel(bytes, line, depth, name.ends_with("Packed"));
    }
    return bytes;
}

Bytes encode_planar(const Scene& scene, unsigned depth)
{
    Bytes bytes;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        for (const auto& pixel : scene.pixels) {
            depth == 8 ? put8(bytes, reduced(pixel[plane], 8)) : put16(bytes, reduced(pixel[plane], depth));
        }
    }
    return bytes;
}

/// Channels side by side in the order of the letters; A is opaque, X unused.
Bytes encode_channels(const Scene& scene, std::string_view order, unsigned depth)
{
    Bytes bytes;
    for (const auto& pixel : scene.pixels) {
        for (const char letter : order) {
            const auto channel = std::string_view("RGB").find(letter);
            const unsigned value = channel != std::string_view::npos ? reduced(pixel[channel], depth)
                                   : letter == 'A'                   ? 0xFF
                                                                     : 0x55;
            depth == 8 ? put8(bytes, value) : put16(bytes, value);
        }
    }
    return bytes;
}

void put_v1(Bytes& to, const Color& color)
{
    const unsigned red = reduced(color[0], 10);
    const unsigned green = reduced(color[1], 10);
    const unsigned blue = reduced(color[2], 10);
    put8(to, (red & 3) | (green & 3) << 2 | (blue & 3) << 4);
    put8(to, red >> 2);
    put8(to, green >> 2);
    put8(to, blue >> 2);
}

void put_v2(Bytes& to, const Color& color)
{
    const unsigned word = reduced(color[0], 10) | reduced(color[1], 10) << 10 | reduced(color[2], 10) << 20;
    put16(to, word & 0xFFFF);
    put16(to, word >> 16);
}

void put_555(Bytes& to, const Color& color)
{
    put16(to, reduced(color[0], 5) << 10 | reduced(color[1], 5) << 5 | reduced(color[2], 5));
}

Bytes encode_each(const Scene& scene, void (*put)(Bytes&, const Color&))
{
    Bytes bytes;
    for (const auto& pixel : scene.pixels) {
        put(bytes, pixel);
    }
    return bytes;
}

Bytes encode_12_v1(const Scene& scene)
{
    Bytes bytes;
    for (std::uint32_t y = 0; y < scene.height; ++y) {
        Samples line;
        for (std::uint32_t x = 0; x < scene.width; ++x) {
            for (const auto value : scene.at(x, y)) {
                line.push_back(reduced(value, 12));
            }
        }
        put_pairs(bytes, line, 12);
    }
    return bytes;
}

/// Y, U and V of the mean of `count` pixels, by BT.601 over the full range.
std::array<unsigned, 3> yuv_of(const Color* pixels, std::size_t count)
{
    double red = 0;
    double green = 0;
    double blue = 0;
    for (std::size_t i = 0; i < count; ++i) {
        red += reduced(pixels[i][0], 8) / static_cast<double>(count);
        green += reduced(pixels[i][1], 8) / static_cast<double>(count);
        blue += reduced(pixels[i][2], 8) / static_cast<double>(count);
    }
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    const auto rounded = [](double value) {
        return static_cast<unsigned>(std::lround(std::fmin(std::fmax(value, 0), 255)));
    };
    return {rounded(luma), rounded(128 + (blue - luma) / 1.772), rounded(128 + (red - luma) / 1.402)};
}

/// `order` names the bytes of a group of pixels: Y is the next pixel's, U and V are the group's.
Bytes encode_yuv(const Scene& scene, std::string_view order, std::size_t group)
{
    Bytes bytes;
    for (std::size_t at = 0; at < scene.pixels.size(); at += group) {
        const auto* pixels = scene.pixels.data() + at;
        const auto shared = yuv_of(pixels, group);
        std::size_t next = 0;
        for (const char letter : order) {
            put8(bytes, letter == 'Y' ? yuv_of(pixels + next++, 1)[0] : shared[letter == 'U' ? 1 : 2]);
        }
    }
    return bytes;
}

}  // namespace

std::uint16_t grey_of(const Color& color)
{
    return static_cast<std::uint16_t>((299U * color[0] + 587U * color[1] + 114U * color[2] + 500U) / 1000U);
}

std::vector<std::uint8_t> encode(const Scene& scene, PvPixelType type)
{
    const auto name = pixel_type_name(type);
    if (name.starts_with("Mono")) {
        return encode_mono(scene, name);
    }
    if (name.starts_with("Bayer")) {
        return encode_bayer(scene, name);
    }
    switch (type) {
    case PvPixelRGB8Packed:
    case PvPixelWinBGR24: return encode_channels(scene, "RGB", 8);
    case PvPixelBGR8Packed:
    case PvPixelWinRGB24: return encode_channels(scene, "BGR", 8);
    case PvPixelRGBA8Packed: return encode_channels(scene, "RGBA", 8);
    case PvPixelBGRA8Packed: return encode_channels(scene, "BGRA", 8);
    case PvPixelWinRGB32: return encode_channels(scene, "BGRX", 8);
    case PvPixelWinBGR32: return encode_channels(scene, "RGBX", 8);
    case PvPixelRGB10Packed:
    case PvPixelRGB12Packed:
    case PvPixelRGB16Packed: return encode_channels(scene, "RGB", depth_of(name));
    case PvPixelBGR10Packed:
    case PvPixelBGR12Packed: return encode_channels(scene, "BGR", depth_of(name));
    case PvPixelRGB8Planar:
    case PvPixelRGB10Planar:
    case PvPixelRGB12Planar:
    case PvPixelRGB16Planar: return encode_planar(scene, depth_of(name));
    case PvPixelBGR10V1Packed: return encode_each(scene, put_v1);
    case PvPixelBGR10V2Packed: return encode_each(scene, put_v2);
    case PvPixelWinRGB16: return encode_each(scene, put_555);
    case PvPixelRGB12V1Packed: return encode_12_v1(scene);
    case PvPixelYUV411Packed: return encode_yuv(scene, "UYYVYY", 4);
    case PvPixelYUV422Packed: return encode_yuv(scene, "UYVY", 2);
    case PvPixelYUV422YUYVPacked: return encode_yuv(scene, "YUYV", 2);
    case PvPixelYUV444Packed: return encode_yuv(scene, "UYV", 1);
    default: return {};
    }
}

}  // namespace sheet
