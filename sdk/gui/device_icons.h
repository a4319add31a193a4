// The icons of a list of devices.
#pragma once

#include "sdk/gui/theme.h"

namespace vex::gui {

/// Tells by its colour how a device stands to this computer. The order of the images.
enum class DeviceIcon : int {
    available,
    in_use,  ///< another application controls it
    astray,  ///< its address does not fit the interface's subnet
};
inline constexpr int device_icon_count = 3;

/// An image list with an image for each, for a theme's colours and its screen; null where the system makes none. The
/// caller owns it: a list view that it is given to takes it over.
[[nodiscard]] HIMAGELIST make_device_icons(const Theme& theme);

}  // namespace vex::gui
