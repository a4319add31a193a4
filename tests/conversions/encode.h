// The scene in every pixel type, as a camera would send it. Shares no code with the converter: each type is written
// from its description.
#pragma once

#include <cstdint>
#include <vector>

#include "sdk/buffer/PvPixelType.h"
#include "tests/conversions/scene.h"

namespace sheet {

/// The image's bytes, lines without padding.
[[nodiscard]] std::vector<std::uint8_t> encode(const Scene& scene, PvPixelType type);

/// Grey of a colour, 16 bits.
[[nodiscard]] std::uint16_t grey_of(const Color& color);

}  // namespace sheet
