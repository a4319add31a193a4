// The user's folder of descriptions and templates for serial cameras.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/base/PvResult.h"

namespace vex::genicp {

/// The folder that the environment variable VEX_CAMERALINK_FOLDER names, else VexKamCOMWrapper/CameraLink where the
/// system keeps the user's data: %APPDATA% on Windows, $XDG_DATA_HOME or ~/.local/share elsewhere. UTF-8; empty when
/// there is no such place. It need not exist.
[[nodiscard]] std::string camera_folder();

/// The names of the files in the folder that end in one of the suffixes (lower case; any case counts), in the order of
/// the alphabet. None for a folder that is not there.
[[nodiscard]] std::vector<std::string> files_of_folder(const std::string& folder,
                                                       std::span<const std::string_view> suffixes);

/// Reads a file of the folder, which may have up to `longest` bytes. NotFound, also for a name that leads out of the
/// folder; CannotOpenFile.
[[nodiscard]] PvResult read_file_of_folder(std::string_view name, const std::string& folder, std::size_t longest,
                                           std::vector<std::uint8_t>& bytes);

}  // namespace vex::genicp
