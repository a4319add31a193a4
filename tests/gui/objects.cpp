#include "tests/gui/objects.h"

#include <span>
#include <utility>

#include "sdk/test_pattern/test_pattern.h"

namespace gui_test {

Image::Image(unsigned int width, unsigned int height, VexPixelType type, std::vector<unsigned char> bytes)
    : bytes_(std::move(bytes)), buffer_(create<IVexBuffer>(CLSID_VexBuffer))
{
    Ref<IVexImage> image;
    Ref<IVexResult> result;
    VARIANT_BOOL ok = 0;
    if (FAILED(buffer_->get_Image(image.put())) || !image ||
        FAILED(image->Attach(reinterpret_cast<INT_PTR>(bytes_.data()), width, height, type, 0, 0, result.put())) ||
        FAILED(result->get_IsOK(&ok)) || !ok) {
        std::fprintf(stderr, "An image of %u x %u pixels cannot be made\n", width, height);
        std::exit(1);
    }
}

Image quarters(unsigned int width, unsigned int height)
{
    constexpr unsigned char greys[2][2] = {{40, 90}, {140, 200}};
    std::vector<unsigned char> bytes;
    bytes.reserve(std::size_t{width} * height);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            bytes.push_back(greys[y * 2 / height][x * 2 / width]);
        }
    }
    return {width, height, VexPixelMono8, std::move(bytes)};
}

Image card(unsigned int width, unsigned int height)
{
    vex::test_pattern::FrameSettings settings;
    settings.pixel_format = VexPixelBayerRG8;
    settings.width = width;
    settings.height = height;
    std::vector<unsigned char> bytes(vex::test_pattern::image_bytes(settings));
    vex::test_pattern::render(settings, 7, std::span(bytes));
    return {width, height, VexPixelBayerRG8, std::move(bytes)};
}

}  // namespace gui_test
