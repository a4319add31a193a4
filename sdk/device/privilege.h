// The control channel privilege: who may write to a device.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"
#include "sdk/device/PvTypes.h"
#include "sdk/device/control_channel.h"

namespace device {

/// Takes the privilege. StateError, with the holder's address where the device tells it (`capability` is its GVCP
/// capability register), when another application has it. OK at once when `access` needs none.
PvResult take_privilege(ControlChannel& channel, PvAccessType access, std::uint32_t capability);

/// "by 192.168.0.7, port 50123", or "by another application" when the device does not tell.
[[nodiscard]] std::string holder_text(ControlChannel& channel, std::uint32_t capability);

}  // namespace device
