// The first stage: a line of any pixel type into channels of 8 or 16 bits.
#pragma once

#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"

namespace vex::convert {

/// For formats of up to 8 bits a channel.
void unpack_line(const Format& format, const PackedLine<const std::uint8_t>& from, std::size_t width,
                 const Channels<std::uint8_t>& to) noexcept;
/// For formats of more than 8 bits a channel.
void unpack_line(const Format& format, const PackedLine<const std::uint8_t>& from, std::size_t width,
                 const Channels<std::uint16_t>& to) noexcept;

}  // namespace vex::convert
