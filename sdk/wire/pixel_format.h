// Pixel format codes of GigE Vision and what can be told from them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vex::wire {

/// Bits that one pixel occupies, from the code itself, so that unknown formats can be sized too.
[[nodiscard]] constexpr unsigned bits_per_pixel(std::uint32_t pixel_format) noexcept
{
    return (pixel_format >> 16) & 0xFF;
}

/// The most bits that a pixel of a well-formed code occupies: four components of 32 bits.
inline constexpr unsigned most_bits_per_pixel = 128;

/// Whether a code, with a name or without, can be that of a pixel format: bits 24 to 30 tell one component (1) or
/// several (2) and bits 16 to 23 a size from 1 to `most_bits_per_pixel`. Bit 31 marks formats of a maker's own; the
/// identifier in bits 0 to 15 may be any. (GenICam Pixel Format Naming Convention, pixel format values)
[[nodiscard]] constexpr bool is_well_formed(std::uint32_t pixel_format) noexcept
{
    const std::uint32_t kind = (pixel_format >> 24) & 0x7F;
    const unsigned bits = bits_per_pixel(pixel_format);
    return (kind == 1 || kind == 2) && bits >= 1 && bits <= most_bits_per_pixel;
}

[[nodiscard]] constexpr bool is_color(std::uint32_t pixel_format) noexcept { return (pixel_format >> 24) == 0x02; }

/// Bytes of one line without padding; a last partial byte counts whole.
[[nodiscard]] constexpr std::uint64_t line_bytes(std::uint32_t pixel_format, std::uint32_t width) noexcept
{
    return (std::uint64_t{width} * bits_per_pixel(pixel_format) + 7) / 8;
}

/// The standard's name of a format ("BayerRG8"), the older GigE Vision spelling for the packed ones ("Mono12Packed");
/// empty for a code that has none.
[[nodiscard]] std::string_view pixel_format_name(std::uint32_t pixel_format) noexcept;
/// The code of a name; both spellings are known where there are two.
[[nodiscard]] std::optional<std::uint32_t> pixel_format_of_name(std::string_view name) noexcept;

}  // namespace vex::wire
