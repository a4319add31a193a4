#include <cstdlib>

#include "sdk/genicp/camera_folder.h"

namespace vex::genicp {

namespace {

/// Empty for a variable that is not set.
std::string variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

std::string camera_folder()
{
    if (std::string chosen = variable("VEX_CAMERALINK_FOLDER"); !chosen.empty()) {
        return chosen;
    }
    std::string data = variable("XDG_DATA_HOME");
    if (data.empty()) {
        const std::string home = variable("HOME");
        data = home.empty() ? home : home + "/.local/share";
    }
    return data.empty() ? data : data + "/VexKamCOMWrapper/CameraLink";
}

}  // namespace vex::genicp
