// A file name of the public surface as the standard library wants it.
#pragma once

#include <filesystem>
#include <string>

#include "sdk/base/PvString.h"

namespace vex::description {

/// PvString is UTF-8 everywhere; a narrow path is not, on Windows.
[[nodiscard]] inline std::filesystem::path file_path(const PvString& name)
{
    return {std::u8string(name.view().begin(), name.view().end())};
}

}  // namespace vex::description
