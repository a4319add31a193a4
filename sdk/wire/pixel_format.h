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
