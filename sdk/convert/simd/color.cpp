// Lines of RGB with 8 bits a colour into others of these.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/color.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/readers-inl.h"
#include "sdk/convert/simd/writers-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel color_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

/// `swapped`: red and blue change places on the way.
template <bool swapped>
LineKernel kernel_between(const Format& from, const Format& to)
{
    const bool to_quads = to.packing == Packing::quads;
    if (from.packing == Packing::triples) {
        return to_quads ? convert_line<ReadTriplesAsQuads<swapped, Quads8>, WriteQuadsOfQuads>
                        : convert_line<ReadTriplesAsQuads<swapped, QuadColumns8>, WriteTriplesOfQuads>;
    }
    if (!to_quads) {
        return convert_line<ReadQuads<swapped, QuadColumns8, true>, WriteTriplesOfQuads>;
    }
    return from.alpha && to.alpha ? convert_line<ReadQuads<swapped, Quads8, true>, WriteQuadsOfQuads>
                                  : convert_line<ReadQuads<swapped, Quads8, false>, WriteQuadsOfQuads>;
}

}  // namespace

LineKernel color_kernel(const Format& from, const Format& to)
{
    const auto interleaved = [](const Format& format) {
        return format.packing == Packing::triples || format.packing == Packing::quads;
    };
    if (!interleaved(from) || !interleaved(to)) {
        return nullptr;
    }
    return from.blue_first != to.blue_first ? kernel_between<true>(from, to) : kernel_between<false>(from, to);
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(color_kernel);

LineKernel find_color_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(color_kernel)(from, to);
}

}  // namespace vex::convert::simd
#endif
