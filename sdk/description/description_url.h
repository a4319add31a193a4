// Where a device says that its GenICam description is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vex::description {

/// A description's location as a URL register gives it.
struct DescriptionUrl {
    enum class Scheme : std::uint8_t { local, file, http, unknown };

    Scheme scheme = Scheme::unknown;
    std::string text;           ///< as the device gave it
    std::string name;           ///< the file name, without folders
    std::uint32_t address = 0;  ///< local only
    std::uint32_t length = 0;   ///< local only, bytes
};

/// "Local:name.ext;ADDRESS;LENGTH[?SchemaVersion=a.b.c]" with hexadecimal numbers, and the other forms that devices
/// use: any case, "local:///", a prefix 0x, blanks. Empty when a local URL has no usable address and length, or the
/// text is empty.
[[nodiscard]] std::optional<DescriptionUrl> parse_description_url(std::string_view text);

/// The other way: "Local:NAME;ADDRESS;LENGTH", a file in the device's own memory.
[[nodiscard]] std::string local_url(std::string_view name, std::uint32_t address, std::size_t length);

}  // namespace vex::description
