// Where a device keeps its GenICam description, and how it gets here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/base/address.h"

namespace vex::description {

/// A description as it was read, unpacked.
struct Description {
    std::string name;  ///< as the device calls it, ending in ".xml" whatever the packing
    std::string xml;
};

/// Where a description may be read from besides the device itself, and kept. Nowhere, unless the user says so.
struct DescriptionPlaces {
    std::string folder;              ///< of this computer, UTF-8; empty for none
    bool download = false;           ///< by HTTP, from the device itself
    bool download_anywhere = false;  ///< then also from any other server that the device names
    /// Keeps what was read from devices' own memory, UTF-8; empty for none. See description_cache.h.
    std::string cache_folder{};
};

/// The memory of a device, whatever connects it.
struct DeviceMemory {
    std::string name;           ///< of the device in failure texts, such as its address
    Ipv4Address address;        ///< of the device, where it may be downloaded from; 0.0.0.0 for a device without one
    bool has_manifest = false;  ///< lists its descriptions in a manifest table (GVCP capability)
    /// Fills `bytes` from this address on, or tells why not: NotConnected when there is no connection any more.
    std::function<PvResult(std::uint64_t address, std::span<std::uint8_t> bytes)> read;
};

/// Reads the description of a device with the bootstrap registers of GigE Vision: the best file of the manifest table
/// where there is one, else where the first URL leads, else the second. Of a file: URL only the file's name counts, and
/// the file is looked for in the user's folder; a file of that name there also saves a download.
///
/// NotSupported when the URLs lead out of the device and the user did not allow it, NotFound when the file is not where
/// it should be, CannotOpenFile, GenICamXMLError when what they lead to cannot be used; for downloads also what
/// http_get reports.
PvResult fetch_description(const DeviceMemory& device, const DescriptionPlaces& places, Description& description);

/// The most bytes that are read for a description, packed or not.
inline constexpr std::size_t largest_stored_description = std::size_t{16} << 20;

}  // namespace vex::description
