#include "sdk/convert/formats.h"

#include <algorithm>
#include <array>

namespace vex::convert {
namespace {

constexpr Format mono(PvPixelType type, Packing packing, std::uint8_t depth)
{
    Format format;
    format.type = type;
    format.packing = packing;
    format.depth = depth;
    return format;
}

constexpr Format bayer(PvPixelType type, Packing packing, std::uint8_t depth, std::uint8_t red_x, std::uint8_t red_y)
{
    Format format = mono(type, packing, depth);
    format.model = Model::bayer;
    format.red_x = red_x;
    format.red_y = red_y;
    return format;
}

enum Order : bool { red_first, blue_first };

constexpr Format rgb(PvPixelType type, Packing packing, std::uint8_t depth, Order order = red_first)
{
    Format format = mono(type, packing, depth);
    format.model = Model::rgb;
    format.blue_first = order == blue_first;
    return format;
}

constexpr Format rgba(PvPixelType type, Order order)
{
    Format format = rgb(type, Packing::quads, 8, order);
    format.alpha = true;
    return format;
}

constexpr Format yuv(PvPixelType type, Packing packing)
{
    Format format = mono(type, packing, 8);
    format.model = Model::yuv;
    return format;
}

constexpr Format windows(Format format)
{
    format.windows = true;
    return format;
}

constexpr Format destination(Format format)
{
    format.destination = true;
    return format;
}

constexpr std::array formats = {
    destination(mono(PvPixelMono8, Packing::bytes, 8)),
    mono(PvPixelMono8Signed, Packing::signed_bytes, 8),
    mono(PvPixelMono10, Packing::words, 10),
    mono(PvPixelMono10Packed, Packing::pairs, 10),
    mono(PvPixelMono12, Packing::words, 12),
    mono(PvPixelMono12Packed, Packing::pairs, 12),
    mono(PvPixelMono14, Packing::words, 14),
    destination(mono(PvPixelMono16, Packing::words, 16)),
    bayer(PvPixelBayerGR8, Packing::bytes, 8, 1, 0),
    bayer(PvPixelBayerRG8, Packing::bytes, 8, 0, 0),
    bayer(PvPixelBayerGB8, Packing::bytes, 8, 0, 1),
    bayer(PvPixelBayerBG8, Packing::bytes, 8, 1, 1),
    bayer(PvPixelBayerGR10, Packing::words, 10, 1, 0),
    bayer(PvPixelBayerRG10, Packing::words, 10, 0, 0),
    bayer(PvPixelBayerGB10, Packing::words, 10, 0, 1),
    bayer(PvPixelBayerBG10, Packing::words, 10, 1, 1),
    bayer(PvPixelBayerGR12, Packing::words, 12, 1, 0),
    bayer(PvPixelBayerRG12, Packing::words, 12, 0, 0),
    bayer(PvPixelBayerGB12, Packing::words, 12, 0, 1),
    bayer(PvPixelBayerBG12, Packing::words, 12, 1, 1),
    bayer(PvPixelBayerGR10Packed, Packing::pairs, 10, 1, 0),
    bayer(PvPixelBayerRG10Packed, Packing::pairs, 10, 0, 0),
    bayer(PvPixelBayerGB10Packed, Packing::pairs, 10, 0, 1),
    bayer(PvPixelBayerBG10Packed, Packing::pairs, 10, 1, 1),
    bayer(PvPixelBayerGR12Packed, Packing::pairs, 12, 1, 0),
    bayer(PvPixelBayerRG12Packed, Packing::pairs, 12, 0, 0),
    bayer(PvPixelBayerGB12Packed, Packing::pairs, 12, 0, 1),
    bayer(PvPixelBayerBG12Packed, Packing::pairs, 12, 1, 1),
    bayer(PvPixelBayerGR16, Packing::words, 16, 1, 0),
    bayer(PvPixelBayerRG16, Packing::words, 16, 0, 0),
    bayer(PvPixelBayerGB16, Packing::words, 16, 0, 1),
    bayer(PvPixelBayerBG16, Packing::words, 16, 1, 1),
    destination(rgb(PvPixelRGB8Packed, Packing::triples, 8)),
    destination(rgb(PvPixelBGR8Packed, Packing::triples, 8, blue_first)),
    destination(rgba(PvPixelRGBA8Packed, red_first)),
    destination(rgba(PvPixelBGRA8Packed, blue_first)),
    rgb(PvPixelRGB10Packed, Packing::word_triples, 10),
    rgb(PvPixelBGR10Packed, Packing::word_triples, 10, blue_first),
    rgb(PvPixelRGB12Packed, Packing::word_triples, 12),
    rgb(PvPixelBGR12Packed, Packing::word_triples, 12, blue_first),
    destination(rgb(PvPixelRGB16Packed, Packing::word_triples, 16)),
    rgb(PvPixelBGR10V1Packed, Packing::rgb10_v1, 10),
    rgb(PvPixelBGR10V2Packed, Packing::rgb10_v2, 10),
    rgb(PvPixelRGB12V1Packed, Packing::rgb12_v1, 12),
    yuv(PvPixelYUV411Packed, Packing::yuv411),
    destination(yuv(PvPixelYUV422Packed, Packing::uyvy)),
    destination(yuv(PvPixelYUV422YUYVPacked, Packing::yuyv)),
    destination(yuv(PvPixelYUV444Packed, Packing::yuv444)),
    destination(rgb(PvPixelRGB8Planar, Packing::planar_bytes, 8)),
    rgb(PvPixelRGB10Planar, Packing::planar_words, 10),
    rgb(PvPixelRGB12Planar, Packing::planar_words, 12),
    rgb(PvPixelRGB16Planar, Packing::planar_words, 16),
    destination(windows(rgb(PvPixelWinRGB16, Packing::rgb555, 5))),
    destination(windows(rgb(PvPixelWinRGB32, Packing::quads, 8, blue_first))),
    destination(windows(rgb(PvPixelWinRGB24, Packing::triples, 8, blue_first))),
    destination(windows(rgb(PvPixelWinBGR32, Packing::quads, 8))),
    destination(windows(rgb(PvPixelWinBGR24, Packing::triples, 8))),
};

constexpr bool in_order_of_the_types()
{
    for (std::size_t i = 0; i < formats.size(); ++i) {
        if (formats[i].type != pv_pixel_types[i]) {
            return false;
        }
    }
    return formats.size() == pv_pixel_types.size();
}
static_assert(in_order_of_the_types(), "every pixel type needs its row");

}  // namespace

const Format* find_format(PvPixelType type) noexcept
{
    const auto* found =
        std::find_if(formats.begin(), formats.end(), [type](const Format& format) { return format.type == type; });
    return found != formats.end() ? found : nullptr;
}

}  // namespace vex::convert
