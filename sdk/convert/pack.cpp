#include "sdk/convert/pack.h"

#include <cstring>
#include <utility>

namespace vex::convert {
namespace {

using Byte = std::uint8_t;

template <class Sample>
Channels<const Sample> red_first(const Format& format, Channels<const Sample> channels) noexcept
{
    if (format.blue_first) {
        std::swap(channels.color[0], channels.color[2]);
    }
    return channels;
}

void pack_triples(const Channels<const Byte>& from, std::size_t width, Byte* to) noexcept
{
    const Byte* const first = from.color[0];
    const Byte* const second = from.color[1];
    const Byte* const third = from.color[2];
    for (std::size_t x = 0; x < width; ++x) {
        to[3 * x] = first[x];
        to[3 * x + 1] = second[x];
        to[3 * x + 2] = third[x];
    }
}

void pack_quads(const Channels<const Byte>& from, std::size_t width, Byte* to) noexcept
{
    const Byte* const first = from.color[0];
    const Byte* const second = from.color[1];
    const Byte* const third = from.color[2];
    for (std::size_t x = 0; x < width; ++x) {
        to[4 * x] = first[x];
        to[4 * x + 1] = second[x];
        to[4 * x + 2] = third[x];
        to[4 * x + 3] = 255;
    }
    if (from.alpha != nullptr) {
        for (std::size_t x = 0; x < width; ++x) {
            to[4 * x + 3] = from.alpha[x];
        }
    }
}

void pack_rgb555(const Channels<const Byte>& from, std::size_t width, Byte* to) noexcept
{
    const auto [red, green, blue] = from.color;
    for (std::size_t x = 0; x < width; ++x) {
        store16(to + 2 * x, static_cast<unsigned>(red[x] >> 3 << 10 | green[x] >> 3 << 5 | blue[x] >> 3));
    }
}

/// Two pixels in four bytes, Y of each at `luma` and two further on, U and then V in the other places. A last single
/// pixel has no room for V.
void pack_422(const Channels<const Byte>& from, std::size_t width, std::size_t luma, Byte* to) noexcept
{
    const auto mean = [](unsigned a, unsigned b) { return static_cast<Byte>((a + b + 1) / 2); };
    const std::size_t chroma = 1 - luma;
    const auto [y, u, v] = from.color;
    std::size_t x = 0;
    for (; x + 1 < width; x += 2, to += 4) {
        to[luma] = y[x];
        to[luma + 2] = y[x + 1];
        to[chroma] = mean(u[x], u[x + 1]);
        to[chroma + 2] = mean(v[x], v[x + 1]);
    }
    if (x < width) {
        to[luma] = y[x];
        to[chroma] = u[x];
    }
}

void pack_yuv444(const Channels<const Byte>& from, std::size_t width, Byte* to) noexcept
{
    const auto [y, u, v] = from.color;
    for (std::size_t x = 0; x < width; ++x) {
        to[3 * x] = u[x];
        to[3 * x + 1] = y[x];
        to[3 * x + 2] = v[x];
    }
}

void pack_words(const std::uint16_t* from, std::size_t width, unsigned depth, std::size_t step, Byte* to) noexcept
{
    for (std::size_t x = 0; x < width; ++x) {
        store16(to + step * x, static_cast<unsigned>(from[x] >> (16 - depth)));
    }
}

/// Writes the value at an even place, with its half of the shared byte cleared for the odd one, or at an odd place.
void store_first_of_pair(Byte* pair, unsigned value, unsigned depth) noexcept
{
    const unsigned low_bits = depth - 8;
    pair[0] = static_cast<Byte>(value >> low_bits);
    pair[1] = static_cast<Byte>(value & ((1U << low_bits) - 1));
}
void store_second_of_pair(Byte* pair, unsigned value, unsigned depth) noexcept
{
    const unsigned low_bits = depth - 8;
    pair[1] = static_cast<Byte>(pair[1] | (value & ((1U << low_bits) - 1)) << 4);
    pair[2] = static_cast<Byte>(value >> low_bits);
}
void store_in_pair(Byte* pairs, std::size_t place, unsigned value, unsigned depth) noexcept
{
    Byte* pair = pairs + place / 2 * 3;
    place % 2 == 0 ? store_first_of_pair(pair, value, depth) : store_second_of_pair(pair, value, depth);
}

void pack_pairs(const std::uint16_t* from, std::size_t width, unsigned depth, Byte* to) noexcept
{
    const auto value = [from, depth](std::size_t x) { return static_cast<unsigned>(from[x] >> (16 - depth)); };
    std::size_t x = 0;
    for (; x + 1 < width; x += 2, to += 3) {
        store_first_of_pair(to, value(x), depth);
        store_second_of_pair(to, value(x + 1), depth);
    }
    if (x < width) {
        store_first_of_pair(to, value(x), depth);
    }
}

void pack_rgb10_v1(const Channels<const std::uint16_t>& from, std::size_t width, Byte* to) noexcept
{
    for (std::size_t x = 0; x < width; ++x, to += 4) {
        unsigned low_bits = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            const auto value = static_cast<unsigned>(from.color[c][x] >> 6);
            to[1 + c] = static_cast<Byte>(value >> 2);
            low_bits |= (value & 3) << (2 * c);
        }
        to[0] = static_cast<Byte>(low_bits);
    }
}

void pack_rgb10_v2(const Channels<const std::uint16_t>& from, std::size_t width, Byte* to) noexcept
{
    const auto [red, green, blue] = from.color;
    for (std::size_t x = 0; x < width; ++x, to += 4) {
        const auto word = static_cast<std::uint32_t>(red[x] >> 6 | green[x] >> 6 << 10 | blue[x] >> 6 << 20);
        store16(to, word & 0xFFFF);
        store16(to + 2, word >> 16);
    }
}

}  // namespace

void pack_line(const Format& format, const Channels<const Byte>& unordered, std::size_t width,
               const PackedLine<Byte>& to) noexcept
{
    const auto from = red_first(format, unordered);
    switch (format.packing) {
    case Packing::bytes: std::memcpy(to[0], from.color[0], width); break;
    case Packing::signed_bytes:
        for (std::size_t x = 0; x < width; ++x) {
            to[0][x] = static_cast<Byte>(from.color[0][x] ^ 0x80);
        }
        break;
    case Packing::triples: pack_triples(from, width, to[0]); break;
    case Packing::quads: pack_quads(from, width, to[0]); break;
    case Packing::rgb555: pack_rgb555(from, width, to[0]); break;
    case Packing::planar_bytes:
        for (std::size_t c = 0; c < 3; ++c) {
            std::memcpy(to[c], from.color[c], width);
        }
        break;
    case Packing::uyvy: pack_422(from, width, 1, to[0]); break;
    case Packing::yuyv: pack_422(from, width, 0, to[0]); break;
    case Packing::yuv444: pack_yuv444(from, width, to[0]); break;
    default: break;  // deeper than 8 bits
    }
}

void pack_line(const Format& format, const Channels<const std::uint16_t>& unordered, std::size_t width,
               const PackedLine<Byte>& to) noexcept
{
    const auto from = red_first(format, unordered);
    switch (format.packing) {
    case Packing::words: pack_words(from.color[0], width, format.depth, 2, to[0]); break;
    case Packing::pairs: pack_pairs(from.color[0], width, format.depth, to[0]); break;
    case Packing::word_triples:
        for (std::size_t c = 0; c < 3; ++c) {
            pack_words(from.color[c], width, format.depth, 6, to[0] + 2 * c);
        }
        break;
    case Packing::planar_words:
        for (std::size_t c = 0; c < 3; ++c) {
            pack_words(from.color[c], width, format.depth, 2, to[c]);
        }
        break;
    case Packing::rgb10_v1: pack_rgb10_v1(from, width, to[0]); break;
    case Packing::rgb10_v2: pack_rgb10_v2(from, width, to[0]); break;
    case Packing::rgb12_v1:
        for (std::size_t value = 0; value < 3 * width; ++value) {
            store_in_pair(to[0], value, static_cast<unsigned>(from.color[value % 3][value / 3] >> 4), 12);
        }
        break;
    default: break;  // no deeper than 8 bits
    }
}

}  // namespace vex::convert
