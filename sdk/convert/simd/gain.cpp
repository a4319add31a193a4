// Gains and offsets of the samples of a line, in place.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/gain.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/yuv-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
GainKernel gain_kernel(unsigned) { return nullptr; }
#else
namespace {

/// Samples of 8 bits in a vector.
struct GainOfBytes {
    static constexpr std::size_t samples = block;
    static constexpr std::size_t sample_bytes = 1;

    /// `at`: the first sample's gain in the tables.
    static HWY_INLINE void apply(const LineGains& gains, std::size_t at, Byte* line)
    {
        const hn::Half<D8> half;
        const V8 values = load8(line);
        store8(limited(scaled(gains, at, hn::LowerHalf(half, values)),
                       scaled(gains, at + block / 2, hn::UpperHalf(half, values))),
               line);
    }

private:
    static HWY_INLINE VI16 scaled(const LineGains& gains, std::size_t at, hn::Vec<hn::Half<D8>> values)
    {
        // a bit more of the product than is needed, which the mean with zero rounds away
        const V16 product = hn::MulHigh(hn::ShiftLeft<5>(hn::PromoteTo(d16, values)), hn::LoadU(d16, &gains.gain[at]));
        const V16 rounded = hn::AverageRound(product, hn::Zero(d16));
        return hn::Add(hn::BitCast(di16, rounded), hn::LoadU(di16, &gains.offset[at]));
    }
};

/// Samples of `depth` bits in words.
template <unsigned depth>
struct GainOfWords {
    static constexpr std::size_t samples = block / 2;
    static constexpr std::size_t sample_bytes = 2;

    static HWY_INLINE void apply(const LineGains& gains, std::size_t at, Byte* line)
    {
        const hn::Half<D16> half;
        const V16 values = scale_up<depth>(load16(line));
        const auto lower = scaled(gains, at, hn::LowerHalf(half, values));
        const auto upper = scaled(gains, at + samples / 2, hn::UpperHalf(half, values));
        store16(hn::ShiftRight<16 - depth>(hn::Combine(d16, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower))),
                line);
    }

private:
    static HWY_INLINE VI32 scaled(const LineGains& gains, std::size_t at, hn::Vec<hn::Half<D16>> values)
    {
        const hn::Half<D16> half;
        const hn::Half<DI16> signed_half;
        const auto gain = hn::PromoteTo(d32, hn::LoadU(half, &gains.gain[at]));
        const auto offset = hn::PromoteTo(di32, hn::LoadU(signed_half, &gains.offset[at]));
        const auto product = hn::Add(hn::Mul(hn::PromoteTo(d32, values), gain), hn::Set(d32, 2048));
        return hn::Add(hn::BitCast(di32, hn::ShiftRight<12>(product)), hn::Add(hn::ShiftLeft<8>(offset), offset));
    }
};

/// Three vectors at a time, which the tables' period divides.
template <class Gain>
void apply_gain(const LineGains& gains, std::size_t count, Byte* line)
{
    constexpr std::size_t at_a_time = 3 * Gain::samples;
    static_assert(at_a_time <= LineGains::entries && at_a_time % 12 == 0);
    const auto apply = [&gains](Byte* samples) HWY_ATTR {
        for (std::size_t vector = 0; vector < 3; ++vector) {
            Gain::apply(gains, vector * Gain::samples, samples + vector * block);
        }
    };
    std::size_t x = 0;
    for (; x + at_a_time <= count; x += at_a_time) {
        apply(line + x * Gain::sample_bytes);
    }
    if (x < count) {
        alignas(64) Byte last[3 * block] = {};
        std::memcpy(last, line + x * Gain::sample_bytes, (count - x) * Gain::sample_bytes);
        apply(last);
        std::memcpy(line + x * Gain::sample_bytes, last, (count - x) * Gain::sample_bytes);
    }
}

}  // namespace

GainKernel gain_kernel(unsigned depth)
{
    switch (depth) {
    case 8: return apply_gain<GainOfBytes>;
    case 10: return apply_gain<GainOfWords<10>>;
    case 12: return apply_gain<GainOfWords<12>>;
    case 16: return apply_gain<GainOfWords<16>>;
    default: return nullptr;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(gain_kernel);

GainKernel find_gain_kernel(unsigned depth) noexcept { return HWY_DYNAMIC_DISPATCH(gain_kernel)(depth); }

}  // namespace vex::convert::simd
#endif
