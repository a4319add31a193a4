// Lines of RGB into RGB of other layouts and depths.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/rgb_layout.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/from_rgb-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel rgb_layout_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

/// From planes, which are also where conversions in several steps meet, to everything.
template <class Read>
LineKernel planes_kernel_to(const Format& to)
{
    switch (to.packing) {
    case Packing::rgb555: return convert_line<Read, Narrowing<WriteRgb555>>;
    case Packing::planar_bytes: return convert_line<Read, Narrowing<WritePlanes8>>;
    case Packing::word_triples: return to.depth == 16 ? convert_line<Read, WriteWordTriples> : nullptr;
    default: return interleaved_kernel_to<Read>(to);
    }
}

template <class Read>
LineKernel bytes_kernel_to(const Format& to)
{
    switch (to.packing) {
    case Packing::rgb555: return convert_line<Read, WriteRgb555>;
    case Packing::planar_bytes: return convert_line<Read, WritePlanes8>;
    case Packing::word_triples: return to.depth == 16 ? convert_line<Read, WriteWordTriples> : nullptr;
    default: return nullptr;
    }
}

template <class Read>
LineKernel words_kernel_to(const Format& to)
{
    return to.packing == Packing::planar_words && to.depth == 16 ? convert_line<Read, WritePlanes16> : nullptr;
}

template <bool blue_first>
LineKernel word_triples_kernel(const Format& from, const Format& to)
{
    switch (from.depth) {
    case 10: return words_kernel_to<ReadWordTriples<10, blue_first>>(to);
    case 12: return words_kernel_to<ReadWordTriples<12, blue_first>>(to);
    default: return words_kernel_to<ReadWordTriples<16, blue_first>>(to);
    }
}

}  // namespace

LineKernel rgb_layout_kernel(const Format& from, const Format& to)
{
    switch (from.packing) {
    case Packing::triples:
        return from.blue_first ? bytes_kernel_to<ReadTriples<true>>(to) : bytes_kernel_to<ReadTriples<false>>(to);
    case Packing::quads:
        return from.blue_first ? bytes_kernel_to<ReadQuadsAsColor<true>>(to)
                               : bytes_kernel_to<ReadQuadsAsColor<false>>(to);
    case Packing::planar_bytes: return planes_kernel_to<ReadPlanes8>(to);
    case Packing::planar_words:
        switch (from.depth) {
        case 10: return words_kernel_to<ReadPlanes16<10>>(to);
        case 12: return words_kernel_to<ReadPlanes16<12>>(to);
        default: return planes_kernel_to<ReadPlanes16<16>>(to);
        }
    case Packing::word_triples:
        return from.blue_first ? word_triples_kernel<true>(from, to) : word_triples_kernel<false>(from, to);
    default: return nullptr;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(rgb_layout_kernel);

LineKernel find_rgb_layout_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(rgb_layout_kernel)(from, to);
}

}  // namespace vex::convert::simd
#endif
