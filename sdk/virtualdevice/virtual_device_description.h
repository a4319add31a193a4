// The GenICam description of PvVirtualDevice.
#pragma once

#include <string>

namespace vex::virtual_device {

[[nodiscard]] std::string virtual_device_description();

}  // namespace vex::virtual_device
