// Lines of YUV into RGB with 8 bits a colour.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/yuv.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/writers-inl.h"
#include "sdk/convert/simd/yuv-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel yuv_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

template <class Read>
LineKernel kernel_to(const Format& to)
{
    return to.packing == Packing::planar_bytes ? convert_line<Read, WritePlanes8> : interleaved_kernel_to<Read>(to);
}

}  // namespace

LineKernel yuv_kernel(const Format& from, const Format& to)
{
    switch (from.packing) {
    case Packing::yuv411: return kernel_to<ReadYuv411>(to);
    case Packing::uyvy: return kernel_to<ReadYuv422<false>>(to);
    case Packing::yuyv: return kernel_to<ReadYuv422<true>>(to);
    case Packing::yuv444: return kernel_to<ReadYuv444>(to);
    default: return nullptr;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(yuv_kernel);

LineKernel find_yuv_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(yuv_kernel)(from, to);
}

}  // namespace vex::convert::simd
#endif
