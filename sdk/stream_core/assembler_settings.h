// How long a stream waits for packets.
#pragma once

#include <chrono>

#include "sdk/net/clock.h"

namespace vex::stream {

struct AssemblerSettings {
    /// A block that lacks packets is given up when none came for this long.
    net::Clock::duration retention = std::chrono::milliseconds(100);
    /// A block that lacks nothing but its tail, and is the newest, may pause this long; devices with slow lines do.
    net::Clock::duration pause = std::chrono::milliseconds(1000);
    /// A block that lacks packets is given up this long after its last one when a later block is complete already.
    net::Clock::duration reordering = std::chrono::milliseconds(2);
};

}  // namespace vex::stream
