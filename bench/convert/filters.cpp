#include "bench/convert/filters.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/convert/measure.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvFilterDeinterlace.h"
#include "sdk/convert/PvFilterRGB.h"

namespace bench {
namespace {

constexpr Size size{2048, 2048};

struct Type {
    const char* name;
    PvPixelType type;
};

constexpr Type types[] = {
    {"BayerRG8", PvPixelBayerRG8},
    {"BayerRG12", PvPixelBayerRG12},
    {"BayerRG12Packed", PvPixelBayerRG12Packed},
    {"RGB8", PvPixelRGB8Packed},
    {"BGRA8", PvPixelBGRA8Packed},
    {"RGB16", PvPixelRGB16Packed},
    {"BGR10V2Packed", PvPixelBGR10V2Packed},
};

void require(bool done)
{
    if (!done) {
        std::abort();
    }
}

void gains_and_offsets(PvBuffer& image)
{
    PvFilterRGB filter;
    filter.SetGainR(1.25);
    filter.SetGainB(0.75);
    filter.SetOffsetG(3);
    require(filter.Apply(&image).IsOK());
}

void white_balance(PvBuffer& image)
{
    PvFilterRGB filter;
    require(filter.WhiteBalance(&image).IsOK());
}

void deinterlace(PvBuffer& image)
{
    PvFilterDeinterlace filter;
    require(filter.Apply(&image).IsOK());
}

void print_speed(const char* filter, const Type& type, void (*apply)(PvBuffer&))
{
    PvBuffer image;
    require(image.GetImage()->Alloc(size.width, size.height, type.type).IsOK());
    const std::size_t bytes = image.GetSize();
    ColdBuffers buffers(bytes, bytes);
    const auto seconds =
        median_seconds({[&] {
                            auto* const pixels = const_cast<Byte*>(buffers.next().from);
                            require(image.GetImage()->Attach(pixels, size.width, size.height, type.type).IsOK());
                            apply(image);
                        },
                        [&] {
                            const auto pair = buffers.next_copy();
                            std::memcpy(pair.to, pair.from, bytes);
                        }},
                       15);
    const auto rate = [&](std::size_t i) { return static_cast<double>(size.pixels()) / seconds[i] / 1e6; };
    std::printf("%-18s %-16s %7.0f  %7.0f  %5.2f\n", filter, type.name, rate(0), rate(1), rate(0) / rate(1));
    std::fflush(stdout);
}

}  // namespace

void print_filters()
{
    std::printf("%-18s %-16s %7s  %7s  %5s\n", "filter", "pixel type", "Mpix/s", "memcpy", "frac");
    for (const auto& type : types) {
        print_speed("gains and offsets", type, gains_and_offsets);
    }
    for (const auto& type : types) {
        print_speed("white balance", type, white_balance);
    }
    for (const auto& type : {Type{"Mono8", PvPixelMono8}, Type{"UYVY", PvPixelYUV422Packed}}) {
        print_speed("deinterlace", type, deinterlace);
    }
}

}  // namespace bench
