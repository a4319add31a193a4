// Readers: a block of pixels from the bytes of a pixel type. Included once for each instruction set.
#if defined(VEX_SIMD_READERS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_READERS_INL_H
#undef VEX_SIMD_READERS_INL_H
#else
#define VEX_SIMD_READERS_INL_H
#endif

#include "sdk/convert/simd/block-inl.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

struct ReadBytes : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return pixels; }
    static HWY_INLINE Grey8 read(const From& from) { return {load8(from[0])}; }
};

struct ReadSignedBytes : ReadBytes {
    static HWY_INLINE Grey8 read(const From& from) { return {hn::Xor(load8(from[0]), hn::Set(d8, 0x80))}; }
};

/// 16-bit words with `depth` significant bits, scaled to 16.
template <unsigned depth>
struct ReadWords : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 2 * pixels; }
    static HWY_INLINE Grey16 read(const From& from)
    {
        return {scale_up<depth>(load16(from[0])), scale_up<depth>(load16(from[0] + block))};
    }
};

/// The 8 most significant bits of such words.
template <unsigned depth>
struct ReadTopOfWords : ReadWords<depth> {
    static HWY_INLINE Grey8 read(const From& from)
    {
        return narrow(
            Grey16{hn::ShiftLeft<16 - depth>(load16(from[0])), hn::ShiftLeft<16 - depth>(load16(from[0] + block))});
    }
};

/// Two pixels in three bytes: the upper bits of each in the first and the third, the lower ones in the halves of the
/// second.
template <unsigned depth>
struct ReadPairs : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return (3 * pixels + 1) / 2; }
    /// Eight pixels are 12 of 16 bytes loaded: the first 12 for the lower half of the block, the last 12 for the upper,
    /// so that no load leaves the block.
    static HWY_INLINE Grey16 read(const From& from)
    {
        constexpr std::size_t half = block / 4 * 3;
        return {unpack(pick(load_parts<12>(d8, from[0]), places(0))),
                unpack(pick(load_parts<12>(d8, from[0] + half - 4), places(4)))};
    }

private:
    /// For each pixel the byte of its upper bits above the shared one.
    static constexpr Places places(Byte first)
    {
        Places result{};
        for (Byte pixel = 0; pixel < 8; ++pixel) {
            const auto pair = static_cast<Byte>(first + pixel / 2 * 3);
            result[2 * pixel] = static_cast<Byte>(pair + 1);
            result[2 * pixel + 1] = static_cast<Byte>(pair + pixel % 2 * 2);
        }
        return result;
    }

    static HWY_INLINE V16 unpack(V8 picked)
    {
        const V16 pixels = hn::BitCast(d16, picked);
        constexpr std::uint32_t low = (0xFFU >> (16 - depth)) << (16 - depth);  // where the lower bits belong
        const V16 low_of_even = hn::BitCast(d16, hn::Set(d32, low));
        const V16 low_of_odd = hn::BitCast(d16, hn::Set(d32, low << 16));
        const V16 upper = hn::And(pixels, hn::Set(d16, 0xFF00));
        const V16 even = hn::And(hn::ShiftLeft<16 - depth>(pixels), low_of_even);
        const V16 odd = hn::And(hn::ShiftLeft<12 - depth>(pixels), low_of_odd);
        const V16 aligned = hn::Or(upper, hn::Or(even, odd));
        return hn::Or(aligned, hn::ShiftRight<depth>(aligned));
    }
};

/// The 8 most significant bits of such pairs.
struct ReadTopOfPairs : ReadPairs<12> {
    static HWY_INLINE Grey8 read(const From& from)
    {
        // sixteen pixels are 24 bytes: in the first 16 of them the first eight, in the last 16 the others
        const V8 first = load_parts<24>(d8, from[0]);
        const V8 last = load_parts<24>(d8, from[0] + 8);
        constexpr Byte none = 0x80;
        constexpr Places of_first{0, 2, 3, 5, 6, 8, 9, 11, none, none, none, none, none, none, none, none};
        constexpr Places of_last{none, none, none, none, none, none, none, none, 4, 6, 7, 9, 10, 12, 13, 15};
        return {hn::Or(pick(first, of_first), pick(last, of_last))};
    }
};

/// RGB in three bytes a pixel, as quads or as columns of quads.
template <bool swapped, class Quads>
struct ReadTriplesAsQuads : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 3 * pixels; }
    static HWY_INLINE Quads read(const From& from)
    {
        // four pixels are 12 of 16 bytes loaded; in the last vector the last 12, so that no load leaves the block
        constexpr bool columns = std::is_same_v<Quads, QuadColumns8>;
        constexpr std::size_t step = columns ? 48 : 12;
        constexpr std::size_t next = columns ? 12 : block / 4 * 3;
        return {opaque(pick(load_parts<step>(d8, from[0]), places(0))),
                opaque(pick(load_parts<step>(d8, from[0] + next), places(0))),
                opaque(pick(load_parts<step>(d8, from[0] + 2 * next), places(0))),
                opaque(pick(load_parts<step>(d8, from[0] + 3 * next - 4), places(4)))};
    }

private:
    static constexpr Places places(Byte first)
    {
        Places result{};
        for (Byte pixel = 0; pixel < 4; ++pixel) {
            const auto at = static_cast<Byte>(first + 3 * pixel);
            result[4 * pixel] = static_cast<Byte>(at + (swapped ? 2 : 0));
            result[4 * pixel + 1] = static_cast<Byte>(at + 1);
            result[4 * pixel + 2] = static_cast<Byte>(at + (swapped ? 0 : 2));
            result[4 * pixel + 3] = 0x80;
        }
        return result;
    }
};

/// RGB in four bytes a pixel.
template <bool swapped, class Quads, bool keeps_alpha>
struct ReadQuads : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 4 * pixels; }
    static HWY_INLINE Quads read(const From& from)
    {
        constexpr bool columns = std::is_same_v<Quads, QuadColumns8>;
        constexpr std::size_t step = columns ? 64 : 16;
        constexpr std::size_t next = columns ? 16 : block;
        return {ordered(load_parts<step>(d8, from[0])), ordered(load_parts<step>(d8, from[0] + next)),
                ordered(load_parts<step>(d8, from[0] + 2 * next)), ordered(load_parts<step>(d8, from[0] + 3 * next))};
    }

private:
    static HWY_INLINE V8 ordered(V8 quads)
    {
        const V8 result = swapped ? pick(quads, swap_places) : quads;
        return keeps_alpha ? result : opaque(result);
    }

    static constexpr Places swap_places{2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15};
};

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
