// Demosaicing of vectors. Included once for each instruction set.
#if defined(VEX_SIMD_BAYER_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VEX_SIMD_BAYER_INL_H
#undef VEX_SIMD_BAYER_INL_H
#else
#define VEX_SIMD_BAYER_INL_H
#endif

#include "sdk/convert/demosaic.h"
#include "sdk/convert/simd/writers-inl.h"

#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

template <class V>
HWY_INLINE V absolute_difference(V a, V b)
{
    return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));
}

/// Two opposite neighbours and their rounded mean.
template <class V>
struct Opposite {
    V a, b, mean;
    HWY_INLINE Opposite(V first, V second) : a(first), b(second), mean(hn::AverageRound(first, second)) {}
};

/// As MeanOfFour in demosaic.cpp. The mean of means is one too high for 8 bits where a mean was rounded up that need
/// not have been.
struct VectorMeanOfFour {
    template <class D, class V = hn::Vec<D>>
    static HWY_INLINE V of(D d, const Opposite<V>& first, const Opposite<V>& second)
    {
        const V mean = hn::AverageRound(first.mean, second.mean);
        if constexpr (sizeof(hn::TFromD<D>) == 2) {
            return mean;
        } else {
            const V rounded = hn::Or(hn::Xor(first.a, first.b), hn::Xor(second.a, second.b));
            const V excess = hn::And(hn::And(rounded, hn::Xor(first.mean, second.mean)), hn::Set(d, 1));
            return hn::Sub(mean, excess);
        }
    }
};

struct VectorMeanAlongEdge {
    template <class D, class V = hn::Vec<D>>
    static HWY_INLINE V of(D d, const Opposite<V>& first, const Opposite<V>& second)
    {
        using Sample = hn::TFromD<D>;
        const V threshold = hn::Set(d, static_cast<Sample>(edge_threshold << (8 * (sizeof(Sample) - 1))));
        const V across_first = hn::SaturatedSub(absolute_difference(first.a, first.b), threshold);
        const V across_second = hn::SaturatedSub(absolute_difference(second.a, second.b), threshold);
        // what one pair differs more than the other and the threshold; zero in most places
        const V second_more = hn::SaturatedSub(across_second, absolute_difference(first.a, first.b));
        const V first_more = hn::SaturatedSub(across_first, absolute_difference(second.a, second.b));
        const V zero = hn::Zero(d);
        const V mean = VectorMeanOfFour::of(d, first, second);
        return hn::IfThenElse(hn::Eq(second_more, zero), hn::IfThenElse(hn::Eq(first_more, zero), mean, second.mean),
                              first.mean);
    }
};

/// A vector of colours: the line's own, green and the other one.
template <class V>
struct Demosaiced {
    V own, green, other;
};

/// `colored`: parity of the columns of the line's own colour. `x` is the column of the vector's first pixel, even.
template <class Four, std::size_t colored, class D, class Sample = hn::TFromD<D>>
HWY_INLINE Demosaiced<hn::Vec<D>> demosaic(D d, const BayerLines<Sample>& from, std::size_t x)
{
    using V = hn::Vec<D>;
    const auto at = [d, x](const Sample* line, std::ptrdiff_t offset)
                        HWY_ATTR { return hn::LoadU(d, line + x + offset); };
    const V here = at(from.here, 0);
    const Opposite<V> beside(at(from.here, -1), at(from.here, 1));
    const Opposite<V> upright(at(from.above, 0), at(from.below, 0));
    const Opposite<V> falling(at(from.above, -1), at(from.below, 1));
    const Opposite<V> rising(at(from.above, 1), at(from.below, -1));
    const auto pixels = [](V of_color, V of_green) HWY_ATTR {
        return colored == 0 ? hn::OddEven(of_green, of_color) : hn::OddEven(of_color, of_green);
    };
    return {pixels(here, beside.mean), pixels(Four::of(d, beside, upright), here),
            pixels(Four::of(d, falling, rising), upright.mean)};
}

/// A block of 8-bit samples.
template <class Four, std::size_t colored, bool has_red>
struct DemosaicBytes {
    using Sample = std::uint8_t;
    static HWY_INLINE Color8 block_at(const BayerLines<Sample>& from, std::size_t x)
    {
        const auto [own, green, other] = demosaic<Four, colored>(d8, from, x);
        return {has_red ? own : other, green, has_red ? other : own};
    }
};

/// A block of 16-bit samples.
template <class Four, std::size_t colored, bool has_red>
struct DemosaicWords {
    using Sample = std::uint16_t;
    static HWY_INLINE Color16 block_at(const BayerLines<Sample>& from, std::size_t x)
    {
        const auto lower = demosaic<Four, colored>(d16, from, x);
        const auto upper = demosaic<Four, colored>(d16, from, x + block / 2);
        const Grey16 own{lower.own, upper.own};
        const Grey16 other{lower.other, upper.other};
        return {has_red ? own : other, {lower.green, upper.green}, has_red ? other : own};
    }
};

/// The samples of a line around a block, mirrored at the line's ends.
template <class Sample>
struct MirroredBlock {
    alignas(64) Sample samples[block + 64] = {};  // the block's first is at 32

    MirroredBlock(const Sample* line, std::size_t width, std::size_t x)
    {
        const std::size_t last = std::min(x + block, width) - 1;
        if (last - x + 1 == block) {
            std::memcpy(samples + 32, line + x, sizeof(Sample) * block);
        } else {
            std::memcpy(samples + 32, line + x, sizeof(Sample) * (last - x + 1));
        }
        samples[31] = line[x > 0 ? x - 1 : (width > 1 ? 1 : 0)];
        samples[32 + last - x + 1] = line[last + 1 < width ? last + 1 : (last > 0 ? last - 1 : 0)];
    }
    [[nodiscard]] const Sample* first() const { return samples + 32; }
};

/// The first block of a line, or one that is its last. `to` is where the block goes.
template <bool streamed, class Demosaic, class Write, class Sample = typename Demosaic::Sample>
void demosaic_at_border(const BayerLines<Sample>& from, std::size_t width, std::size_t x, const To& to)
{
    const MirroredBlock<Sample> above(from.above, width, x);
    const MirroredBlock<Sample> here(from.here, width, x);
    const MirroredBlock<Sample> below(from.below, width, x);
    const auto pixels = Demosaic::block_at({above.first(), here.first(), below.first()}, 0);
    if (x + block <= width) {
        return write_block<streamed, Write>(pixels, to);
    }
    alignas(64) Byte out[Write::planes][Write::bytes(block)];
    To places{};
    for (std::size_t plane = 0; plane < Write::planes; ++plane) {
        places[plane] = out[plane];
    }
    Write::write(pixels, places);
    for (std::size_t plane = 0; plane < Write::planes; ++plane) {
        std::memcpy(to[plane], out[plane], Write::bytes(width - x));
    }
}

/// Whole blocks within a line from pixel `x` on; returns where they end. `to` is where the part goes.
template <bool streamed, class Demosaic, class Write, class Sample = typename Demosaic::Sample>
HWY_INLINE std::size_t demosaic_blocks(const BayerLines<Sample>& from, std::size_t width, Part part, std::size_t x,
                                       const To& to)
{
    for (; x + block <= part.last && x + block < width; x += block) {
        if constexpr (streamed && sizeof(Sample) == 1) {
            fetch_ahead<block>(from.below + x);
        }
        write_block<streamed, Write>(Demosaic::block_at(from, x), advanced<Write>(to, x - part.first));
    }
    return x;
}

/// Part of a line; its first block and a last one that ends the line are taken as borders.
template <bool streamed, class Demosaic, class Write, class Sample = typename Demosaic::Sample>
HWY_INLINE void demosaic_part(const BayerLines<Sample>& from, std::size_t width, Part part, const To& to)
{
    std::size_t x = part.first;
    if (x == 0) {
        demosaic_at_border<streamed, Demosaic, Write>(from, width, 0, to);
        x = block;
    }
    x = demosaic_blocks<streamed, Demosaic, Write>(from, width, part, x, to);
    if (x < part.last) {
        demosaic_at_border<streamed, Demosaic, Write>(from, width, x, advanced<Write>(to, x - part.first));
    }
}

/// `lines` are the one above, the one to convert and the one below.
template <class Demosaic, class Write>
void demosaic_line(const From& lines, std::size_t width, Part part, const To& to)
{
    using Sample = typename Demosaic::Sample;
    const auto samples = [&](std::size_t i) { return reinterpret_cast<const Sample*>(lines[i]); };
    const BayerLines<Sample> from{samples(0), samples(1), samples(2)};
    if constexpr (Write::planes == 1) {
        if (part.streamed) {
            return demosaic_part<true, Demosaic, Write>(from, width, part, to);
        }
    }
    demosaic_part<false, Demosaic, Write>(from, width, part, to);
}

template <class Demosaic>
LineKernel interleaved_kernel(const Format& to)
{
    switch (to.packing) {
    case Packing::triples:
        return to.blue_first ? demosaic_line<Demosaic, WriteTriples<true>>
                             : demosaic_line<Demosaic, WriteTriples<false>>;
    case Packing::quads:
        return to.blue_first ? demosaic_line<Demosaic, WriteQuads<true>> : demosaic_line<Demosaic, WriteQuads<false>>;
    default: return nullptr;
    }
}

template <class Demosaic>
LineKernel bytes_kernel(const Format& to)
{
    return to.packing == Packing::planar_bytes ? demosaic_line<Demosaic, WritePlanes8>
                                               : interleaved_kernel<Demosaic>(to);
}

template <class Demosaic>
LineKernel words_kernel(const Format& to)
{
    return to.packing == Packing::planar_words ? demosaic_line<Demosaic, WritePlanes16>
                                               : interleaved_kernel<Demosaic>(to);
}

template <class Four, std::size_t colored, bool has_red>
LineKernel bayer_line_kernel(bool words, const Format& to)
{
    return words ? words_kernel<DemosaicWords<Four, colored, has_red>>(to)
                 : bytes_kernel<DemosaicBytes<Four, colored, has_red>>(to);
}

/// For even and for odd lines.
template <class Four>
BayerKernels bayer_kernels(const Format& from, const Format& to)
{
    const bool words = from.depth > 8;
    const auto with_red = from.red_x == 0 ? bayer_line_kernel<Four, 0, true> : bayer_line_kernel<Four, 1, true>;
    const auto with_blue = from.red_x == 0 ? bayer_line_kernel<Four, 1, false> : bayer_line_kernel<Four, 0, false>;
    return from.red_y == 0 ? BayerKernels{with_red(words, to), with_blue(words, to)}
                           : BayerKernels{with_blue(words, to), with_red(words, to)};
}

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // not scalar
#endif  // included for this instruction set
