// Configurations from files.
#pragma once

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/persistence/configuration.h"

namespace vex::persistence {

/// CannotOpenFile; FileError: it cannot be read; InvalidParameter: no file name; otherwise as from_xml. The text of a
/// failure names the file. `configuration` is left as it was by a failure. Throws std::bad_alloc.
[[nodiscard]] PvResult load_configuration(const PvString& name, Configuration& configuration);

}  // namespace vex::persistence
