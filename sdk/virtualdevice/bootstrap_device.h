// What a device says of itself in its bootstrap registers.
#pragma once

#include <cstdint>
#include <string>

#include "sdk/base/address.h"

namespace vex::virtual_device {

/// The constant facts of a device, from which its bootstrap registers are made.
struct DeviceDescription {
    std::string manufacturer = "Vexkam";
    std::string model = "Virtual Device";
    std::string device_version = "1.0";
    std::string manufacturer_info;
    std::string serial_number;
    std::string user_defined_name;
    MacAddress mac;
    Ipv4Address address;
    Ipv4Address mask;
    Ipv4Address gateway;
    std::string first_url;            ///< where the GenICam description is: "Local:name.zip;ADDRESS;LENGTH"
    std::string second_url;           ///< empty when there is none
    std::uint32_t link_speed = 1000;  ///< Mbit/s

    unsigned stream_channels = 0;  ///< transmitting channels, at most 8
    unsigned action_signals = 0;   ///< at most 16
    bool message_channel = false;
    bool extended_ids = false;    ///< the 64-bit block ID mode can be enabled
    bool packet_resend = false;   ///< PACKETRESEND is served
    bool manifest_table = false;  ///< there is one; the owner adds its region at wire::bootstrap::manifest_table

    // Limits of the packet size register; a value outside is clamped, one between steps rounded down.
    std::uint32_t smallest_packet = 576;
    std::uint32_t largest_packet = 65000;
    std::uint32_t packet_step = 4;
    std::uint32_t default_packet_size = 1500;

    std::uint64_t timestamp_frequency = 1'000'000'000;  ///< Hz
};

/// A locally administered hardware address that is as distinct as the IPv4 address it is made from.
[[nodiscard]] MacAddress made_up_mac(Ipv4Address address) noexcept;

}  // namespace vex::virtual_device
