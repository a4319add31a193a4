// The pictures that the software camera sends, as a pure function of settings, block ID and position, so that a
// receiver can check every pixel without asking the camera.
//
// A pattern gives every sensor pixel a 16-bit RGB value. All pixel formats are sampled from that same scene: mono takes
// its luma, Bayer the one colour of its mosaic position, YUV a full-range BT.601 transform.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vex::test_pattern {

struct Rgb16 {
    std::uint16_t red = 0;
    std::uint16_t green = 0;
    std::uint16_t blue = 0;

    bool operator==(const Rgb16&) const = default;
};

/// The values are those of the camera's TestPattern feature.
enum class Pattern : std::uint32_t {
    card = 0,  ///< a card of 640x480 pixels, repeated: red, green, blue and white corners, a large F, a moving block
    black = 1,
    white = 2,
    grey_horizontal_ramp = 3,
    grey_vertical_ramp = 4,
    grey_horizontal_ramp_moving = 5,
    grey_vertical_ramp_moving = 6,
    color_bars = 7,             ///< the eight classic bars, 80 pixels wide each
    color_gradient_moving = 8,  ///< three ramps in different directions; every bit of every sample depends on position
};
inline constexpr std::uint32_t pattern_count = 9;

/// Moving patterns repeat after so many blocks, which lets a sender render them once.
inline constexpr std::uint64_t cycle = 16;

/// The scene at a sensor pixel.
[[nodiscard]] Rgb16 scene(Pattern pattern, std::uint64_t block_id, std::uint32_t x, std::uint32_t y) noexcept;

/// How the camera turns the scene into an image.
struct FrameSettings {
    Pattern pattern = Pattern::card;
    std::uint32_t pixel_format = 0x01080001;  // Mono8
    std::uint32_t sensor_width = 3840;
    std::uint32_t sensor_height = 2880;
    std::uint32_t binning_x = 1;  ///< sensor pixels averaged into one, in each direction
    std::uint32_t binning_y = 1;
    bool reverse_x = false;  ///< flips the binned image before the region is cut out of it
    bool reverse_y = false;
    std::uint32_t offset_x = 0;
    std::uint32_t offset_y = 0;
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    std::uint32_t gain = 65536;     ///< factor times 65536
    std::uint16_t black_level = 0;  ///< added after the gain, in 16-bit units

    bool operator==(const FrameSettings&) const = default;
};

/// The RGB value behind the image pixel (x, y), after binning, reversal, region, gain and black level.
[[nodiscard]] Rgb16 pixel(const FrameSettings& settings, std::uint64_t block_id, std::uint32_t x,
                          std::uint32_t y) noexcept;

/// Luma of a value, full range: (77 R + 150 G + 29 B) / 256.
[[nodiscard]] constexpr std::uint16_t luma(Rgb16 value) noexcept
{
    return static_cast<std::uint16_t>((77U * value.red + 150U * value.green + 29U * value.blue) >> 8);
}

/// True for the formats that render() knows.
[[nodiscard]] bool supports(std::uint32_t pixel_format) noexcept;

/// Bytes of an image; packed formats run on from line to line.
[[nodiscard]] std::size_t image_bytes(const FrameSettings& settings) noexcept;

/// Renders an image into `out`, which has image_bytes() bytes. The format must be one that supports() knows.
void render(const FrameSettings& settings, std::uint64_t block_id, std::span<std::uint8_t> out);

}  // namespace vex::test_pattern
