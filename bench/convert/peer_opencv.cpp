// OpenCV's conversions of colour and depth.
#include <optional>

#include <opencv2/imgproc.hpp>

#include "bench/convert/peers.h"

namespace bench {
namespace {

struct Matrices {
    int from;
    int to;
};

int matrix_type(PvPixelType type)
{
    switch (PvImage::GetPixelBitCount(type)) {
    case 8: return CV_8UC1;
    case 16: return type == PvPixelYUV422Packed || type == PvPixelYUV422YUYVPacked ? CV_8UC2 : CV_16UC1;
    case 24: return CV_8UC3;
    default: return CV_8UC4;
    }
}

std::optional<int> color_code(const Task& task)
{
    const bool three = task.filter == PvBayerFilter3X3;
    struct Row {
        PvPixelType from, to;
        int code;
        bool applies = true;
    };
    const Row rows[] = {
        {PvPixelMono8, PvPixelBGRA8Packed, cv::COLOR_GRAY2BGRA},
        {PvPixelMono8, PvPixelRGB8Packed, cv::COLOR_GRAY2RGB},
        {PvPixelRGB8Packed, PvPixelBGRA8Packed, cv::COLOR_RGB2BGRA},
        {PvPixelRGB8Packed, PvPixelBGR8Packed, cv::COLOR_RGB2BGR},
        {PvPixelBGRA8Packed, PvPixelRGB8Packed, cv::COLOR_BGRA2RGB},
        {PvPixelBGRA8Packed, PvPixelRGBA8Packed, cv::COLOR_BGRA2RGBA},
        {PvPixelYUV422Packed, PvPixelBGRA8Packed, cv::COLOR_YUV2BGRA_UYVY},
        {PvPixelYUV422Packed, PvPixelBGR8Packed, cv::COLOR_YUV2BGR_UYVY},
        {PvPixelYUV422YUYVPacked, PvPixelBGRA8Packed, cv::COLOR_YUV2BGRA_YUY2},
        {PvPixelBayerRG8, PvPixelBGRA8Packed, cv::COLOR_BayerRGGB2BGRA, !three},
        {PvPixelBayerRG8, PvPixelBGR8Packed, cv::COLOR_BayerRGGB2BGR, !three},
        {PvPixelBayerRG8, PvPixelBGR8Packed, cv::COLOR_BayerRGGB2BGR_EA, three},
    };
    for (const auto& row : rows) {
        if (row.from == task.from && row.to == task.to && row.applies) {
            return row.code;
        }
    }
    return std::nullopt;
}

std::optional<double> depth_scale(const Task& task)
{
    if (task.to != PvPixelMono8 && task.to != PvPixelMono16) {
        return std::nullopt;
    }
    const double target = task.to == PvPixelMono16 ? 16 : 8;
    switch (task.from) {
    case PvPixelMono10: return std::exp2(target - 10);
    case PvPixelMono12: return std::exp2(target - 12);
    case PvPixelMono14: return std::exp2(target - 14);
    case PvPixelMono16: return std::exp2(target - 16);
    default: return std::nullopt;
    }
}

}  // namespace

void add_opencv(const Task& task, Size size, unsigned threads, std::vector<Contestant>& peers)
{
    const auto matrix = [size](const Byte* data, PvPixelType type) {
        return cv::Mat(static_cast<int>(size.height), static_cast<int>(size.width), matrix_type(type),
                       const_cast<Byte*>(data));
    };
    const auto workers = static_cast<int>(threads);
    if (const auto code = color_code(task)) {
        peers.push_back({"OpenCV", [=](const Byte* from, Byte* to) {
                             cv::setNumThreads(workers);
                             auto out = matrix(to, task.to);
                             cv::cvtColor(matrix(from, task.from), out, *code);
                         }});
    } else if (const auto scale = depth_scale(task)) {
        peers.push_back({"OpenCV", [=](const Byte* from, Byte* to) {
                             cv::setNumThreads(workers);
                             auto out = matrix(to, task.to);
                             matrix(from, task.from).convertTo(out, out.type(), *scale);
                         }});
    }
}

}  // namespace bench
