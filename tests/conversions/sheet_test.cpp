// One scene in every pixel type, each brought to RGB by the converter, side by side on a sheet that people look at.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/pixel_type_names.h"
#include "sdk/convert/PvBufferConverter.h"
#include "tests/conversions/encode.h"
#include "tests/conversions/label.h"
#include "tests/conversions/scene.h"

using namespace vex;

namespace {

using namespace sheet;
using Bytes = std::vector<std::uint8_t>;

/// How far a value of the sheet may be from the kept one's, of 255: room for another rounding, not for another method.
constexpr int tolerance = 2;

/// RGB, 8 bits each.
struct Picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Bytes rgb;

    [[nodiscard]] std::uint8_t* at(std::uint32_t x, std::uint32_t y)
    {
        return rgb.data() + (std::size_t{y} * width + x) * 3;
    }
};

Picture picture_of(const Scene& scene, bool grey)
{
    Picture picture{scene.width, scene.height, {}};
    for (const auto& pixel : scene.pixels) {
        for (const auto value : pixel) {
            picture.rgb.push_back(static_cast<std::uint8_t>((grey ? grey_of(pixel) : value) >> 8));
        }
    }
    return picture;
}

/// The scene sent in one type, taken for `type` and converted to RGB.
Picture converted(const Scene& scene, PvPixelType type, PvPixelType sent)
{
    PvBuffer source;
    PvBuffer destination;
    auto bytes = encode(scene, sent);
    EXPECT_TRUE(source.GetImage()->Alloc(scene.width, scene.height, type).IsOK());
    EXPECT_EQ(bytes.size(), source.GetSize()) << pixel_type_name(type);
    bytes.resize(source.GetSize());
    std::memcpy(source.GetDataPointer(), bytes.data(), bytes.size());
    EXPECT_TRUE(destination.GetImage()->Alloc(scene.width, scene.height, PvPixelRGB8Packed).IsOK());
    PvBufferConverter converter;
    EXPECT_TRUE(converter.SetBayerFilter(PvBayerFilter3X3).IsOK());
    const auto result = converter.Convert(&source, &destination);
    EXPECT_TRUE(result.IsOK()) << result.description();
    return {scene.width, scene.height,
            Bytes(destination.GetDataPointer(), destination.GetDataPointer() + destination.GetSize())};
}

Picture converted(const Scene& scene, PvPixelType type) { return converted(scene, type, type); }

/// Peak signal to noise ratio in dB; 99 for equal pictures.
double psnr(const Picture& a, const Picture& b)
{
    double sum = 0;
    for (std::size_t i = 0; i < a.rgb.size(); ++i) {
        sum += std::pow(int{a.rgb[i]} - int{b.rgb[i]}, 2);
    }
    return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.rgb.size()) / sum);
}

class Sheet {
public:
    Sheet(std::uint32_t tile_width, std::uint32_t tile_height, std::uint32_t tiles)
        : tile_width_(tile_width), tile_height_(tile_height),
          picture_{gap + columns * step_x(), gap + (tiles + columns - 1) / columns * step_y(), {}}
    {
        picture_.rgb.assign(std::size_t{3} * picture_.width * picture_.height, 255);
    }

    void add(const std::string& label, Picture tile)
    {
        const auto left = gap + next_ % columns * step_x();
        const auto top = gap + next_ / columns * step_y();
        ++next_;
        draw_text(label, [&](std::uint32_t x, std::uint32_t y) {
            if (x < tile_width_) {
                std::memset(picture_.at(left + x, top + y), 0, 3);
            }
        });
        for (std::uint32_t y = 0; y < tile.height; ++y) {
            std::memcpy(picture_.at(left, top + label_height + y), tile.at(0, y), std::size_t{3} * tile.width);
        }
    }

    [[nodiscard]] const Picture& picture() const { return picture_; }

private:
    static constexpr std::uint32_t columns = 8;
    static constexpr std::uint32_t gap = 4;
    static constexpr std::uint32_t label_height = letter_height + 2;

    [[nodiscard]] std::uint32_t step_x() const { return tile_width_ + gap; }
    [[nodiscard]] std::uint32_t step_y() const { return tile_height_ + label_height + gap; }

    std::uint32_t tile_width_;
    std::uint32_t tile_height_;
    std::uint32_t next_ = 0;
    Picture picture_;
};

png_image png_header()
{
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    return header;
}

Picture read_png(const std::string& name)
{
    auto header = png_header();
    if (png_image_begin_read_from_file(&header, name.c_str()) == 0) {
        return {};
    }
    header.format = PNG_FORMAT_RGB;
    Picture picture{header.width, header.height, Bytes(PNG_IMAGE_SIZE(header))};
    return png_image_finish_read(&header, nullptr, picture.rgb.data(), 0, nullptr) != 0 ? picture : Picture{};
}

bool write_png(const std::string& name, const Picture& picture)
{
    auto header = png_header();
    header.width = picture.width;
    header.height = picture.height;
    header.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&header, name.c_str(), 0, picture.rgb.data(), 0, nullptr) != 0;
}

/// The least likeness to the scene, in dB, that a type allows: what is lost are bits, shared chroma or the colours that
/// a Bayer pixel lacks.
double least_psnr(std::string_view name)
{
    if (name.starts_with("Bayer")) {
        return 19.5;
    }
    if (name == "YUV411Packed") {
        return 24;
    }
    if (name.starts_with("YUV422")) {
        return 33;
    }
    if (name.starts_with("YUV444")) {
        return 51;
    }
    return name == "WinRGB16" ? 37 : 99;
}

TEST(PictureSheet, EveryPixelTypeShowsTheScene)
{
    const auto scene = draw_scene();
    for (const auto type : pv_pixel_types) {
        const auto name = pixel_type_name(type);
        const auto likeness = psnr(converted(scene, type), picture_of(scene, name.starts_with("Mono")));
        EXPECT_GE(likeness, least_psnr(name)) << name;
        RecordProperty(std::string(name), std::to_string(likeness));
    }
}

TEST(PictureSheet, AnotherPhaseOrOrderWouldShow)
{
    const auto scene = draw_scene();
    const auto original = picture_of(scene, false);
    const auto mistaken = [&](PvPixelType type, PvPixelType sent) {
        return psnr(converted(scene, type, sent), original) + 3 < least_psnr(pixel_type_name(type));
    };
    for (const auto type : {PvPixelBayerGR8, PvPixelBayerRG8, PvPixelBayerGB8, PvPixelBayerBG8}) {
        for (const auto sent : {PvPixelBayerGR8, PvPixelBayerRG8, PvPixelBayerGB8, PvPixelBayerBG8}) {
            EXPECT_EQ(mistaken(type, sent), type != sent) << pixel_type_name(type) << " " << pixel_type_name(sent);
        }
    }
    EXPECT_TRUE(mistaken(PvPixelRGB8Packed, PvPixelBGR8Packed));
    EXPECT_TRUE(mistaken(PvPixelYUV422Packed, PvPixelYUV422YUYVPacked));
    EXPECT_TRUE(mistaken(PvPixelBGR10V1Packed, PvPixelBGR10V2Packed));
}

TEST(PictureSheet, IsAsItWasKept)
{
    const auto scene = draw_scene();
    Sheet sheet(scene.width, scene.height, pv_pixel_types.size() + 1);
    sheet.add("the scene", picture_of(scene, false));
    for (const auto type : pv_pixel_types) {
        sheet.add(std::string(pixel_type_name(type)), converted(scene, type));
    }
    const auto& made = sheet.picture();
    const std::string made_name = VEX_MADE_FOLDER "/pixel_types.png";
    const std::string kept_name = VEX_DOCS_FOLDER "/images/pixel_types.png";
    ASSERT_TRUE(write_png(made_name, made));

    const auto kept = read_png(kept_name);
    const std::string advice = "; look at " + made_name + ", and if it is right, copy it to " + kept_name;
    ASSERT_EQ(kept.width, made.width) << advice;
    ASSERT_EQ(kept.height, made.height) << advice;
    int most = 0;
    for (std::size_t i = 0; i < made.rgb.size(); ++i) {
        most = std::max(most, std::abs(int{made.rgb[i]} - int{kept.rgb[i]}));
    }
    EXPECT_LE(most, tolerance) << advice;
}

}  // namespace
