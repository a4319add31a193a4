// Where a device keeps its GenICam description, and how it gets here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/device/control_channel.h"

namespace device {

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

/// A description as it was read, unpacked.
struct Description {
    std::string name;  ///< as the device calls it, ending in ".xml" whatever the packing
    std::string xml;
};

/// Reads the description that the device itself holds, trying its second URL when the first leads nowhere. NotSupported
/// when the URLs lead out of the device, GenICamXMLError when what they lead to cannot be used.
PvResult fetch_description(ControlChannel& channel, Description& description);

/// The most bytes that are read from a device for a description, packed or not.
inline constexpr std::size_t largest_stored_description = std::size_t{16} << 20;

}  // namespace device
