// The descriptions that the features of a serial device can be built from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/genicp/connection.h"
#include "sdk/wire/manifest.h"

namespace vex::genicp {

/// The identifier of the best description that the device has in its own memory. With ":0", ":1" and so on behind it,
/// of a certain entry of its manifest.
inline constexpr std::string_view device_description = "Device";

/// The entries of the device's manifest that can be used: GenApi 1.0 and 1.1, no more than a description may have.
/// NotFound for a device without a manifest; what reading reports.
[[nodiscard]] PvResult read_manifest(Connection& connection, std::vector<wire::manifest::LongEntry>& entries);

/// The identifiers of what can be built now: those of the device, where there is a connection (null: none), then the
/// names of the descriptions in the user's folder. When the manifest cannot be read, those of the folder, and why.
[[nodiscard]] PvResult list_descriptions(Connection* connection, const std::string& folder,
                                         std::vector<std::string>& identifiers);

/// Reads a description and unpacks it. An empty identifier means the device's best.
///
/// NotConnected for one of the device without a connection, NotFound, CannotOpenFile, GenICamXMLError for what cannot
/// be unpacked.
[[nodiscard]] PvResult read_description(Connection* connection, const std::string& folder, std::string_view identifier,
                                        std::string& xml);

}  // namespace vex::genicp
