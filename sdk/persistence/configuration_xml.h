// Configurations as XML, version 1: docs/configuration.md has the schema.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/persistence/configuration.h"

namespace vex::persistence {

/// What keeps a file from using up memory: bytes, tags (two for most elements), attributes, and elements in each other.
inline constexpr std::size_t largest_file = 64U << 20;
inline constexpr std::size_t most_tags = 4'000'000;
inline constexpr std::size_t most_attributes = 4'000'000;
inline constexpr int deepest_nesting = 32;

/// The same configuration gives the same text. Throws std::bad_alloc.
[[nodiscard]] std::string to_xml(const Configuration& configuration);

/// Reads what to_xml wrote, also by a version that has more elements and attributes, which are passed over.
///
/// BadVersion: of a later version. InvalidDataFormat, with the line and what is wrong there: no such XML, or more of it
/// than the limits above. `configuration` is left as it was by a failure. Throws std::bad_alloc.
[[nodiscard]] PvResult from_xml(std::string_view text, Configuration& configuration);

}  // namespace vex::persistence
