// The receive backends of the system that this was built for. Only for this folder.
#pragma once

#include <vector>

#include "sdk/net/receive_backends.h"

namespace vex::net {

/// In order of preference; the last one serves every path.
[[nodiscard]] std::vector<SharedBackend> system_backends();

}  // namespace vex::net
