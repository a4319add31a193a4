// Lines of grey pixels into every type that takes them in one step.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/mono.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/from_rgb-inl.h"
#include "sdk/convert/simd/readers-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel mono_kernel(const Format&, const Format&) { return nullptr; }
FarLinesKernel far_mono_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

/// `Read` gives 8 bits a pixel, `ReadDeep` 16.
template <class Read, class ReadDeep>
LineKernel kernel_to(const Format& to)
{
    switch (to.packing) {
    case Packing::bytes: return convert_line<Read, WriteBytes>;
    case Packing::triples: return convert_line<Read, WriteTriples<false>>;
    case Packing::quads: return convert_line<Read, WriteQuads<false>>;
    case Packing::rgb555: return convert_line<Read, WriteRgb555>;
    case Packing::planar_bytes: return convert_line<Read, WritePlanes8>;
    case Packing::uyvy: return convert_line<Read, WriteYuv422<false>>;
    case Packing::yuyv: return convert_line<Read, WriteYuv422<true>>;
    case Packing::yuv444: return convert_line<Read, WriteYuv444>;
    case Packing::words: return convert_line<ReadDeep, WriteWords>;
    case Packing::word_triples: return convert_line<ReadDeep, WriteWordTriples>;
    default: return nullptr;
    }
}

/// Converts a stretch of each line in turn, what is left at the end of each last.
template <class Read, class Write>
void convert_far_lines(const FarLines<const Byte>& from, std::size_t width, const FarLines<Byte>& to)
{
    constexpr std::size_t stretch = part_alignment;
    std::size_t x = 0;
    for (; x + stretch <= width; x += stretch) {
        for (std::size_t line = 0; line < far_lines; ++line) {
            convert_blocks<true, Read, Write>({from[line]}, {x, x + stretch}, {to[line] + Write::bytes(x)});
        }
    }
    for (std::size_t line = 0; line < far_lines && x < width; ++line) {
        convert_line<Read, Write>({from[line]}, width, {x, width, true}, {to[line] + Write::bytes(x)});
    }
}

template <unsigned depth>
LineKernel words_kernel_to(const Format& to)
{
    return kernel_to<ReadTopOfWords<depth>, ReadWords<depth>>(to);
}

}  // namespace

LineKernel mono_kernel(const Format& from, const Format& to)
{
    switch (from.packing) {
    case Packing::bytes: return kernel_to<ReadBytes, ReadBytes>(to);
    case Packing::signed_bytes: return kernel_to<ReadSignedBytes, ReadSignedBytes>(to);
    case Packing::words:
        switch (from.depth) {
        case 10: return words_kernel_to<10>(to);
        case 12: return words_kernel_to<12>(to);
        case 14: return words_kernel_to<14>(to);
        default: return words_kernel_to<16>(to);
        }
    case Packing::pairs:
        return from.depth == 10 ? kernel_to<ReadTopOfPairs, ReadPairs<10>>(to)
                                : kernel_to<ReadTopOfPairs, ReadPairs<12>>(to);
    default: return nullptr;
    }
}

FarLinesKernel far_mono_kernel(const Format& from, const Format& to)
{
    if (from.packing != Packing::words || to.packing != Packing::bytes) {
        return nullptr;
    }
    switch (from.depth) {
    case 10: return convert_far_lines<ReadTopOfWords<10>, WriteBytes>;
    case 12: return convert_far_lines<ReadTopOfWords<12>, WriteBytes>;
    case 14: return convert_far_lines<ReadTopOfWords<14>, WriteBytes>;
    default: return convert_far_lines<ReadTopOfWords<16>, WriteBytes>;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(mono_kernel);
HWY_EXPORT(far_mono_kernel);

LineKernel find_mono_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(mono_kernel)(from, to);
}

FarLinesKernel find_far_lines_kernel(const Format& from, const Format& to) noexcept
{
    return from.model == Model::mono && to.model == Model::mono ? HWY_DYNAMIC_DISPATCH(far_mono_kernel)(from, to)
                                                                : nullptr;
}

}  // namespace vex::convert::simd
#endif
