// Pixels in vectors: a block is as many pixels as a vector has bytes. Included once for each instruction set.
#if defined(VEX_SIMD_BLOCK_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_BLOCK_INL_H
#undef VEX_SIMD_BLOCK_INL_H
#else
#define VEX_SIMD_BLOCK_INL_H
#endif

#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"
#include "sdk/convert/simd.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace convert::simd::HWY_NAMESPACE {

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
    V8 part[4];
};

HWY_INLINE V8 load8(const Byte* from) { return hn::LoadU(d8, from); }
HWY_INLINE V16 load16(const Byte* from) { return hn::BitCast(d16, hn::LoadU(d8, from)); }
HWY_INLINE void store8(V8 value, Byte* to) { hn::StoreU(value, d8, to); }
HWY_INLINE void store16(V16 value, Byte* to) { hn::StoreU(hn::BitCast(d8, value), d8, to); }

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
    for (std::size_t plane = 1; plane < Access::planes; ++plane)
        result[plane] = line[plane] + Access::bytes(x);
    return result;
}

/// Converts part of a line block by block. `Read` makes vectors of a block's bytes, `Write` bytes of the vectors; each
/// tells how many bytes a number of pixels takes. What remains at the end goes through buffers of a whole block.
template <class Read, class Write>
void convert_line(const From& from, std::size_t width, Pixels pixels, const To& to)
{
    std::size_t x = pixels.first;
    for (; x + block <= pixels.last && x + block + Write::pixels_written_beyond <= width; x += block)
        Write::write(Read::read(advanced<Read>(from, x)), advanced<Write>(to, x - pixels.first));
    while (x < pixels.last) {
        constexpr std::size_t slack = 16;
        alignas(64) Byte in[Read::planes][Read::bytes(block)] = {};
        alignas(64) Byte out[Write::planes][Write::bytes(block) + slack];
        const std::size_t left = std::min(pixels.last - x, block);
        From in_places{};
        for (std::size_t plane = 0; plane < Read::planes; ++plane) {
            std::memcpy(in[plane], from[plane] + Read::bytes(x), Read::bytes(left));
            in_places[plane] = in[plane];
        }
        Read::complete(in[0], left, x > 0 ? from[0] + Read::bytes(x) : nullptr);
        To out_places{};
        for (std::size_t plane = 0; plane < Write::planes; ++plane)
            out_places[plane] = out[plane];
        Write::write(Read::read(in_places), out_places);
        for (std::size_t plane = 0; plane < Write::planes; ++plane)
            std::memcpy(to[plane] + Write::bytes(x - pixels.first), out[plane], Write::bytes(left));
        x += left;
    }
}

/// What most readers and writers have in common.
template <std::size_t plane_count = 1>
struct Access {
    static constexpr std::size_t planes = plane_count;
    static constexpr std::size_t pixels_written_beyond = 0;  ///< bytes after the block that the next one overwrites
    /// Makes the bytes of a last block of `pixels` whole; `line` is where they came from, null for a line's only block.
    static void complete(Byte* /*block_bytes*/, std::size_t /*pixels*/, const Byte* /*line*/) {}
};

}  // namespace convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
