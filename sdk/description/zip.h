// Descriptions as devices store them: XML text, or that text in a ZIP archive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "sdk/genapi/errors.h"

namespace vex::description {

struct ZipLimits {
    std::size_t largest_text = std::size_t{64} << 20;  ///< bytes after unpacking
    /// Unpacked to packed size; beyond it, and beyond 1 MiB unpacked, an archive is taken for a bomb. Real
    /// descriptions stay below 40.
    std::size_t largest_ratio = 200;
};

/// The bytes start as a ZIP archive does.
[[nodiscard]] bool is_zip(std::span<const std::uint8_t> bytes) noexcept;

/// The archive's only file, or the first whose name ends in ".xml"; stored or deflated, its check sum verified. Bytes
/// after the archive are ignored. Throws DescriptionError that names the cause.
[[nodiscard]] std::string unzip_description(std::span<const std::uint8_t> archive, const ZipLimits& limits = {});

/// The XML text of a description as read from a device, packed or not. Throws GenApi::DescriptionError.
[[nodiscard]] std::string load_description(std::span<const std::uint8_t> bytes, const ZipLimits& limits = {});

}  // namespace vex::description
