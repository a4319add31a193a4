// How a device offers its GenICam description, and a hardware address for devices that have none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/base/address.h"
#include "sdk/virtualdevice/register_map.h"

namespace vex::virtual_device {

/// "Local:NAME;ADDRESS;LENGTH", address and length in hexadecimal: a file in the device's own memory.
[[nodiscard]] std::string local_url(std::string_view name, std::uint32_t address, std::size_t length);

/// A read-only region with these bytes, padded with zeros to a multiple of 4.
[[nodiscard]] Region memory_region(std::uint32_t address, std::string_view bytes);

/// A locally administered hardware address that is as distinct as the IPv4 address it is made from.
[[nodiscard]] MacAddress made_up_mac(Ipv4Address address) noexcept;

}  // namespace vex::virtual_device
