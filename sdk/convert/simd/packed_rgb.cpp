// Lines of RGB that is packed more tightly than in bytes or lies in 16-bit words, into other RGB.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/packed_rgb.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/packed_rgb-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel packed_rgb_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

/// Takes each colour for a grey pixel, where their order stays.
template <class Read, class Write>
void convert_values(const From& from, std::size_t width, Part part, const To& to)
{
    convert_line<Read, Write>(from, 3 * width, {3 * part.first, 3 * part.last, part.streamed}, to);
}

template <class Layout, bool swapped>
LineKernel bytes_kernel(const Format& to)
{
    switch (to.packing) {
    case Packing::triples: return convert_line<ReadLayoutAsQuads<Layout, swapped, QuadColumns8>, WriteTriplesOfQuads>;
    case Packing::quads: return convert_line<ReadLayoutAsQuads<Layout, swapped, Quads8>, WriteQuadsOfQuads>;
    default: return nullptr;
    }
}

template <class Layout>
LineKernel bytes_kernel(const Format& from, const Format& to)
{
    return from.blue_first != to.blue_first ? bytes_kernel<Layout, true>(to) : bytes_kernel<Layout, false>(to);
}

template <class Layout>
LineKernel tens_kernel(const Format& from, const Format& to)
{
    if (to.packing == Packing::planar_words) {
        return convert_line<ReadTens<Layout>, WritePlanes16>;
    }
    if (to.packing == Packing::word_triples) {
        return convert_line<ReadTens<Layout>, WriteWordTriples>;
    }
    return bytes_kernel<Layout>(from, to);
}

LineKernel rgb12_v1_kernel(const Format& from, const Format& to)
{
    if (to.packing == Packing::planar_words) {
        return convert_line<ReadRgb12V1, WritePlanes16>;
    }
    if (to.packing == Packing::word_triples) {
        return convert_values<ReadPairs<12>, WriteWords>;
    }
    if (to.packing == Packing::triples && !to.blue_first) {
        return convert_values<ReadTopOfPairs, WriteBytes>;
    }
    return bytes_kernel<Rgb12V1>(from, to);
}

template <unsigned depth>
LineKernel word_triples_kernel(const Format& from, const Format& to)
{
    if (from.blue_first == to.blue_first) {
        if (to.packing == Packing::word_triples) {
            return convert_values<ReadWords<depth>, WriteWords>;
        }
        if (to.packing == Packing::triples) {
            return convert_values<ReadTopOfWords<depth>, WriteBytes>;
        }
    } else if (to.packing == Packing::word_triples) {
        return convert_line<ReadWordTriples<depth, true>, WriteWordTriples>;
    }
    return bytes_kernel<WordTriples<depth>>(from, to);
}

LineKernel rgb555_kernel(const Format& to)
{
    switch (to.packing) {
    case Packing::planar_bytes: return convert_line<ReadRgb555, WritePlanes8>;
    case Packing::word_triples: return convert_line<ReadRgb555, WriteWordTriples>;
    default: return interleaved_kernel_to<ReadRgb555>(to);
    }
}

}  // namespace

LineKernel packed_rgb_kernel(const Format& from, const Format& to)
{
    if (to.depth > 8 && to.depth < 16) {
        return nullptr;
    }
    switch (from.packing) {
    case Packing::rgb10_v1: return tens_kernel<Rgb10V1>(from, to);
    case Packing::rgb10_v2: return tens_kernel<Rgb10V2>(from, to);
    case Packing::rgb12_v1: return rgb12_v1_kernel(from, to);
    case Packing::rgb555: return rgb555_kernel(to);
    case Packing::word_triples:
        switch (from.depth) {
        case 10: return word_triples_kernel<10>(from, to);
        case 12: return word_triples_kernel<12>(from, to);
        default: return word_triples_kernel<16>(from, to);
        }
    default: return nullptr;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(packed_rgb_kernel);

LineKernel find_packed_rgb_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(packed_rgb_kernel)(from, to);
}

}  // namespace vex::convert::simd
#endif
