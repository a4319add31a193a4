#include "sdk/convert/simd/simd.h"

#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/simd.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/block-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
void stream(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes, std::span<const std::uint8_t> /*upcoming*/)
{
    std::memcpy(to, from, bytes);
}
#else
void stream(Byte* to, const Byte* from, std::size_t bytes, std::span<const Byte> upcoming)
{
    constexpr std::size_t cache_line = 64;
    static_assert(cache_line % block == 0);
    const std::size_t lines = bytes / cache_line;
    const std::size_t to_fetch = (upcoming.size() + cache_line - 1) / cache_line;
    std::size_t fetched = 0;
    for (std::size_t line = 0; line < lines; ++line) {
        for (; fetched * lines < (line + 1) * to_fetch; ++fetched) {
            hwy::Prefetch(upcoming.data() + fetched * cache_line);
        }
        for (std::size_t at = line * cache_line; at < (line + 1) * cache_line; at += block) {
            hn::Stream(load8(from + at), d8, to + at);
        }
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(stream);

LineKernel find_line_kernel(const Format& from, const Format& to) noexcept
{
    switch (from.model) {
    case Model::mono: return find_mono_kernel(from, to);
    case Model::bayer: return nullptr;
    case Model::rgb:
        if (to.model != Model::rgb) {
            return find_rgb_to_yuv_kernel(from, to);
        }
        if (const auto kernel = find_color_kernel(from, to); kernel != nullptr) {
            return kernel;
        }
        if (const auto kernel = find_rgb_layout_kernel(from, to); kernel != nullptr) {
            return kernel;
        }
        return find_packed_rgb_kernel(from, to);
    default: return to.model == Model::rgb ? find_yuv_kernel(from, to) : find_yuv_layout_kernel(from, to);
    }
}

LineKernel find_samples_kernel(const Format& from, unsigned bits) noexcept
{
    return find_mono_kernel(from, *find_format(bits == 8 ? PvPixelMono8 : PvPixelMono16));
}

BayerKernels find_bayer_kernels(const Format& from, const Format& to, PvBayerFilterType filter) noexcept
{
    return filter == PvBayerFilterSimple ? find_bayer_simple(from, to) : find_bayer_3x3(from, to);
}

void stream_copy(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes,
                 std::span<const std::uint8_t> upcoming) noexcept
{
    HWY_DYNAMIC_DISPATCH(stream)(to, from, bytes, upcoming);
}

void finish_streaming() noexcept { hwy::FlushStream(); }

static_assert(plain_target == HWY_SCALAR);

std::vector<Target> vector_targets()
{
    std::vector<Target> targets;
    for (std::int64_t left = hwy::SupportedTargets() & HWY_TARGETS & ~HWY_SCALAR; left != 0; left &= left - 1) {
        targets.push_back(static_cast<Target>(left & -left));
    }
    return targets;
}

const char* target_name(Target target) noexcept { return hwy::TargetName(target); }

void force_target(Target target) noexcept { hwy::SetSupportedTargetsForTest(target); }

}  // namespace vex::convert::simd
#endif
