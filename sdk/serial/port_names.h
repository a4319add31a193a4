// The names of a device's ports, as its description and failures have them.
#pragma once

#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"

class PvDevice;

namespace vex::serial {

/// "Serial0", "Serial1", "Bulk0" to "Bulk7"; empty for what is no port.
[[nodiscard]] std::string name_of(PvIPEngineSerial port);

/// InvalidParameter, with words, for a device that is null and for what is no port.
[[nodiscard]] PvResult check_opening(const PvDevice* device, PvIPEngineSerial port);

/// What the names of a port's features begin with.
[[nodiscard]] inline std::string feature_prefix(const std::string& port_name) { return "IPEngine" + port_name; }

}  // namespace vex::serial
