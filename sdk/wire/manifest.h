// The manifest table: the GenICam descriptions that a device holds, for hosts to choose from.
//
// It is at bootstrap::manifest_table of devices with capability::manifest_table: the number of entries in 64 bits, then
// the entries, in the layout that GenCP 1.3 gives its manifest, and in network byte order like every register.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/wire/bootstrap.h"

namespace vex::wire::manifest {

inline constexpr std::size_t count_size = 8;
inline constexpr std::size_t entry_size = 64;
/// As many as there is room for in front of the next table.
inline constexpr std::size_t most_entries =
    (bootstrap::action_group_key - bootstrap::manifest_table - count_size) / entry_size;

struct Version {
    unsigned major = 0;
    unsigned minor = 0;
    unsigned sub_minor = 0;

    auto operator<=>(const Version&) const = default;
};

enum class Format : std::uint8_t {
    xml = 0,
    zip = 1,
};

struct Entry {
    Version file;    ///< of the description itself
    Version schema;  ///< of what it is written in; without a sub-minor
    Format format = Format::xml;
    std::uint32_t address = 0;
    std::uint32_t length = 0;  ///< bytes, not 0
};

/// The same in a device whose memory has addresses of 64 bits.
struct LongEntry {
    Version file;
    Version schema;
    Format format = Format::xml;
    std::uint64_t address = 0;
    std::uint64_t length = 0;  ///< bytes, not 0
};

/// The number of entries; empty when there are none or more than a table can have.
[[nodiscard]] std::optional<std::size_t> decode_count(std::span<const std::uint8_t, count_size> bytes) noexcept;

/// Empty for a format that is none, and for a file that is empty or does not lie within 32 bits of address.
[[nodiscard]] std::optional<Entry> decode_entry(std::span<const std::uint8_t, entry_size> bytes) noexcept;

/// Empty for a format that is none, and for a file that is empty or goes beyond the last address.
[[nodiscard]] std::optional<LongEntry> decode_long_entry(std::span<const std::uint8_t, entry_size> bytes) noexcept;

/// The other way, for devices. The bytes after the length are 0.
void encode_count(std::size_t count, std::span<std::uint8_t, count_size> bytes) noexcept;
void encode_entry(const Entry& entry, std::span<std::uint8_t, entry_size> bytes) noexcept;

}  // namespace vex::wire::manifest
