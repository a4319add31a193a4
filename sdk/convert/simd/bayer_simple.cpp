// Bayer lines into RGB by the simple filter.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/bayer_simple.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/bayer-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
BayerKernels bayer_simple(const Format&, const Format&) { return {}; }
#else
BayerKernels bayer_simple(const Format& from, const Format& to) { return bayer_kernels<VectorMeanOfFour>(from, to); }
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(bayer_simple);

BayerKernels find_bayer_simple(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(bayer_simple)(from, to);
}

}  // namespace vex::convert::simd
#endif
