// Conversions and filters over any pixel types, sizes, paddings, offsets and bytes, by the plain code and by the vector
// code of any of this machine's instruction sets, which must give the same bytes. The memory ends where the image ends,
// so that the address sanitizer sees a step too far; what must not be written is compared.
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvBufferConverter.h"
#include "sdk/convert/PvFilterDeinterlace.h"
#include "sdk/convert/PvFilterRGB.h"
#include "sdk/convert/simd/simd.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using fuzz::require;

/// The input's bytes one after another; zeros when they are used up.
class Source {
public:
    explicit Source(fuzz::View bytes) : bytes_(bytes) {}
    std::uint8_t byte()
    {
        if (bytes_.empty()) {
            return 0;
        }
        const auto first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(byte() << 8 | byte()) % limit; }
    void fill(std::vector<std::uint8_t>& memory)
    {
        for (auto& target : memory) {
            target = byte();
        }
    }

private:
    fuzz::View bytes_;
};

constexpr std::uint8_t untouched = 0xA5;

/// An image over memory that ends with it, and what of that memory is no pixels. It begins up to 15 bytes after the
/// memory, so at any address.
struct Image {
    Image(std::uint32_t width, std::uint32_t height, PvPixelType type, Source& source)
    {
        const auto padding_x = static_cast<std::uint16_t>(source.below(9));
        const auto padding_y = static_cast<std::uint16_t>(source.below(5));
        require(buffer.GetImage()->Alloc(width, height, type, padding_x, padding_y).IsOK());
        const auto offset = source.byte();
        skipped = offset % 16;
        memory.assign(skipped + buffer.GetSize(), untouched);
        require(buffer.GetImage()->Attach(memory.data() + skipped, width, height, type, padding_x, padding_y).IsOK());
        buffer.GetImage()->SetOffsetX(offset);
        buffer.GetImage()->SetOffsetY(source.byte());
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    [[nodiscard]] bool padding_untouched() const
    {
        const auto& image = *buffer.GetImage();
        const auto lines = image.GetRequiredSize() / image.GetLineStride();
        for (std::uint32_t y = 0; y < lines; ++y) {
            for (auto x = image.GetLineSize(); x < image.GetLineStride(); ++x) {
                if (memory[skipped + y * image.GetLineStride() + x] != untouched) {
                    return false;
                }
            }
        }
        return std::all_of(memory.begin(), memory.begin() + skipped, [](auto byte) { return byte == untouched; });
    }

    std::uint8_t skipped = 0;
    std::vector<std::uint8_t> memory;
    PvBuffer buffer;
};

/// The white balance of the image, and its bytes after the filter, by the target's code.
struct Filtered {
    Filtered(convert::simd::Target target, PvFilterRGB filter, const Image& image)
    {
        convert::simd::force_target(target);
        auto copy = image.memory;
        PvBuffer buffer;
        const auto& format = *image.buffer.GetImage();
        require(buffer.GetImage()
                    ->Attach(copy.data() + image.skipped, format.GetWidth(), format.GetHeight(), format.GetPixelType(),
                             format.GetPaddingX(), format.GetPaddingY())
                    .IsOK());
        PvFilterRGB balance;
        static_cast<void>(balance.WhiteBalance(&buffer));
        gains = {balance.GetGainR(), balance.GetGainG(), balance.GetGainB()};
        static_cast<void>(filter.Apply(&buffer));
        memory = std::move(copy);
    }
    friend bool operator==(const Filtered&, const Filtered&) = default;

    std::vector<std::uint8_t> memory;
    std::array<double, 3> gains{};
};

PvPixelType pixel_type(Source& source) { return pv_pixel_types[source.below(pv_pixel_types.size())]; }

PvFilterRGB rgb_filter(Source& source)
{
    PvFilterRGB filter;
    const auto gain = [&] { return (source.below(4096) - 50.0) / 100; };
    const auto offset = [&] { return static_cast<int>(source.below(1024)) - 512; };
    filter.SetGainR(gain());
    filter.SetGainG(gain());
    filter.SetGainB(gain());
    filter.SetOffsetR(offset());
    filter.SetOffsetG(offset());
    filter.SetOffsetB(offset());
    return filter;
}

/// What changes images besides converting them between given ones; only the last of these may change `in`.
void operate(PvBufferConverter& converter, Image& in, PvPixelType to, bool supported, const PvFilterRGB& filter,
             bool invert)
{
    const auto before = in.memory;
    PvBuffer sized;
    require(sized.GetImage()->Alloc(1, 1, to).IsOK());
    require(converter.Convert(&in.buffer, &sized, true).IsOK() == supported);

    PvFilterRGB balance;
    static_cast<void>(balance.WhiteBalance(&in.buffer));
    require(in.memory == before);
    PvFilterDeinterlace deinterlace;
    deinterlace.SetFieldInversion(invert);
    PvBuffer frame;
    require(deinterlace.Apply(&in.buffer, &in.buffer, &frame).IsOK());
    require(deinterlace.Apply(&in.buffer).IsOK());
    auto acting = filter;
    static_cast<void>(acting.Apply(&in.buffer));
    static_cast<void>(acting.Apply(&in.buffer, &frame));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static PvBufferConverter threads(3);
    Source source({data, size});
    const auto from = pixel_type(source);
    const auto to = pixel_type(source);
    const auto flags = source.byte();
    const bool large = flags >= 0xF8;  // enough to be shared among threads, and rare, as it takes long
    const auto width = large ? 470 + source.below(8) : 1 + source.below(40);
    const auto height = large ? 140 : 1 + source.below(24);
    const auto filter = rgb_filter(source);

    Image in(width, height, from, source);
    Image out(width, height, to, source);
    source.fill(in.memory);
    const auto before = in.memory;

    PvBufferConverter alone(1);
    for (auto* converter : {&alone, &threads}) {
        require(converter->SetBayerFilter((flags & 1) != 0 ? PvBayerFilter3X3 : PvBayerFilterSimple).IsOK());
        require(((flags & 2) != 0 ? converter->SetRGBFilter(filter) : converter->ResetRGBFilter()).IsOK());
    }
    static const auto targets = convert::simd::vector_targets();
    const auto target = targets.empty() ? convert::simd::plain_target : targets[flags / 8 % targets.size()];

    const bool supported = PvBufferConverter::IsConversionSupported(from, to);
    convert::simd::force_target(convert::simd::plain_target);
    require(alone.Convert(&in.buffer, &out.buffer).IsOK() == supported);
    require(in.memory == before && out.padding_untouched());
    if (!supported) {
        require(std::all_of(out.memory.begin(), out.memory.end(), [](auto byte) { return byte == untouched; }));
    }
    const auto plain = out.memory;
    convert::simd::force_target(target);
    for (auto* converter : {&alone, &threads}) {
        std::fill(out.memory.begin(), out.memory.end(), untouched);
        require(converter->Convert(&in.buffer, &out.buffer).IsOK() == supported);
        require(out.memory == plain);
    }

    require(Filtered(convert::simd::plain_target, filter, in) == Filtered(target, filter, in));

    if (large) {
        return 0;
    }
    operate(alone, in, to, supported, filter, (flags & 4) != 0);
    return 0;
}
