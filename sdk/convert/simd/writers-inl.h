// Writers: the bytes of a pixel type from a block of pixels. Included once for each instruction set.
#if defined(VEX_SIMD_WRITERS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_WRITERS_INL_H
#undef VEX_SIMD_WRITERS_INL_H
#else
#define VEX_SIMD_WRITERS_INL_H
#endif

#include "sdk/convert/simd/block-inl.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

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

/// Three bytes a pixel, in the order of the first three of each four.
struct WriteTriplesOfQuads : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 3 * pixels; }
    static HWY_INLINE void write(const QuadColumns8& pixels, const To& to)
    {
        const auto& [first, second, third, fourth] = pixels;
        // 12 bytes at one end of each 128 bits, of which 16 are put together with those beside them
        constexpr Places to_start{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
        constexpr Places to_end{0x80, 0x80, 0x80, 0x80, 0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14};
        store_columns(hn::CombineShiftRightBytes<4>(d8, pick(second, to_start), pick(first, to_end)),
                      hn::CombineShiftRightBytes<8>(d8, pick(third, to_start), pick(second, to_end)),
                      hn::CombineShiftRightBytes<12>(d8, pick(fourth, to_start), pick(third, to_end)), to[0]);
    }

private:
    /// Each 48 bytes are 16 of each vector.
    static HWY_INLINE void store_columns(V8 first, V8 second, V8 third, Byte* to)
    {
        if constexpr (block == 32) {
            store8(hn::ConcatLowerLower(d8, second, first), to);
            store8(hn::ConcatUpperLower(d8, first, third), to + block);
            store8(hn::ConcatUpperUpper(d8, third, second), to + 2 * block);
        } else {
            store_parts<48>(d8, first, to);
            store_parts<48>(d8, second, to + 16);
            store_parts<48>(d8, third, to + 32);
        }
    }
};

/// Three bytes a pixel.
template <bool blue_first>
struct WriteTriples : WriteTriplesOfQuads {
    static HWY_INLINE void write(const Color8& pixels, const To& to)
    {
        const auto& [red, green, blue] = pixels;
        const auto first = blue_first ? blue : red;
        const auto third = blue_first ? red : blue;
        const V16 lower = hn::BitCast(d16, hn::InterleaveLower(d8, first, green));
        const V16 upper = hn::BitCast(d16, hn::InterleaveUpper(d8, first, green));
        const V16 third_lower = hn::BitCast(d16, hn::InterleaveLower(d8, third, third));
        const V16 third_upper = hn::BitCast(d16, hn::InterleaveUpper(d8, third, third));
        WriteTriplesOfQuads::write(QuadColumns8{hn::BitCast(d8, hn::InterleaveLower(d16, lower, third_lower)),
                                                hn::BitCast(d8, hn::InterleaveUpper(d16, lower, third_lower)),
                                                hn::BitCast(d8, hn::InterleaveLower(d16, upper, third_upper)),
                                                hn::BitCast(d8, hn::InterleaveUpper(d16, upper, third_upper))},
                                   to);
    }
    static HWY_INLINE void write(const Color16& pixels, const To& to) { write(narrow(pixels), to); }
    static HWY_INLINE void write(const Grey8& pixels, const To& to)
    {
        hn::StoreInterleaved3(pixels.grey, pixels.grey, pixels.grey, d8, to[0]);
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
    static HWY_INLINE void write(const Grey8& pixels, const To& to)
    {
        write(Color8{pixels.grey, pixels.grey, pixels.grey}, to);
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

/// The kernel into bytes that lie together pixel by pixel; null when `to` is something else.
template <class Read>
LineKernel interleaved_kernel_to(const Format& to)
{
    switch (to.packing) {
    case Packing::triples:
        return to.blue_first ? convert_line<Read, WriteTriples<true>> : convert_line<Read, WriteTriples<false>>;
    case Packing::quads:
        return to.blue_first ? convert_line<Read, WriteQuads<true>> : convert_line<Read, WriteQuads<false>>;
    default: return nullptr;
    }
}

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
