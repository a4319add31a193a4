// Lines of RGB into grey and YUV.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/rgb_to_yuv.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/packed_rgb-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel rgb_to_yuv_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

template <class Read>
LineKernel kernel_to(const Format& to)
{
    switch (to.packing) {
    case Packing::bytes: return convert_line<Read, WriteGreyBytes>;
    case Packing::words: return convert_line<Read, WriteGreyWords>;
    case Packing::uyvy: return convert_line<Read, Narrowing<WriteYuv422<false>>>;
    case Packing::yuyv: return convert_line<Read, Narrowing<WriteYuv422<true>>>;
    case Packing::yuv444: return convert_line<Read, Narrowing<WriteYuv444>>;
    default: return nullptr;
    }
}

}  // namespace

LineKernel rgb_to_yuv_kernel(const Format& from, const Format& to)
{
    switch (from.packing) {
    case Packing::triples:
        return from.blue_first ? kernel_to<ReadTriples<true>>(to) : kernel_to<ReadTriples<false>>(to);
    case Packing::quads:
        return from.blue_first ? kernel_to<ReadQuadsAsColor<true>>(to) : kernel_to<ReadQuadsAsColor<false>>(to);
    case Packing::rgb555: return kernel_to<ReadRgb555>(to);
    case Packing::planar_bytes: return kernel_to<ReadPlanes8>(to);
    case Packing::planar_words: return from.depth == 16 ? kernel_to<ReadPlanes16<16>>(to) : nullptr;
    default: return nullptr;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(rgb_to_yuv_kernel);

LineKernel find_rgb_to_yuv_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(rgb_to_yuv_kernel)(from, to);
}

}  // namespace vex::convert::simd
#endif
