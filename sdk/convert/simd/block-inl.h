// Pixels in vectors: a block is as many pixels as a vector has bytes. Included once for each instruction set.
#if defined(VEX_SIMD_BLOCK_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_BLOCK_INL_H
#undef VEX_SIMD_BLOCK_INL_H
#else
#define VEX_SIMD_BLOCK_INL_H
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"
#include "sdk/convert/simd/simd.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Byte = std::uint8_t;
using From = PackedLine<const Byte>;
using To = PackedLine<Byte>;

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::ScalableTag<std::uint16_t>;
using D32 = hn::ScalableTag<std::uint32_t>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
inline constexpr D8 d8;
inline constexpr D16 d16;
inline constexpr D32 d32;

/// Pixels in a block.
inline constexpr std::size_t block = HWY_LANES(std::uint8_t);

struct Grey8 {
    V8 grey;
};
struct Grey16 {
    V16 lower, upper;  // the first and the second half of the block
};
struct Color8 {
    V8 red, green, blue;
};
struct Color16 {
    Grey16 red, green, blue;
};
/// Four bytes a pixel as they shall lie in memory, a quarter of the block in each.
struct Quads8 {
    V8 first, second, third, fourth;
};

HWY_INLINE V8 load8(const Byte* from) { return hn::LoadU(d8, from); }
HWY_INLINE V16 load16(const Byte* from) { return hn::BitCast(d16, hn::LoadU(d8, from)); }
HWY_INLINE void store8(V8 value, Byte* to) { hn::StoreU(value, d8, to); }
HWY_INLINE void store16(V16 value, Byte* to) { hn::StoreU(hn::BitCast(d8, value), d8, to); }

/// Four bytes a pixel as they shall lie in memory; of each sixteen pixels the first four, the next four and so on.
struct QuadColumns8 {
    V8 first, second, third, fourth;
};

/// A vector whose 128-bit parts are loaded from places `step` bytes apart.
template <std::size_t step, class D>
HWY_INLINE hn::Vec<D> load_parts(D d, const Byte* from)
{
    if constexpr (hn::MaxLanes(D()) == 16) {
        return hn::LoadU(d, from);
    } else {
        const hn::Half<D> half;
        constexpr std::size_t parts = hn::MaxLanes(hn::Half<D>()) / 16;
        return hn::Combine(d, load_parts<step>(half, from + parts * step), load_parts<step>(half, from));
    }
}

/// A byte from each of 16 places; zero for the places from 128 on.
using Places = std::array<Byte, 16>;
HWY_INLINE V8 pick(V8 bytes, const Places& places)
{
    return hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d8, places.data()));
}

/// Pixels of four bytes with 255 in the last.
HWY_INLINE V8 opaque(V8 quads) { return hn::Or(quads, hn::BitCast(d8, hn::Set(d32, 0xFF000000U))); }

/// The opposite of load_parts. Parts may overlap; the later bytes win.
template <std::size_t step, class D>
HWY_INLINE void store_parts(D d, hn::Vec<D> value, Byte* to)
{
    if constexpr (hn::MaxLanes(D()) == 16) {
        hn::StoreU(value, d, to);
    } else {
        const hn::Half<D> half;
        constexpr std::size_t parts = hn::MaxLanes(hn::Half<D>()) / 16;
        store_parts<step>(half, hn::LowerHalf(half, value), to);
        store_parts<step>(half, hn::UpperHalf(half, value), to + parts * step);
    }
}

/// The upper bytes of 16-bit lanes.
HWY_INLINE Grey8 narrow(const Grey16& wide)
{
    return {hn::ConcatOdd(d8, hn::BitCast(d8, wide.upper), hn::BitCast(d8, wide.lower))};
}

HWY_INLINE Color8 narrow(const Color16& wide)
{
    return {narrow(wide.red).grey, narrow(wide.green).grey, narrow(wide.blue).grey};
}

/// 8 bits scaled to 16.
HWY_INLINE Grey16 widen(const Grey8& narrow)
{
    const hn::Half<D8> half;
    const V16 lower = hn::PromoteTo(d16, hn::LowerHalf(half, narrow.grey));
    const V16 upper = hn::PromoteTo(d16, hn::UpperHalf(half, narrow.grey));
    return {hn::Or(lower, hn::ShiftLeft<8>(lower)), hn::Or(upper, hn::ShiftLeft<8>(upper))};
}

/// `depth` low bits of each lane scaled to 16, as convert::widen does it.
template <unsigned depth>
HWY_INLINE V16 scale_up(V16 value)
{
    if constexpr (depth == 16) {
        return value;
    } else {
        const V16 aligned = hn::ShiftLeft<16 - depth>(value);
        return hn::Or(aligned, hn::ShiftRight<depth>(aligned));
    }
}

/// The place of pixel `x` in a line.
template <class Access, class Line>
HWY_INLINE Line advanced(const Line& line, std::size_t x)
{
    Line result{line[0] + Access::bytes(x)};
    for (std::size_t plane = 1; plane < Access::planes; ++plane) {
        result[plane] = line[plane] + Access::bytes(x);
    }
    return result;
}

/// Writes a block past the caches, by way of a place in them.
template <class Write, class Block>
HWY_INLINE void write_streamed(const Block& pixels, const To& to)
{
    static_assert(Write::planes == 1 && Write::bytes(block) % block == 0);
    alignas(64) Byte bytes[Write::bytes(block)];
    Write::write(pixels, To{bytes});
    for (std::size_t at = 0; at < Write::bytes(block); at += block) {
        hn::Stream(load8(bytes + at), d8, to[0] + at);
    }
}

template <bool streamed, class Write, class Block>
HWY_INLINE void write_block(const Block& pixels, const To& to)
{
    if constexpr (streamed) {
        write_streamed<Write>(pixels, to);
    } else {
        Write::write(pixels, to);
    }
}

/// Fetches what will be read in a while into the caches: a block of `bytes`.
template <std::size_t bytes>
HWY_INLINE void fetch_ahead(const Byte* from)
{
    constexpr std::size_t ahead = 1024;
    for (std::size_t at = 0; at < bytes; at += 64) {
        hwy::Prefetch(from + ahead + at);
    }
}

/// Whole blocks from pixel `x` on; returns where they end.
template <bool streamed, class Read, class Write>
HWY_INLINE std::size_t convert_blocks(const From& from, Part part, const To& to)
{
    std::size_t x = part.first;
    for (; x + block <= part.last; x += block) {
        fetch_ahead<Read::bytes(block)>(from[0] + Read::bytes(x));
        write_block<streamed, Write>(Read::read(advanced<Read>(from, x)), advanced<Write>(to, x - part.first));
    }
    return x;
}

/// The last block of a line, which is no whole one. It goes through buffers.
template <class Read, class Write>
HWY_INLINE void convert_last(const From& from, std::size_t x, std::size_t pixels, const To& to)
{
    alignas(64) Byte in[Read::planes][Read::bytes(block)] = {};
    alignas(64) Byte out[Write::planes][Write::bytes(block)];
    To in_places{};
    for (std::size_t plane = 0; plane < Read::planes; ++plane) {
        std::memcpy(in[plane], from[plane] + Read::bytes(x), Read::bytes(pixels));
        in_places[plane] = in[plane];
    }
    Read::complete(in_places, pixels, x > 0 ? from[0] + Read::bytes(x) : nullptr);
    To out_places{};
    for (std::size_t plane = 0; plane < Write::planes; ++plane) {
        out_places[plane] = out[plane];
    }
    Write::write(Read::read({in_places[0], in_places[1], in_places[2]}), out_places);
    for (std::size_t plane = 0; plane < Write::planes; ++plane) {
        std::memcpy(to[plane], out[plane], Write::bytes(pixels));
    }
}

/// Converts part of a line block by block. `Read` makes vectors of a block's bytes, `Write` bytes of the vectors; each
/// tells how many bytes a number of pixels takes.
template <class Read, class Write>
void convert_line(const From& from, std::size_t /*width*/, Part part, const To& to)
{
    std::size_t x = part.first;
    if constexpr (Write::planes == 1) {
        x = part.streamed ? convert_blocks<true, Read, Write>(from, part, to)
                          : convert_blocks<false, Read, Write>(from, part, to);
    } else {
        x = convert_blocks<false, Read, Write>(from, part, to);
    }
    if (x < part.last) {
        convert_last<Read, Write>(from, x, part.last - x, advanced<Write>(to, x - part.first));
    }
}

/// What most readers and writers have in common.
template <std::size_t plane_count = 1>
struct Access {
    static constexpr std::size_t planes = plane_count;
    /// Makes the bytes of a last block of `pixels` whole; `line` is where they came from, null for a line's only block.
    static void complete(const To& /*block_bytes*/, std::size_t /*pixels*/, const Byte* /*line*/) {}
};

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
