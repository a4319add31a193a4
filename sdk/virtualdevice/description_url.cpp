#include "sdk/virtualdevice/description_url.h"

#include <cstdio>

namespace vex::virtual_device {

std::string local_url(std::string_view name, std::uint32_t address, std::size_t length)
{
    char numbers[32];
    std::snprintf(numbers, sizeof numbers, ";%X;%zX", static_cast<unsigned>(address), length);
    return "Local:" + std::string(name) + numbers;
}

Region memory_region(std::uint32_t address, std::string_view bytes)
{
    Region region;
    region.address = address;
    region.bytes.assign(bytes.begin(), bytes.end());
    region.bytes.resize((bytes.size() + 3) / 4 * 4);
    return region;
}

MacAddress made_up_mac(Ipv4Address address) noexcept
{
    const std::uint32_t v = address.value;
    return {{0x02, 0x56, static_cast<std::uint8_t>(v >> 24), static_cast<std::uint8_t>(v >> 16),
             static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v)}};
}

}  // namespace vex::virtual_device
