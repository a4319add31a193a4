// YUV to RGB, and readers of YUV. Included once for each instruction set.
#if defined(VEX_SIMD_YUV_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_YUV_INL_H
#undef VEX_SIMD_YUV_INL_H
#else
#define VEX_SIMD_YUV_INL_H
#endif

#include "sdk/convert/chroma_groups.h"
#include "sdk/convert/simd/block-inl.h"
#include "sdk/convert/yuv_coefficients.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

using DI16 = hn::ScalableTag<std::int16_t>;
using DI32 = hn::ScalableTag<std::int32_t>;
using VI16 = hn::Vec<DI16>;
using VI32 = hn::Vec<DI32>;
inline constexpr DI16 di16;
inline constexpr DI32 di32;

/// In each 32 bits the sum of the products of its two 16-bit halves.
HWY_INLINE VI32 pair_products(VI16 a, VI16 b)
{
#if HWY_ARCH_X86
    VI32 unused = hn::Zero(di32);
    return hn::ReorderWidenMulAccumulate(di32, a, b, hn::Zero(di32), unused);
#else
    const VI32 a2 = hn::BitCast(di32, a);
    const VI32 b2 = hn::BitCast(di32, b);
    const VI32 upper = hn::Mul(hn::ShiftRight<16>(a2), hn::ShiftRight<16>(b2));
    const VI32 lower = hn::Mul(hn::ShiftRight<16>(hn::ShiftLeft<16>(a2)), hn::ShiftRight<16>(hn::ShiftLeft<16>(b2)));
    return hn::Add(upper, lower);
#endif
}

/// The lower one of each pair of 16-bit lanes in both places, and the upper one.
HWY_INLINE VI16 both_lower(VI16 pairs)
{
    constexpr Places places{0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13};
    return hn::BitCast(di16, pick(hn::BitCast(d8, pairs), places));
}
HWY_INLINE VI16 both_upper(VI16 pairs)
{
    constexpr Places places{2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15};
    return hn::BitCast(di16, pick(hn::BitCast(d8, pairs), places));
}

/// The lower 16 bits of each lane, part by part of 128 bits.
HWY_INLINE VI16 packed_in_parts(VI32 lower, VI32 upper)
{
    constexpr Places to_lower{0, 1, 4, 5, 8, 9, 12, 13, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    constexpr Places to_upper{0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0, 1, 4, 5, 8, 9, 12, 13};
    return hn::BitCast(di16, hn::Or(pick(hn::BitCast(d8, lower), to_lower), pick(hn::BitCast(d8, upper), to_upper)));
}

/// Half a block with 16 bits a colour, not yet limited to 8.
struct WideColor {
    VI16 red, green, blue;
};

/// `luma` has a value for each pixel, `chroma` U and V for each two, 128 subtracted.
HWY_INLINE WideColor rgb_of_shared_chroma(VI16 luma, VI16 chroma)
{
    const VI16 factors = hn::BitCast(di16, hn::Set(di32, yuv::blue_u | static_cast<std::int32_t>(yuv::red_v) << 16));
    const VI16 of_green =
        hn::BitCast(di16, hn::Set(di32, (yuv::green_u & 0xFFFF) | static_cast<std::int32_t>(yuv::green_v * 65536)));
    // a rounded product with 15 fractional bits, so of twice the chroma for the 14 of the factors
    const VI16 blue_red = hn::MulFixedPoint15(hn::Add(chroma, chroma), factors);
    const VI32 green =
        hn::ShiftRight<yuv::fraction_bits>(hn::Add(pair_products(chroma, of_green), hn::Set(di32, yuv::half)));
    return {hn::Add(luma, both_upper(blue_red)), hn::Add(luma, both_lower(hn::BitCast(di16, green))),
            hn::Add(luma, both_lower(blue_red))};
}

HWY_INLINE V8 limited(VI16 lower, VI16 upper)
{
    const hn::Half<D8> half;
    return hn::Combine(d8, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower));
}

HWY_INLINE Color8 limited(const WideColor& lower, const WideColor& upper)
{
    return {limited(lower.red, upper.red), limited(lower.green, upper.green), limited(lower.blue, upper.blue)};
}

/// Pixels in groups that share their chroma.
template <ChromaGroup group>
struct GroupAccess : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return group.bytes_of(pixels); }

    /// The V that a last group lacks: that of the group before, or no colour when there is none.
    static void complete(const To& block_bytes, std::size_t pixels, const Byte* line)
    {
        const std::size_t left = pixels % group.pixels;
        if (left == 0 || group.v < group.bytes_of(left)) {
            return;
        }
        constexpr std::ptrdiff_t before = -static_cast<std::ptrdiff_t>(group.bytes);
        const auto v = static_cast<std::ptrdiff_t>(pixels / group.pixels * group.bytes + group.v);
        if (pixels > group.pixels) {
            block_bytes[0][v] = block_bytes[0][v + before];
        } else {
            block_bytes[0][v] = line != nullptr ? line[v + before] : Byte{128};
        }
    }
};

/// Two pixels in four bytes, as RGB.
template <bool luma_first>
struct ReadYuv422 : GroupAccess<luma_first ? group_yuyv : group_uyvy> {
    static HWY_INLINE Color8 read(const From& from)
    {
        return limited(half_of(load16(from[0])), half_of(load16(from[0] + block)));
    }

private:
    static HWY_INLINE WideColor half_of(V16 words)
    {
        const V16 lower = hn::And(words, hn::Set(d16, 0xFF));
        const V16 upper = hn::ShiftRight<8>(words);
        const VI16 chroma = hn::Sub(hn::BitCast(di16, luma_first ? upper : lower), hn::Set(di16, 128));
        return rgb_of_shared_chroma(hn::BitCast(di16, luma_first ? lower : upper), chroma);
    }
};

/// Four pixels in six bytes, as RGB.
struct ReadYuv411 : GroupAccess<group_411> {
    /// Eight pixels are 12 of 16 bytes loaded: the first 12 for the lower half of the block, the last 12 for the upper,
    /// so that no load leaves the block.
    static HWY_INLINE Color8 read(const From& from)
    {
        constexpr std::size_t half = block / 4 * 3;
        return limited(half_of<0>(load_parts<12>(d8, from[0])), half_of<4>(load_parts<12>(d8, from[0] + half - 4)));
    }

private:
    /// `skipped`: bytes before the first pixel in each 128 bits.
    template <Byte skipped>
    static HWY_INLINE WideColor half_of(V8 groups)
    {
        constexpr Places luma = words_at(skipped, {1, 2, 4, 5, 7, 8, 10, 11});
        constexpr Places chroma = words_at(skipped, {0, 3, 0, 3, 6, 9, 6, 9});
        return rgb_of_shared_chroma(hn::BitCast(di16, pick(groups, luma)),
                                    hn::Sub(hn::BitCast(di16, pick(groups, chroma)), hn::Set(di16, 128)));
    }

    /// Places of bytes that become words.
    static constexpr Places words_at(Byte skipped, const std::array<Byte, 8>& bytes)
    {
        Places result{};
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            result[2 * i] = static_cast<Byte>(skipped + bytes[i]);
            result[2 * i + 1] = 0x80;
        }
        return result;
    }
};

/// U, Y and V for each pixel, as RGB.
struct ReadYuv444 : Access<> {
    static constexpr std::size_t bytes(std::size_t pixels) { return 3 * pixels; }
    static HWY_INLINE Color8 read(const From& from)
    {
        V8 u, y, v;
        hn::LoadInterleaved3(d8, from[0], u, y, v);
        const hn::Half<D8> half;
        return limited(half_of(hn::LowerHalf(half, y), hn::LowerHalf(half, u), hn::LowerHalf(half, v)),
                       half_of(hn::UpperHalf(half, y), hn::UpperHalf(half, u), hn::UpperHalf(half, v)));
    }

    static HWY_INLINE WideColor half_of(hn::Vec<hn::Half<D8>> y, hn::Vec<hn::Half<D8>> u, hn::Vec<hn::Half<D8>> v)
    {
        const VI16 neutral = hn::Set(di16, 128);
        const VI16 luma = hn::PromoteTo(di16, y);
        const VI16 blueness = hn::Sub(hn::PromoteTo(di16, u), neutral);
        const VI16 redness = hn::Sub(hn::PromoteTo(di16, v), neutral);
        const VI16 red = hn::MulFixedPoint15(hn::Add(redness, redness), hn::Set(di16, yuv::red_v));
        const VI16 blue = hn::MulFixedPoint15(hn::Add(blueness, blueness), hn::Set(di16, yuv::blue_u));
        return {hn::Add(luma, red), hn::Add(luma, green_of(blueness, redness)), hn::Add(luma, blue)};
    }

private:
    static HWY_INLINE VI16 green_of(VI16 u, VI16 v)
    {
        const VI16 factors =
            hn::BitCast(di16, hn::Set(di32, (yuv::green_u & 0xFFFF) | static_cast<std::int32_t>(yuv::green_v * 65536)));
        const VI32 rounding = hn::Set(di32, yuv::half);
        const auto of = [&](VI16 pairs) HWY_ATTR {
            return hn::ShiftRight<yuv::fraction_bits>(hn::Add(pair_products(pairs, factors), rounding));
        };
        // the halves of 128 bits that interleaving leaves in the wrong order are put right by taking even lanes
        const VI32 lower = of(hn::InterleaveLower(di16, u, v));
        const VI32 upper = of(hn::InterleaveUpper(di16, u, v));
        return packed_in_parts(lower, upper);
    }
};

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
