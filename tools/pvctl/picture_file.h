// Pictures as files of the usual kinds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sdk/buffer/PvBuffer.h"

namespace pvctl {

/// Pixels as picture libraries take them: channels side by side, 8 or 16 bits each in the machine's byte order.
struct Picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned channels = 1;  ///< 1 grey, 3 red green blue, 4 with alpha
    unsigned bits = 8;      ///< of a channel
    const std::uint8_t* pixels = nullptr;
    std::size_t stride = 0;  ///< bytes from line to line
};

/// The whole file. Both throw std::runtime_error with the library's reason.
[[nodiscard]] std::vector<std::uint8_t> png_of(const Picture& picture);
[[nodiscard]] std::vector<std::uint8_t> tiff_of(const Picture& picture);

/// The pixel type in which a picture of that source keeps everything the source has: grey for monochrome types, colour
/// for others, alpha where it means something, 16 bits where the source has more than 8.
[[nodiscard]] PvPixelType picture_type(PvPixelType source);
/// The picture in a buffer of such a type. Valid as long as the buffer's memory.
[[nodiscard]] Picture picture_in(const PvBuffer& buffer);

/// Writes a file that appears under its name only when it is whole. Throws std::runtime_error.
void write_file(const std::string& name, const std::vector<std::uint8_t>& bytes);

}  // namespace pvctl
