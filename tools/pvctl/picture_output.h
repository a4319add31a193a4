// Images of buffers into files of the usual kinds.
#pragma once

#include <string>

#include "sdk/convert/PvBufferConverter.h"

namespace pvctl {

/// "bmp", "png", "tiff" or "raw" by the extension of a name. Throws std::runtime_error for another one, with the
/// advice.
[[nodiscard]] std::string type_of_file(const std::string& name,
                                       const char* advice = "name it .bmp, .png, .tiff or .raw");

/// The image in another pixel type, in lines without padding. Throws std::runtime_error.
void convert_image(PvBufferConverter& converter, const PvBuffer& source, PvPixelType type, PvBuffer& destination);

/// Writes the image as a file of that type; raw has the buffer's bytes as they are. Throws std::runtime_error.
void save_image(const PvBuffer& source, const std::string& name, const std::string& type,
                PvBayerFilterType bayer = PvBayerFilter3X3);

}  // namespace pvctl
