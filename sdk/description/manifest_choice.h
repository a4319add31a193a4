// The best of the descriptions that a device's manifest table lists.
#pragma once

#include <cstdint>
#include <optional>

#include "sdk/base/PvResult.h"
#include "sdk/description/description_source.h"
#include "sdk/wire/manifest.h"

namespace vex::description {

/// Whether the node map knows a file of that schema version and takes one of that length in bytes.
[[nodiscard]] bool is_usable(const wire::manifest::Version& schema, std::uint64_t length) noexcept;

/// Reads the table and chooses the file of the newest schema version that the node map knows, of several the newest
/// file, of several the first. `entry` stays empty when the table is none or lists nothing usable: files that are too
/// long, or of another major schema version. What reading reports is the device's answer.
PvResult choose_from_manifest(const DeviceMemory& device, std::optional<wire::manifest::Entry>& entry);

}  // namespace vex::description
