// Pixel formats by name on the command line.
#pragma once

#include <string>

#include "sdk/buffer/PvPixelType.h"

namespace pvctl {

/// By its name ("BayerRG12Packed"), by the standard's name where that is another ("RGB8" for RGB8Packed), in letters of
/// either case, or by its code ("0x01080009"). Throws std::runtime_error, which lists the names, for an unknown one.
[[nodiscard]] PvPixelType pixel_type_named(const std::string& name);

/// All names, a line each, with code, bits a pixel and the standard's name.
void print_pixel_types();

}  // namespace pvctl
