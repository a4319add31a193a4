// Values of the camera's registers that more than one place must know.
#pragma once

#include <cstdint>

namespace softcam {

inline constexpr std::uint32_t sensor_width = 3840;
inline constexpr std::uint32_t sensor_height = 2880;
inline constexpr std::uint32_t mono8 = 0x01080001;

inline constexpr std::uint32_t reverse_x_bit = 0x80000000;
inline constexpr std::uint32_t reverse_y_bit = 0x40000000;

inline constexpr std::uint32_t trigger_source_software = 0;
inline constexpr std::uint32_t trigger_source_action = 2;

inline constexpr std::uint32_t sensor_monochrome = 1;

enum class Colour { mono, mosaic, full };

[[nodiscard]] constexpr Colour colour_of(std::uint32_t pixel_format) noexcept
{
    if ((pixel_format >> 24) == 2) {
        return Colour::full;
    }
    const std::uint32_t id = pixel_format & 0xFFFF;
    return id <= 0x0007 ? Colour::mono : Colour::mosaic;
}

}  // namespace softcam
