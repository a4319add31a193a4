// Bayer lines into RGB by the 3x3 filter.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/bayer_3x3.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/bayer-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
BayerKernels bayer_3x3(const Format&, const Format&) { return {}; }
#else
BayerKernels bayer_3x3(const Format& from, const Format& to) { return bayer_kernels<VectorMeanAlongEdge>(from, to); }
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(bayer_3x3);

BayerKernels find_bayer_3x3(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(bayer_3x3)(from, to);
}

}  // namespace vex::convert::simd
#endif
