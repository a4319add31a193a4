// Sums of the colours of lines, of pixels that are not saturated.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/sums.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/block-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
SumKernel pixel_sums_kernel(bool) { return nullptr; }
SumKernel cell_sums_kernel(bool) { return nullptr; }
#else
namespace {

using D64 = hn::ScalableTag<std::uint64_t>;
inline constexpr D64 d64;
using V64 = hn::Vec<D64>;

HWY_INLINE V64 sums_of(V8 bytes) { return hn::SumsOf8(bytes); }
HWY_INLINE V64 sums_of(V16 words)
{
    const V64 lower = hn::SumsOf8(hn::BitCast(d8, hn::And(words, hn::Set(d16, 0xFF))));
    const V64 upper = hn::SumsOf8(hn::BitCast(d8, hn::ShiftRight<8>(words)));
    return hn::Add(lower, hn::ShiftLeft<8>(upper));
}

/// Sums of the samples of `D`, from 0 on; `width` counts the samples of a line.
template <class D, std::size_t greens>
class Adder {
public:
    using Sample = hn::TFromD<D>;
    using V = hn::Vec<D>;

    explicit HWY_INLINE Adder(Sample limit)
        : highest_(hn::Set(D(), static_cast<Sample>(limit - 1))), red_(hn::Zero(d64)), green_(hn::Zero(d64)),
          blue_(hn::Zero(d64))
    {}

    HWY_INLINE void add(V red, const std::array<V, greens>& green, V blue)
    {
        constexpr D d;
        V largest = hn::Max(red, blue);
        for (const V one : green) {
            largest = hn::Max(largest, one);
        }
        const auto counts = hn::Eq(hn::SaturatedSub(largest, highest_), hn::Zero(d));
        const V mask = hn::VecFromMask(d, counts);
        red_ = hn::Add(red_, sums_of(hn::And(red, mask)));
        for (const V one : green) {
            green_ = hn::Add(green_, sums_of(hn::And(one, mask)));
        }
        blue_ = hn::Add(blue_, sums_of(hn::And(blue, mask)));
        pixels_ += hn::CountTrue(d, counts);
    }

    HWY_INLINE void add_to(ColorSums& sums) const
    {
        alignas(64) std::uint64_t lanes[hn::MaxLanes(D64())];
        const auto total = [&lanes](V64 vector) HWY_ATTR {
            hn::Store(vector, d64, lanes);
            std::uint64_t sum = 0;
            for (const auto lane : lanes) {
                sum += lane;
            }
            return sum;
        };
        sums.color[0] += total(red_);
        sums.color[1] += total(green_);
        sums.color[2] += total(blue_);
        sums.pixels += pixels_;
    }

private:
    V highest_;
    V64 red_, green_, blue_;
    std::uint64_t pixels_ = 0;
};

/// Samples of a line from `x` on, as many as there are and saturated ones after them.
template <class Sample, std::size_t count>
struct Padded {
    alignas(64) Sample samples[count];
    Padded(const Sample* line, std::size_t x, std::size_t width)
    {
        std::memset(samples, 0xFF, sizeof(samples));
        std::memcpy(samples, line + x, (width - x) * sizeof(Sample));
    }
};

/// `lines` are those of red, green and blue.
template <class D>
void add_pixels(const From& lines, std::size_t width, unsigned limit, ColorSums& sums)
{
    using Sample = hn::TFromD<D>;
    constexpr D d;
    constexpr std::size_t step = hn::MaxLanes(D());
    const auto line = [&lines](std::size_t i) { return reinterpret_cast<const Sample*>(lines[i]); };
    Adder<D, 1> adder(static_cast<Sample>(limit));
    std::size_t x = 0;
    for (; x + step <= width; x += step) {
        adder.add(hn::LoadU(d, line(0) + x), {hn::LoadU(d, line(1) + x)}, hn::LoadU(d, line(2) + x));
    }
    if (x < width) {
        const Padded<Sample, step> red(line(0), x, width);
        const Padded<Sample, step> green(line(1), x, width);
        const Padded<Sample, step> blue(line(2), x, width);
        adder.add(hn::Load(d, red.samples), {hn::Load(d, green.samples)}, hn::Load(d, blue.samples));
    }
    adder.add_to(sums);
}

/// `lines` are one of red and green and one of green and blue, red in the even columns of the first; `width` is even.
template <class D>
void add_cells(const From& lines, std::size_t width, unsigned limit, ColorSums& sums)
{
    using Sample = hn::TFromD<D>;
    constexpr D d;
    constexpr std::size_t step = 2 * hn::MaxLanes(D());
    Adder<D, 2> adder(static_cast<Sample>(limit));
    const auto add = [&adder](const Sample* upper, const Sample* lower) HWY_ATTR {
        constexpr D tag;
        hn::Vec<D> red, green_above, green_below, blue;
        hn::LoadInterleaved2(tag, upper, red, green_above);
        hn::LoadInterleaved2(tag, lower, green_below, blue);
        adder.add(red, {green_above, green_below}, blue);
    };
    const auto line = [&lines](std::size_t i) { return reinterpret_cast<const Sample*>(lines[i]); };
    std::size_t x = 0;
    for (; x + step <= width; x += step) {
        add(line(0) + x, line(1) + x);
    }
    if (x < width) {
        const Padded<Sample, step> upper(line(0), x, width);
        const Padded<Sample, step> lower(line(1), x, width);
        add(upper.samples, lower.samples);
    }
    adder.add_to(sums);
}

}  // namespace

SumKernel pixel_sums_kernel(bool words) { return words ? add_pixels<D16> : add_pixels<D8>; }
SumKernel cell_sums_kernel(bool words) { return words ? add_cells<D16> : add_cells<D8>; }
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(pixel_sums_kernel);
HWY_EXPORT(cell_sums_kernel);

SumKernel find_pixel_sums_kernel(bool words) noexcept { return HWY_DYNAMIC_DISPATCH(pixel_sums_kernel)(words); }
SumKernel find_cell_sums_kernel(bool words) noexcept { return HWY_DYNAMIC_DISPATCH(cell_sums_kernel)(words); }

}  // namespace vex::convert::simd
#endif
