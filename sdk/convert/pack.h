// The last stage: channels of 8 or 16 bits into a line of a pixel type.
#pragma once

#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"

namespace vex::convert {

/// For formats of up to 8 bits a channel. Every packing of that depth but YUV411. Writes no byte beyond the line's
/// pixels.
void pack_line(const Format& format, const Channels<const std::uint8_t>& from, std::size_t width,
               const PackedLine<std::uint8_t>& to) noexcept;
/// For formats of more than 8 bits a channel.
void pack_line(const Format& format, const Channels<const std::uint16_t>& from, std::size_t width,
               const PackedLine<std::uint8_t>& to) noexcept;

}  // namespace vex::convert
