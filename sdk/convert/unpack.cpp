#include "sdk/convert/unpack.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sdk/convert/chroma_groups.h"

namespace vex::convert {
namespace {

using Byte = std::uint8_t;

template <class Sample>
Channels<Sample> red_first(const Format& format, Channels<Sample> channels) noexcept
{
    if (format.blue_first) {
        std::swap(channels.color[0], channels.color[2]);
    }
    return channels;
}

template <std::size_t step>
void unpack_interleaved(const Byte* from, std::size_t width, const Channels<Byte>& to) noexcept
{
    Byte* const first = to.color[0];
    Byte* const second = to.color[1];
    Byte* const third = to.color[2];
    for (std::size_t x = 0; x < width; ++x) {
        first[x] = from[step * x];
        second[x] = from[step * x + 1];
        third[x] = from[step * x + 2];
    }
}

void unpack_rgb555(const Byte* from, std::size_t width, const Channels<Byte>& to) noexcept
{
    const auto scaled = [](unsigned five) { return static_cast<Byte>((five & 31) << 3 | (five & 31) >> 2); };
    for (std::size_t x = 0; x < width; ++x) {
        const unsigned word = load16(from + 2 * x);
        to.color[0][x] = scaled(word >> 10);
        to.color[1][x] = scaled(word >> 5);
        to.color[2][x] = scaled(word);
    }
}

template <ChromaGroup group>
void unpack_group(const Byte* from, std::size_t pixels, Byte v, std::size_t x, const Channels<Byte> to) noexcept
{
    for (std::size_t i = 0; i < pixels; ++i) {
        to.color[0][x + i] = from[group.y[i]];
        to.color[1][x + i] = from[group.u];
        to.color[2][x + i] = v;
    }
}

/// A last group that is not whole may end before its V: then V is the group's before, or neutral when there is none.
template <ChromaGroup group>
void unpack_shared_chroma(const Byte* from, std::size_t width, const Channels<Byte> to) noexcept
{
    std::size_t x = 0;
    for (; x + group.pixels <= width; x += group.pixels, from += group.bytes) {
        unpack_group<group>(from, group.pixels, from[group.v], x, to);
    }
    if (const std::size_t left = width - x; left > 0) {
        const Byte v = group.v < group.bytes_of(left) ? from[group.v] : (x > 0 ? to.color[2][x - 1] : Byte{128});
        unpack_group<group>(from, left, v, x, to);
    }
}

void unpack_words(const Byte* from, std::size_t step, std::size_t width, unsigned depth, std::uint16_t* to) noexcept
{
    const unsigned mask = (1U << depth) - 1;
    for (std::size_t x = 0; x < width; ++x) {
        to[x] = widen(load16(from + step * x) & mask, depth);
    }
}

/// The value at an even and at an odd place of a sequence that is packed two in three bytes.
unsigned first_of_pair(const Byte* pair, unsigned depth) noexcept
{
    const unsigned low_bits = depth - 8;
    return static_cast<unsigned>(pair[0] << low_bits) | (pair[1] & ((1U << low_bits) - 1));
}
unsigned second_of_pair(const Byte* pair, unsigned depth) noexcept
{
    const unsigned low_bits = depth - 8;
    return static_cast<unsigned>(pair[2] << low_bits) | (static_cast<unsigned>(pair[1] >> 4) & ((1U << low_bits) - 1));
}

void unpack_pairs(const Byte* from, std::size_t width, unsigned depth, std::uint16_t* to) noexcept
{
    std::size_t x = 0;
    for (; x + 1 < width; x += 2, from += 3) {
        to[x] = widen(first_of_pair(from, depth), depth);
        to[x + 1] = widen(second_of_pair(from, depth), depth);
    }
    if (x < width) {
        to[x] = widen(first_of_pair(from, depth), depth);
    }
}

void unpack_rgb10_v1(const Byte* from, std::size_t width, const Channels<std::uint16_t>& to) noexcept
{
    for (std::size_t x = 0; x < width; ++x, from += 4) {
        for (std::size_t c = 0; c < 3; ++c) {
            to.color[c][x] = widen(static_cast<unsigned>(from[1 + c] << 2 | (from[0] >> (2 * c) & 3)), 10);
        }
    }
}

void unpack_rgb10_v2(const Byte* from, std::size_t width, const Channels<std::uint16_t>& to) noexcept
{
    for (std::size_t x = 0; x < width; ++x, from += 4) {
        const std::uint32_t word = load16(from) | load16(from + 2) << 16;
        for (std::size_t c = 0; c < 3; ++c) {
            to.color[c][x] = widen(word >> (10 * c) & 0x3FF, 10);
        }
    }
}

void unpack_rgb12_v1(const Byte* from, std::size_t width, const Channels<std::uint16_t>& to) noexcept
{
    for (std::size_t value = 0; value < 3 * width; ++value) {
        const Byte* pair = from + value / 2 * 3;
        to.color[value % 3][value / 3] = widen(value % 2 == 0 ? first_of_pair(pair, 12) : second_of_pair(pair, 12), 12);
    }
}

}  // namespace

void unpack_line(const Format& format, const PackedLine<const Byte>& from, std::size_t width,
                 const Channels<Byte>& unordered) noexcept
{
    const auto to = red_first(format, unordered);
    switch (format.packing) {
    case Packing::bytes: std::memcpy(to.color[0], from[0], width); break;
    case Packing::signed_bytes:
        for (std::size_t x = 0; x < width; ++x) {
            to.color[0][x] = static_cast<Byte>(from[0][x] ^ 0x80);
        }
        break;
    case Packing::triples: unpack_interleaved<3>(from[0], width, to); break;
    case Packing::quads:
        unpack_interleaved<4>(from[0], width, to);
        if (to.alpha != nullptr) {
            for (std::size_t x = 0; x < width; ++x) {
                to.alpha[x] = format.alpha ? from[0][4 * x + 3] : Byte{255};
            }
        }
        break;
    case Packing::rgb555: unpack_rgb555(from[0], width, to); break;
    case Packing::planar_bytes:
        for (std::size_t c = 0; c < 3; ++c) {
            std::memcpy(to.color[c], from[c], width);
        }
        break;
    case Packing::yuv411: unpack_shared_chroma<group_411>(from[0], width, to); break;
    case Packing::uyvy: unpack_shared_chroma<group_uyvy>(from[0], width, to); break;
    case Packing::yuyv: unpack_shared_chroma<group_yuyv>(from[0], width, to); break;
    case Packing::yuv444:
        for (std::size_t x = 0; x < width; ++x) {
            to.color[1][x] = from[0][3 * x];
            to.color[0][x] = from[0][3 * x + 1];
            to.color[2][x] = from[0][3 * x + 2];
        }
        break;
    default: break;  // deeper than 8 bits
    }
}

void unpack_line(const Format& format, const PackedLine<const Byte>& from, std::size_t width,
                 const Channels<std::uint16_t>& unordered) noexcept
{
    const auto to = red_first(format, unordered);
    switch (format.packing) {
    case Packing::words: unpack_words(from[0], 2, width, format.depth, to.color[0]); break;
    case Packing::pairs: unpack_pairs(from[0], width, format.depth, to.color[0]); break;
    case Packing::word_triples:
        for (std::size_t c = 0; c < 3; ++c) {
            unpack_words(from[0] + 2 * c, 6, width, format.depth, to.color[c]);
        }
        break;
    case Packing::planar_words:
        for (std::size_t c = 0; c < 3; ++c) {
            unpack_words(from[c], 2, width, format.depth, to.color[c]);
        }
        break;
    case Packing::rgb10_v1: unpack_rgb10_v1(from[0], width, to); break;
    case Packing::rgb10_v2: unpack_rgb10_v2(from[0], width, to); break;
    case Packing::rgb12_v1: unpack_rgb12_v1(from[0], width, to); break;
    default: break;  // no deeper than 8 bits
    }
}

}  // namespace vex::convert
