// The images that the benchmarks of the display show: what a camera sends, moving.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/test_pattern/test_pattern.h"

namespace bench {

constexpr std::uint32_t image_width = 1920;
constexpr std::uint32_t image_height = 1080;

/// So many that none of them is still in a cache when its turn comes again.
[[nodiscard]] inline std::vector<std::unique_ptr<PvBuffer>> bayer_images()
{
    constexpr std::uint64_t images = 16;
    vex::test_pattern::FrameSettings settings;
    settings.pattern = vex::test_pattern::Pattern::color_gradient_moving;
    settings.pixel_format = PvPixelBayerRG8;
    settings.width = image_width;
    settings.height = image_height;
    std::vector<std::unique_ptr<PvBuffer>> made;
    for (std::uint64_t block = 1; block <= images; ++block) {
        made.push_back(std::make_unique<PvBuffer>());
        PvBuffer& buffer = *made.back();
        if (!buffer.GetImage()->Alloc(image_width, image_height, PvPixelBayerRG8).IsOK()) {
            return {};
        }
        vex::test_pattern::render(settings, block, std::span(buffer.GetDataPointer(), buffer.GetSize()));
    }
    return made;
}

}  // namespace bench
