// The best of the descriptions that a device's manifest table lists.
#pragma once

#include <optional>

#include "sdk/base/PvResult.h"
#include "sdk/description/description_source.h"
#include "sdk/wire/manifest.h"

namespace vex::description {

/// Reads the table and chooses the file of the newest schema version that the node map knows, of several the newest
/// file, of several the first. `entry` stays empty when the table is none or lists nothing usable: files that are too
/// long, or of another major schema version. What reading reports is the device's answer.
PvResult choose_from_manifest(const DeviceMemory& device, std::optional<wire::manifest::Entry>& entry);

}  // namespace vex::description
