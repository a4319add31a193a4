// Writers: the bytes of a pixel type from a block of pixels. Included once for each instruction set.
#if defined(VEX_SIMD_WRITERS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_WRITERS_INL_H
#undef VEX_SIMD_WRITERS_INL_H
#else
#define VEX_SIMD_WRITERS_INL_H
#endif

#include "sdk/convert/simd_block-inl.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace convert::simd::HWY_NAMESPACE {

struct WriteBytes : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return pixels; }
    static HWY_INLINE void write(const Grey8& pixels, const To& to) { store8(pixels.grey, to[0]); }
};

/// 16 bits of a grey value.
struct WriteWords : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 2 * pixels; }
    static HWY_INLINE void write(const Grey16& pixels, const To& to)
    {
        store16(pixels.lower, to[0]);
        store16(pixels.upper, to[0] + block);
    }
    static HWY_INLINE void write(const Grey8& pixels, const To& to) { write(widen(pixels), to); }
};

/// Three bytes a pixel.
template <bool blue_first>
struct WriteTriples : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 3 * pixels; }
    static HWY_INLINE void write(const Color8& pixels, const To& to)
    {
        const auto& [red, green, blue] = pixels;
        hn::StoreInterleaved3(blue_first ? blue : red, green, blue_first ? red : blue, d8, to[0]);
    }
    static HWY_INLINE void write(const Color16& pixels, const To& to) { write(narrow(pixels), to); }
    static HWY_INLINE void write(const Grey8& pixels, const To& to)
    {
        hn::StoreInterleaved3(pixels.grey, pixels.grey, pixels.grey, d8, to[0]);
    }
};

/// Three of the four bytes of each pixel, in their order.
struct WriteTriplesOfQuads : Access<> {
    static constexpr std::size_t pixels_written_beyond = 2;
    static constexpr std::size_t bytes(std::size_t pixels) { return 3 * pixels; }
    static HWY_INLINE void write(const Quads8& pixels, const To& to)
    {
        constexpr Places places{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
        constexpr std::size_t quarter = block / 4 * 3;
        store_parts<12>(d8, pick(pixels.first, places), to[0]);
        store_parts<12>(d8, pick(pixels.second, places), to[0] + quarter);
        store_parts<12>(d8, pick(pixels.third, places), to[0] + 2 * quarter);
        store_parts<12>(d8, pick(pixels.fourth, places), to[0] + 3 * quarter);
    }
};

/// Four bytes a pixel, the fourth 255.
template <bool blue_first>
struct WriteQuads : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 4 * pixels; }
    static HWY_INLINE void write(const Color8& pixels, const To& to)
    {
        const auto& [red, green, blue] = pixels;
        hn::StoreInterleaved4(blue_first ? blue : red, green, blue_first ? red : blue, hn::Set(d8, 255), d8, to[0]);
    }
    static HWY_INLINE void write(const Color16& pixels, const To& to) { write(narrow(pixels), to); }
    static HWY_INLINE void write(const Grey8& pixels, const To& to)
    {
        hn::StoreInterleaved4(pixels.grey, pixels.grey, pixels.grey, hn::Set(d8, 255), d8, to[0]);
    }
};

/// Pixels of four bytes as they are.
struct WriteQuadsOfQuads : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 4 * pixels; }
    static HWY_INLINE void write(const Quads8& pixels, const To& to)
    {
        store8(pixels.first, to[0]);
        store8(pixels.second, to[0] + block);
        store8(pixels.third, to[0] + 2 * block);
        store8(pixels.fourth, to[0] + 3 * block);
    }
};

/// Samples in a line of their own for each colour.
struct WritePlanes8 : Access<3> {
    static constexpr std::size_t bytes(std::size_t pixels) { return pixels; }
    static HWY_INLINE void write(const Color8& pixels, const To& to)
    {
        store8(pixels.red, to[0]);
        store8(pixels.green, to[1]);
        store8(pixels.blue, to[2]);
    }
};

struct WritePlanes16 : Access<3> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 2 * pixels; }
    static HWY_INLINE void write(const Color16& pixels, const To& to)
    {
        WriteWords::write(pixels.red, {to[0]});
        WriteWords::write(pixels.green, {to[1]});
        WriteWords::write(pixels.blue, {to[2]});
    }
};

}  // namespace convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
