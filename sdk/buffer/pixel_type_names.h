// The pixel types' names, for texts and command lines.
#pragma once

#include <optional>
#include <string_view>

#include "sdk/buffer/PvPixelType.h"

namespace vex {

/// The type's name without its prefix ("BayerRG12Packed", "WinRGB32"); empty for a code that is no pixel type.
[[nodiscard]] std::string_view pixel_type_name(PvPixelType type) noexcept;

/// The type of such a name, in letters of either case.
[[nodiscard]] std::optional<PvPixelType> pixel_type_of_name(std::string_view name) noexcept;

}  // namespace vex
