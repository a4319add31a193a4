// Descriptions of devices, kept in a folder of this computer so that the next connection need not read them again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vex::description {

/// What tells one description from another. Two devices whose texts are all the same hold the same file.
struct CacheKey {
    std::string vendor;
    std::string model;
    std::string device_version;
    std::string url;         ///< with its address, and with what it says of the version
    std::size_t length = 0;  ///< of the file, bytes
};

/// The file as it was read from the device, packed or not; empty when the folder (UTF-8) does not have it, or not
/// whole: its length, its check sum and the whole key are compared.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> read_cached(const std::string& folder, const CacheKey& key);

/// Keeps the file, in place of an older or damaged one. The folder must exist. Where it cannot be written nothing is
/// kept, which costs nothing but time at the next connection. `file` has the key's length.
void write_cached(const std::string& folder, const CacheKey& key, std::span<const std::uint8_t> file);

}  // namespace vex::description
