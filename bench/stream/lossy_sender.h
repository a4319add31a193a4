// A sender that loses packets on purpose and sends them again when it is asked to, as a camera does.
#pragma once

#include <cstdint>

#include "bench/stream/load.h"

namespace bench {

/// Sends blocks until the process is killed, at the load's rate or as fast as it can; answers requests at the camera's
/// control port in between. What is sent again can be lost again.
[[noreturn]] void run_lossy_sender(const Load& load, Progress& progress, std::uint16_t port);

}  // namespace bench
