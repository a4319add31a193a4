// Readers of RGB as a vector for each colour, and writers of grey, YUV and the other RGB types. Included once for each
// instruction set.
#if defined(VEX_SIMD_FROM_RGB_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_FROM_RGB_INL_H
#undef VEX_SIMD_FROM_RGB_INL_H
#else
#define VEX_SIMD_FROM_RGB_INL_H
#endif

#include "sdk/convert/simd/writers-inl.h"
#include "sdk/convert/simd/yuv-inl.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

/// A single pixel at the end counts as a pair of two equal ones.
template <std::size_t plane_count, std::size_t bytes_per_pixel>
struct ColorAccess : Access<plane_count> {
    static constexpr std::size_t bytes(std::size_t pixels) { return bytes_per_pixel * pixels; }
    static void complete(const To& block_bytes, std::size_t pixels, const Byte* /*line*/)
    {
        if (pixels % 2 != 0) {
            for (std::size_t plane = 0; plane < plane_count; ++plane) {
                std::memcpy(block_bytes[plane] + bytes(pixels), block_bytes[plane] + bytes(pixels - 1),
                            bytes_per_pixel);
            }
        }
    }
};

template <bool blue_first>
struct ReadTriples : ColorAccess<1, 3> {
    static HWY_INLINE Color8 read(const From& from)
    {
        V8 first, green, third;
        hn::LoadInterleaved3(d8, from[0], first, green, third);
        return blue_first ? Color8{third, green, first} : Color8{first, green, third};
    }
};

template <bool blue_first>
struct ReadQuadsAsColor : ColorAccess<1, 4> {
    static HWY_INLINE Color8 read(const From& from)
    {
        V8 first, green, third, fourth;
        hn::LoadInterleaved4(d8, from[0], first, green, third, fourth);
        return blue_first ? Color8{third, green, first} : Color8{first, green, third};
    }
};

struct ReadPlanes8 : ColorAccess<3, 1> {
    static HWY_INLINE Color8 read(const From& from) { return {load8(from[0]), load8(from[1]), load8(from[2])}; }
};

template <unsigned depth>
struct ReadPlanes16 : ColorAccess<3, 2> {
    static HWY_INLINE Color16 read(const From& from) { return {plane(from[0]), plane(from[1]), plane(from[2])}; }

private:
    static HWY_INLINE Grey16 plane(const Byte* from)
    {
        return {scale_up<depth>(load16(from)), scale_up<depth>(load16(from + block))};
    }
};

template <unsigned depth, bool blue_first>
struct ReadWordTriples : ColorAccess<1, 6> {
    static HWY_INLINE Color16 read(const From& from)
    {
        Color16 result = {};
        half(from[0], result.red.lower, result.green.lower, result.blue.lower);
        half(from[0] + 3 * block, result.red.upper, result.green.upper, result.blue.upper);
        return result;
    }

private:
    static HWY_INLINE void half(const Byte* from, V16& red, V16& green, V16& blue)
    {
        V16 first, second, third;
        hn::LoadInterleaved3(d16, reinterpret_cast<const std::uint16_t*>(from), first, second, third);
        red = scale_up<depth>(blue_first ? third : first);
        green = scale_up<depth>(second);
        blue = scale_up<depth>(blue_first ? first : third);
    }
};

/// Half a block of 8-bit colours in pairs of 16 bits: red with green, and blue with one for the rounding.
struct ColorPairs {
    VI16 red_green_lower, red_green_upper, blue_one_lower, blue_one_upper;

    HWY_INLINE ColorPairs(hn::Vec<hn::Half<D8>> red8, hn::Vec<hn::Half<D8>> green8, hn::Vec<hn::Half<D8>> blue8)
    {
        const VI16 red = hn::PromoteTo(di16, red8);
        const VI16 green = hn::PromoteTo(di16, green8);
        const VI16 blue = hn::PromoteTo(di16, blue8);
        const VI16 one = hn::Set(di16, 1);
        red_green_lower = hn::InterleaveLower(di16, red, green);
        red_green_upper = hn::InterleaveUpper(di16, red, green);
        blue_one_lower = hn::InterleaveLower(di16, blue, one);
        blue_one_upper = hn::InterleaveUpper(di16, blue, one);
    }

    /// The rounded sum of the products with these weights.
    template <int of_red, int of_green, int of_blue>
    [[nodiscard]] HWY_INLINE VI16 weighed() const
    {
        const VI16 first = hn::BitCast(di16, hn::Set(di32, of_red + of_green * 65536 - (of_red < 0 ? -65536 : 0)));
        const VI16 second = hn::BitCast(di16, hn::Set(di32, of_blue + yuv::half * 65536 - (of_blue < 0 ? -65536 : 0)));
        const VI32 lower = hn::Add(pair_products(red_green_lower, first), pair_products(blue_one_lower, second));
        const VI32 upper = hn::Add(pair_products(red_green_upper, first), pair_products(blue_one_upper, second));
        return packed_in_parts(hn::ShiftRight<yuv::fraction_bits>(lower), hn::ShiftRight<yuv::fraction_bits>(upper));
    }
};

struct Yuv8 {
    V8 y, u, v;
};

HWY_INLINE ColorPairs lower_pairs(const Color8& color)
{
    const hn::Half<D8> half;
    return {hn::LowerHalf(half, color.red), hn::LowerHalf(half, color.green), hn::LowerHalf(half, color.blue)};
}
HWY_INLINE ColorPairs upper_pairs(const Color8& color)
{
    const hn::Half<D8> half;
    return {hn::UpperHalf(half, color.red), hn::UpperHalf(half, color.green), hn::UpperHalf(half, color.blue)};
}

HWY_INLINE Grey8 grey_of(const Color8& color)
{
    using namespace yuv;
    return {limited(lower_pairs(color).weighed<y_red, y_green, y_blue>(),
                    upper_pairs(color).weighed<y_red, y_green, y_blue>())};
}

HWY_INLINE V16 grey_of(V16 red, V16 green, V16 blue)
{
    const hn::Half<D16> half;
    const auto weighed = [](auto r, auto g, auto b) HWY_ATTR {
        const auto sum = hn::Add(hn::Add(hn::Mul(hn::PromoteTo(di32, r), hn::Set(di32, yuv::y_red)),
                                         hn::Mul(hn::PromoteTo(di32, g), hn::Set(di32, yuv::y_green))),
                                 hn::Mul(hn::PromoteTo(di32, b), hn::Set(di32, yuv::y_blue)));
        return hn::ShiftRight<yuv::fraction_bits>(hn::Add(sum, hn::Set(di32, yuv::half)));
    };
    const auto lower = weighed(hn::LowerHalf(half, red), hn::LowerHalf(half, green), hn::LowerHalf(half, blue));
    const auto upper = weighed(hn::UpperHalf(half, red), hn::UpperHalf(half, green), hn::UpperHalf(half, blue));
    return hn::Combine(d16, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower));
}

HWY_INLINE Grey16 grey_of(const Color16& color)
{
    return {grey_of(color.red.lower, color.green.lower, color.blue.lower),
            grey_of(color.red.upper, color.green.upper, color.blue.upper)};
}

HWY_INLINE Yuv8 yuv_of(const Color8& color)
{
    using namespace yuv;
    const ColorPairs lower = lower_pairs(color);
    const ColorPairs upper = upper_pairs(color);
    const VI16 neutral = hn::Set(di16, 128);
    return {limited(lower.weighed<y_red, y_green, y_blue>(), upper.weighed<y_red, y_green, y_blue>()),
            limited(hn::Add(lower.weighed<u_red, u_green, u_blue>(), neutral),
                    hn::Add(upper.weighed<u_red, u_green, u_blue>(), neutral)),
            limited(hn::Add(lower.weighed<v_red, v_green, v_blue>(), neutral),
                    hn::Add(upper.weighed<v_red, v_green, v_blue>(), neutral))};
}

HWY_INLINE V8 neutral_chroma() { return hn::Set(d8, 128); }

/// For deep colours, the code for 8 bits on their upper ones.
template <class Write>
struct Narrowing : Write {
    using Write::write;
    static HWY_INLINE void write(const Color16& pixels, const To& to) { Write::write(narrow(pixels), to); }
};

struct WriteGreyBytes : WriteBytes {
    static HWY_INLINE void write(const Color8& pixels, const To& to) { WriteBytes::write(grey_of(pixels), to); }
    static HWY_INLINE void write(const Color16& pixels, const To& to)
    {
        WriteBytes::write(narrow(grey_of(pixels)), to);
    }
};

struct WriteGreyWords : WriteWords {
    static HWY_INLINE void write(const Color8& pixels, const To& to) { WriteWords::write(grey_of(pixels), to); }
    static HWY_INLINE void write(const Color16& pixels, const To& to) { WriteWords::write(grey_of(pixels), to); }
};

struct WriteYuv444 : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 3 * pixels; }
    static HWY_INLINE void write(const Yuv8& pixels, const To& to)
    {
        hn::StoreInterleaved3(pixels.u, pixels.y, pixels.v, d8, to[0]);
    }
    static HWY_INLINE void write(const Color8& pixels, const To& to) { write(yuv_of(pixels), to); }
    static HWY_INLINE void write(const Grey8& pixels, const To& to)
    {
        write(Yuv8{pixels.grey, neutral_chroma(), neutral_chroma()}, to);
    }
};

template <bool luma_first>
struct WriteYuv422 : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 2 * pixels; }
    static HWY_INLINE void write(const Yuv8& pixels, const To& to)
    {
        store(pixels.y, hn::BitCast(d8, hn::Or(mean_of_pairs(pixels.u), hn::ShiftLeft<8>(mean_of_pairs(pixels.v)))),
              to[0]);
    }
    static HWY_INLINE void write(const Color8& pixels, const To& to) { write(yuv_of(pixels), to); }
    static HWY_INLINE void write(const Grey8& pixels, const To& to) { store(pixels.grey, neutral_chroma(), to[0]); }

private:
    /// `chroma`: U and V of each two pixels.
    static HWY_INLINE void store(V8 luma, V8 chroma, Byte* to)
    {
        if constexpr (luma_first) {
            hn::StoreInterleaved2(luma, chroma, d8, to);
        } else {
            hn::StoreInterleaved2(chroma, luma, d8, to);
        }
    }

    static HWY_INLINE V16 mean_of_pairs(V8 values)
    {
        const V16 pairs = hn::BitCast(d16, values);
        return hn::AverageRound(hn::And(pairs, hn::Set(d16, 0xFF)), hn::ShiftRight<8>(pairs));
    }
};

struct WriteRgb555 : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 2 * pixels; }
    static HWY_INLINE void write(const Color8& pixels, const To& to)
    {
        const hn::Half<D8> half;
        const auto words = [](auto red, auto green, auto blue) HWY_ATTR {
            const auto five = [](auto value) HWY_ATTR { return hn::ShiftRight<3>(hn::PromoteTo(d16, value)); };
            return hn::Or(hn::Or(hn::ShiftLeft<10>(five(red)), hn::ShiftLeft<5>(five(green))), five(blue));
        };
        store16(
            words(hn::LowerHalf(half, pixels.red), hn::LowerHalf(half, pixels.green), hn::LowerHalf(half, pixels.blue)),
            to[0]);
        store16(
            words(hn::UpperHalf(half, pixels.red), hn::UpperHalf(half, pixels.green), hn::UpperHalf(half, pixels.blue)),
            to[0] + block);
    }
    static HWY_INLINE void write(const Grey8& pixels, const To& to)
    {
        write(Color8{pixels.grey, pixels.grey, pixels.grey}, to);
    }
};

struct WriteWordTriples : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 6 * pixels; }
    static HWY_INLINE void write(const Color16& pixels, const To& to)
    {
        const auto& [red, green, blue] = pixels;
        hn::StoreInterleaved3(red.lower, green.lower, blue.lower, d16, reinterpret_cast<std::uint16_t*>(to[0]));
        hn::StoreInterleaved3(red.upper, green.upper, blue.upper, d16,
                              reinterpret_cast<std::uint16_t*>(to[0] + 3 * block));
    }
    static HWY_INLINE void write(const Color8& pixels, const To& to)
    {
        write(Color16{widen(Grey8{pixels.red}), widen(Grey8{pixels.green}), widen(Grey8{pixels.blue})}, to);
    }
    static HWY_INLINE void write(const Grey16& pixels, const To& to) { write(Color16{pixels, pixels, pixels}, to); }
    static HWY_INLINE void write(const Grey8& pixels, const To& to) { write(widen(pixels), to); }
};

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
