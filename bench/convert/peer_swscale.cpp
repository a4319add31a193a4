// The pixel format conversion of libswscale.
#include <array>
#include <memory>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include "bench/convert/peers.h"

namespace bench {
namespace {

AVPixelFormat pixel_format(PvPixelType type)
{
    switch (type) {
    case PvPixelMono8: return AV_PIX_FMT_GRAY8;
    case PvPixelMono10: return AV_PIX_FMT_GRAY10LE;
    case PvPixelMono12: return AV_PIX_FMT_GRAY12LE;
    case PvPixelMono14: return AV_PIX_FMT_GRAY14LE;
    case PvPixelMono16: return AV_PIX_FMT_GRAY16LE;
    case PvPixelRGB8Packed: return AV_PIX_FMT_RGB24;
    case PvPixelBGR8Packed: return AV_PIX_FMT_BGR24;
    case PvPixelRGBA8Packed: return AV_PIX_FMT_RGBA;
    case PvPixelBGRA8Packed: return AV_PIX_FMT_BGRA;
    case PvPixelYUV422Packed: return AV_PIX_FMT_UYVY422;
    case PvPixelYUV422YUYVPacked: return AV_PIX_FMT_YUYV422;
    case PvPixelBayerRG8: return AV_PIX_FMT_BAYER_RGGB8;
    default: return AV_PIX_FMT_NONE;
    }
}

}  // namespace

void add_swscale(const Task& task, Size size, unsigned threads, std::vector<Contestant>& peers)
{
    const auto from = pixel_format(task.from);
    const auto to = pixel_format(task.to);
    if (from == AV_PIX_FMT_NONE || to == AV_PIX_FMT_NONE || task.filter != PvBayerFilterSimple) {
        return;
    }
    const auto width = static_cast<int>(size.width);
    const auto height = static_cast<int>(size.height);
    std::shared_ptr<SwsContext> context(sws_alloc_context(), sws_freeContext);
    av_opt_set_int(context.get(), "srcw", width, 0);
    av_opt_set_int(context.get(), "srch", height, 0);
    av_opt_set_int(context.get(), "src_format", from, 0);
    av_opt_set_int(context.get(), "dstw", width, 0);
    av_opt_set_int(context.get(), "dsth", height, 0);
    av_opt_set_int(context.get(), "dst_format", to, 0);
    av_opt_set_int(context.get(), "sws_flags", SWS_POINT, 0);
    av_opt_set_int(context.get(), "threads", threads, 0);
    if (sws_init_context(context.get(), nullptr, nullptr) < 0) {
        return;
    }
    const int from_stride = width * static_cast<int>(PvImage::GetPixelBitCount(task.from)) / 8;
    const int to_stride = width * static_cast<int>(PvImage::GetPixelBitCount(task.to)) / 8;
    peers.push_back({"libswscale", [=](const Byte* source, Byte* destination) {
                         const std::array<const Byte*, 4> sources{source};
                         const std::array<Byte*, 4> destinations{destination};
                         const std::array<int, 4> source_strides{from_stride};
                         const std::array<int, 4> destination_strides{to_stride};
                         sws_scale(context.get(), sources.data(), source_strides.data(), 0, height, destinations.data(),
                                   destination_strides.data());
                     }});
}

}  // namespace bench
