// What the camera keeps while it is switched off, in a file that the user names.
#pragma once

#include <string>

#include "sdk/virtualdevice/register_map.h"

namespace softcam {

/// The user-defined name and the persistent address configuration. The file has one "name = value" line for each; what
/// does not print in a name stands there as %XX. Without a file name nothing is kept.
class StateFile {
public:
    explicit StateFile(std::string path) : path_(std::move(path)) {}

    /// Puts what the file says into the registers; one that does not exist yet says nothing. Throws std::runtime_error
    /// for a file that cannot be read or understood, and has changed nothing then.
    void load(vex::virtual_device::RegisterMap& registers) const;

    /// Replaces the file as a whole; `error` when that fails, the old one stays then.
    [[nodiscard]] vex::virtual_device::Status save(const vex::virtual_device::RegisterMap& registers) const;

private:
    const std::string path_;
};

}  // namespace softcam
