// A file name of the public surface as the standard library wants it.
#pragma once

#include <filesystem>
#include <string>

#include "sdk/base/PvString.h"

namespace vex::description {

/// PvString is UTF-8 everywhere; a narrow path is not, on Windows. A name there may be any UTF-16.
[[nodiscard]] inline std::filesystem::path file_path(const PvString& name)
{
#ifdef _WIN32
    return {name.GetWide()};
#else
    return {name.str()};
#endif
}

}  // namespace vex::description
