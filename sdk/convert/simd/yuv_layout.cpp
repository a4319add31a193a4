// Lines of YUV into grey and into other YUV.
#include "sdk/convert/simd/families.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "sdk/convert/simd/yuv_layout.cpp"
#include <hwy/foreach_target.h>

#include "sdk/convert/simd/from_rgb-inl.h"
#include "sdk/convert/simd/readers-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vex::convert::simd::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
LineKernel yuv_layout_kernel(const Format&, const Format&) { return nullptr; }
#else
namespace {

/// Pixels that share their chroma, which is repeated for each.
template <ChromaGroup group>
struct ReadGroups : GroupAccess<group> {
    static HWY_INLINE Yuv8 read(const From& from)
    {
        return {spread<0>(from[0]), spread<1>(from[0]), spread<2>(from[0])};
    }

protected:
    /// Y, U or V of every pixel.
    template <std::size_t channel>
    static HWY_INLINE V8 spread(const Byte* from)
    {
        // of each sixteen pixels, the first eight are in the first 16 bytes and the others in the last 16
        constexpr std::size_t step = group.bytes_of(16);
        constexpr Places of_first = places<channel>(0);
        constexpr Places of_last = places<channel>(8);
        return hn::Or(pick(load_parts<step>(d8, from), of_first),
                      pick(load_parts<step>(d8, from + step - 16), of_last));
    }

private:
    /// Those of eight pixels from `first` on, which become bytes from this place on.
    template <std::size_t channel>
    static constexpr Places places(std::size_t first)
    {
        Places result{};
        result.fill(0x80);
        const std::size_t skipped = first == 0 ? 0 : group.bytes_of(16) - 16;
        for (std::size_t pixel = first; pixel < first + 8; ++pixel) {
            const std::size_t in_group[] = {group.y[pixel % group.pixels], group.u, group.v};
            const std::size_t at = pixel / group.pixels * group.bytes + in_group[channel];
            result[pixel] = static_cast<Byte>(at - skipped);
        }
        return result;
    }
};

/// Y alone of such pixels.
template <ChromaGroup group>
struct ReadLumaOfGroups : ReadGroups<group> {
    static HWY_INLINE Grey8 read(const From& from) { return {ReadGroups<group>::template spread<0>(from[0])}; }
};

/// Chroma for each pixel.
struct ReadYuv444Channels : ColorAccess<1, 3> {
    static HWY_INLINE Yuv8 read(const From& from)
    {
        V8 u, y, v;
        hn::LoadInterleaved3(d8, from[0], u, y, v);
        return {y, u, v};
    }
};

struct ReadLumaOfYuv444 : ReadYuv444Channels {
    static HWY_INLINE Grey8 read(const From& from) { return {ReadYuv444Channels::read(from).y}; }
};

/// Words with their bytes exchanged.
struct ReadSwappedWords : ReadWords<16> {
    static HWY_INLINE Grey16 read(const From& from)
    {
        const auto swapped = [](V16 words)
                                 HWY_ATTR { return hn::Or(hn::ShiftLeft<8>(words), hn::ShiftRight<8>(words)); };
        return {swapped(load16(from[0])), swapped(load16(from[0] + block))};
    }
};

template <class ReadLuma, class Read>
LineKernel kernel_to(const Format& to)
{
    switch (to.packing) {
    case Packing::bytes: return convert_line<ReadLuma, WriteBytes>;
    case Packing::words: return convert_line<ReadLuma, WriteWords>;
    case Packing::uyvy: return convert_line<Read, WriteYuv422<false>>;
    case Packing::yuyv: return convert_line<Read, WriteYuv422<true>>;
    case Packing::yuv444: return convert_line<Read, WriteYuv444>;
    default: return nullptr;
    }
}

}  // namespace

LineKernel yuv_layout_kernel(const Format& from, const Format& to)
{
    switch (from.packing) {
    case Packing::yuv411: return kernel_to<ReadLumaOfGroups<group_411>, ReadGroups<group_411>>(to);
    case Packing::uyvy:
        return to.packing == Packing::yuyv ? convert_line<ReadSwappedWords, WriteWords>
                                           : kernel_to<ReadTopOfWords<16>, ReadGroups<group_uyvy>>(to);
    case Packing::yuyv:
        return to.packing == Packing::uyvy ? convert_line<ReadSwappedWords, WriteWords>
                                           : kernel_to<ReadTopOfWords<8>, ReadGroups<group_yuyv>>(to);
    case Packing::yuv444: return kernel_to<ReadLumaOfYuv444, ReadYuv444Channels>(to);
    default: return nullptr;
    }
}
#endif

}  // namespace vex::convert::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vex::convert::simd {

HWY_EXPORT(yuv_layout_kernel);

LineKernel find_yuv_layout_kernel(const Format& from, const Format& to) noexcept
{
    return HWY_DYNAMIC_DISPATCH(yuv_layout_kernel)(from, to);
}

}  // namespace vex::convert::simd
#endif
