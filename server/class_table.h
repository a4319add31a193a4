// The class table: one entry per class, in the order of server/classes.txt, from which its definition is generated.
#pragma once

#include <span>

#include "server/module.h"

namespace vex::server {

/// The classes of this DLL. The same entries on every call.
[[nodiscard]] std::span<ClassEntry> class_table() noexcept;

}  // namespace vex::server
