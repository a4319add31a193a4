// Windows bitmap files: headers, palette, lines from the bottom up.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "sdk/convert/lines.h"

namespace vex::convert::bmp {

/// The headers and, for 8 bits a pixel, the grey palette of an uncompressed bitmap. Nothing when the file would reach 4
/// GiB or a side 2^31 pixels, which its fields cannot say.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> header(std::uint32_t width, std::uint32_t height,
                                                              unsigned bits_per_pixel);

/// Bytes of a line in the file.
[[nodiscard]] constexpr std::uint64_t line_bytes(std::uint32_t width, unsigned bits_per_pixel) noexcept
{
    return (std::uint64_t{width} * bits_per_pixel + 31) / 32 * 4;
}

}  // namespace vex::convert::bmp
