// Picture files into buffers.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sdk/buffer/PvBuffer.h"

namespace pvctl {

/// The picture in a BMP (8, 24 or 32 bits, not compressed), PNG or TIFF file: Mono8 when it is grey, else RGB8. Deeper
/// pixels become 8 bits. Throws std::runtime_error with the file's name and the reason.
[[nodiscard]] std::unique_ptr<PvBuffer> read_picture(const std::string& name);

/// The files of a folder that read_picture knows by their extension, by name. Throws std::runtime_error when the folder
/// cannot be read.
[[nodiscard]] std::vector<std::string> pictures_in(const std::string& folder);

}  // namespace pvctl
