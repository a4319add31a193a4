// Readers of RGB that is packed more tightly than in bytes or lies in 16-bit words. Included once for each instruction
// set.
#if defined(VEX_SIMD_PACKED_RGB_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_PACKED_RGB_INL_H
#undef VEX_SIMD_PACKED_RGB_INL_H
#else
#define VEX_SIMD_PACKED_RGB_INL_H
#endif

#include "sdk/convert/simd/from_rgb-inl.h"
#include "sdk/convert/simd/readers-inl.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

// Layouts. `four` gives the upper 8 bits of each four pixels from places `step` bytes apart, as quads whose last byte
// is undefined, red and blue exchanged where `swapped`. `word_places` are those of two bytes that have a colour's bits,
// `aligned` moves these bits to the top.

/// Places of quads made of these bytes of each four, of colours in the order that the pixels shall have.
template <bool swapped>
constexpr Places quad_places(Byte red, Byte green, Byte blue)
{
    Places result{};
    for (std::size_t at = 0; at < result.size(); at += 4) {
        result[at] = static_cast<Byte>(at + (swapped ? blue : red));
        result[at + 1] = static_cast<Byte>(at + green);
        result[at + 2] = static_cast<Byte>(at + (swapped ? red : blue));
        result[at + 3] = 0x80;
    }
    return result;
}

/// A byte of lower bits and one for each colour.
struct Rgb10V1 {
    static constexpr std::size_t bytes(std::size_t pixels) { return 4 * pixels; }

    template <bool swapped, std::size_t step>
    static HWY_INLINE V8 four(const Byte* from)
    {
        constexpr Places places = quad_places<swapped>(1, 2, 3);
        return pick(load_parts<step>(d8, from), places);
    }

    static constexpr std::array<Byte, 2> word_places(Byte color) { return {0, static_cast<Byte>(1 + color)}; }
    template <int color>
    static HWY_INLINE V16 aligned(V16 words)
    {
        return hn::Or(hn::And(words, hn::Set(d16, 0xFF00)),
                      hn::And(hn::ShiftLeft<6 - 2 * color>(words), hn::Set(d16, 0xC0)));
    }
};

/// Ten bits for each colour in 32, from the lowest on.
struct Rgb10V2 {
    static constexpr std::size_t bytes(std::size_t pixels) { return 4 * pixels; }

    template <bool swapped, std::size_t step>
    static HWY_INLINE V8 four(const Byte* from)
    {
        const auto words = hn::BitCast(d32, load_parts<step>(d8, from));
        const auto red = swapped ? hn::ShiftLeft<14>(words) : hn::ShiftRight<2>(words);
        const auto green = hn::ShiftRight<4>(words);
        const auto blue = swapped ? hn::ShiftRight<22>(words) : hn::ShiftRight<6>(words);
        const auto byte_of = [](auto colors, std::uint32_t mask)
                                 HWY_ATTR { return hn::And(colors, hn::Set(d32, mask)); };
        constexpr std::uint32_t first = 0xFF;
        constexpr std::uint32_t third = 0xFF0000;
        return hn::BitCast(d8, hn::Or(hn::Or(byte_of(red, swapped ? third : first), byte_of(green, 0xFF00)),
                                      byte_of(blue, swapped ? first : third)));
    }

    static constexpr std::array<Byte, 2> word_places(Byte color) { return {color, static_cast<Byte>(color + 1)}; }
    template <int color>
    static HWY_INLINE V16 aligned(V16 words)
    {
        return hn::And(hn::ShiftLeft<6 - 2 * color>(words), hn::Set(d16, 0xFFC0));
    }
};

/// Four pixels of more than 16 bytes, in two vectors of which the second is loaded so that it ends with the pixels.
/// `Of` tells where the upper bits of each of the twelve colours lie, and makes these bits whole bytes.
template <class Of>
struct WidePixels {
    template <bool swapped, std::size_t step>
    static HWY_INLINE V8 four(const Byte* from)
    {
        constexpr auto second_at = static_cast<Byte>(Of::bytes(4) - 16);
        constexpr Places of_first = places<swapped>(0);
        constexpr Places of_second = places<swapped>(second_at);
        const V8 first = Of::upper_bits(load_parts<step>(d8, from));
        const V8 second = Of::upper_bits(load_parts<step>(d8, from + second_at));
        return hn::Or(pick(first, of_first), pick(second, of_second));
    }

private:
    /// The places in the vector that begins after `skipped` bytes, 0 or all that the other one does not reach.
    template <bool swapped>
    static constexpr Places places(Byte skipped)
    {
        Places result{};
        for (Byte pixel = 0; pixel < 4; ++pixel) {
            for (Byte color = 0; color < 3; ++color) {
                const Byte at = Of::upper_place(static_cast<Byte>(3 * pixel + (swapped ? 2 - color : color)));
                const bool in_second = at >= 16;
                result[4U * pixel + color] = in_second == (skipped > 0) ? static_cast<Byte>(at - skipped) : Byte{0x80};
            }
            result[4U * pixel + 3] = 0x80;
        }
        return result;
    }
};

/// 12 bits a colour, each two in three bytes.
struct Rgb12V1 : WidePixels<Rgb12V1> {
    static constexpr std::size_t bytes(std::size_t pixels) { return (9 * pixels + 1) / 2; }
    static constexpr Byte upper_place(Byte color) { return static_cast<Byte>(color / 2 * 3 + color % 2 * 2); }
    static HWY_INLINE V8 upper_bits(V8 bytes) { return bytes; }
};

/// `depth` low bits of 16 for each colour.
template <unsigned depth>
struct WordTriples : WidePixels<WordTriples<depth>> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 6 * pixels; }
    static constexpr Byte upper_place(Byte color) { return static_cast<Byte>(2 * color + 1); }
    static HWY_INLINE V8 upper_bits(V8 bytes)
    {
        return hn::BitCast(d8, hn::ShiftLeft<16 - depth>(hn::BitCast(d16, bytes)));
    }
};

/// The upper 8 bits of a layout's colours, as quads or as columns of quads.
template <class Layout, bool swapped, class Quads>
struct ReadLayoutAsQuads : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return Layout::bytes(pixels); }
    static HWY_INLINE Quads read(const From& from)
    {
        constexpr bool columns = std::is_same_v<Quads, QuadColumns8>;
        constexpr std::size_t step = Layout::bytes(columns ? 16 : 4);
        constexpr std::size_t next = Layout::bytes(columns ? 4 : block / 4);
        return {opaque(Layout::template four<swapped, step>(from[0])),
                opaque(Layout::template four<swapped, step>(from[0] + next)),
                opaque(Layout::template four<swapped, step>(from[0] + 2 * next)),
                opaque(Layout::template four<swapped, step>(from[0] + 3 * next))};
    }
};

/// Pixels with ten bits a colour in four bytes, with 16 bits a colour.
template <class Layout>
struct ReadTens : ColorAccess<1, 4> {
    static HWY_INLINE Color16 read(const From& from)
    {
        return {color<0>(from[0]), color<1>(from[0]), color<2>(from[0])};
    }

private:
    template <int index>
    static HWY_INLINE Grey16 color(const Byte* from)
    {
        return {half_of<index>(from), half_of<index>(from + 2 * block)};
    }

    template <int index>
    static HWY_INLINE V16 half_of(const Byte* from)
    {
        constexpr Places of_first = places<index>(0);
        constexpr Places of_second = places<index>(8);
        const V8 picked =
            hn::Or(pick(load_parts<32>(d8, from), of_first), pick(load_parts<32>(d8, from + 16), of_second));
        const V16 aligned = Layout::template aligned<index>(hn::BitCast(d16, picked));
        return hn::Or(aligned, hn::ShiftRight<10>(aligned));
    }

    /// From four pixels to four words, of which the first goes to place `to`.
    template <int index>
    static constexpr Places places(std::size_t to)
    {
        Places result{};
        result.fill(0x80);
        for (std::size_t pixel = 0; pixel < 4; ++pixel) {
            for (std::size_t byte = 0; byte < 2; ++byte) {
                result[to + 2 * pixel + byte] = static_cast<Byte>(4 * pixel + Layout::word_places(index)[byte]);
            }
        }
        return result;
    }
};

/// 12 bits a colour, each two in three bytes, with 16 bits a colour.
struct ReadRgb12V1 : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return Rgb12V1::bytes(pixels); }
    static HWY_INLINE Color16 read(const From& from)
    {
        alignas(64) Byte words[6 * block];
        for (std::size_t part = 0; part < 3; ++part) {
            WriteWords::write(ReadPairs<12>::read({from[0] + part * ReadPairs<12>::bytes(block)}),
                              {words + part * WriteWords::bytes(block)});
        }
        return ReadWordTriples<16, false>::read({words});
    }
};

/// Five bits a colour in 16, red in the upper ones.
struct ReadRgb555 : ColorAccess<1, 2> {
    static HWY_INLINE Color8 read(const From& from)
    {
        const V16 lower = load16(from[0]);
        const V16 upper = load16(from[0] + block);
        return {color<1>(lower, upper), color<6>(lower, upper), color<11>(lower, upper)};
    }

private:
    /// The colour that is `shift` bits below the top.
    template <int shift>
    static HWY_INLINE V8 color(V16 lower, V16 upper)
    {
        const auto scaled = [](V16 words) HWY_ATTR {
            const V16 aligned = hn::And(hn::ShiftLeft<shift>(words), hn::Set(d16, 0xF800));
            return hn::Or(aligned, hn::ShiftRight<5>(aligned));
        };
        return narrow(Grey16{scaled(lower), scaled(upper)}).grey;
    }
};

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
