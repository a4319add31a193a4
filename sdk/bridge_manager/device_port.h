// The serial ports of a device.
#pragma once

#include <memory>
#include <vector>

#include "sdk/bridge_manager/port.h"

class PvDevice;

namespace vex::bridge_manager {

/// The ports that the description of a device says it has, in the order of their numbers; none for a device that is not
/// connected. The device may be destroyed before them, though not while one of them is being started.
[[nodiscard]] std::vector<std::shared_ptr<Port>> ports_of(PvDevice& device);

}  // namespace vex::bridge_manager
