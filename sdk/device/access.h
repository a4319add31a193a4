// What serial ports, configurations and streams need of a device beyond its public members: the connection.
#pragma once

#include <memory>

#include "sdk/control/connection.h"
#include "sdk/device/PvDevice.h"

namespace vex::device {

/// The live connection; null when there is none. Whoever holds it may go on using it from any thread: once the device
/// disconnects, every access fails.
[[nodiscard]] std::shared_ptr<control::Connection> connection_of(const PvDevice& device);

}  // namespace vex::device
