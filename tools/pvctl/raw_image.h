// The raw bytes of an image in a file, and what they mean.
#pragma once

#include <cstdint>
#include <string>

#include "sdk/buffer/PvBuffer.h"

namespace pvctl {

struct RawImage {
    std::string file;  ///< "-" for the standard input
    std::string format;
    std::uint32_t width = 0;      ///< pixels
    std::uint32_t height = 0;     ///< lines
    std::uint16_t padding_x = 0;  ///< bytes after each line
    std::uint16_t padding_y = 0;  ///< bytes after the last line
    std::uint64_t offset = 0;     ///< bytes before the image
};

/// Reads the image into a buffer. Throws std::runtime_error when there is no such file, or it is too short. Bytes after
/// the image are left alone, for files with several frames.
void read(const RawImage& source, PvBuffer& buffer);

}  // namespace pvctl
