// The scene on the sheet: something of everything that conversions get wrong.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace sheet {

/// Red, green and blue, 16 bits each.
using Color = std::array<std::uint16_t, 3>;

struct Scene {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<Color> pixels;

    [[nodiscard]] const Color& at(std::uint32_t x, std::uint32_t y) const { return pixels[std::size_t{y} * width + x]; }
};

/// A sky that darkens downwards, a shaded red ball, a chequered square, a ramp of grey and the eight bars of full
/// colours. Drawn with whole numbers only, so that it is the same everywhere.
[[nodiscard]] Scene draw_scene();

}  // namespace sheet
