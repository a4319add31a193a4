#include <windows.h>

#include "sdk/base/PvString.h"
#include "sdk/genicp/camera_folder.h"

namespace vex::genicp {

namespace {

/// Empty for a variable that is not set.
std::string variable(const wchar_t* name)
{
    std::wstring value;
    DWORD size = GetEnvironmentVariableW(name, nullptr, 0);
    while (size > value.size()) {
        value.resize(size);
        size = GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
    }
    value.resize(size);
    return PvString(value.c_str()).str();
}

}  // namespace

std::string camera_folder()
{
    if (std::string chosen = variable(L"VEX_CAMERALINK_FOLDER"); !chosen.empty()) {
        return chosen;
    }
    const std::string data = variable(L"APPDATA");
    return data.empty() ? data : data + "\\VexKamCOMWrapper\\CameraLink";
}

}  // namespace vex::genicp
