// The IP configuration of a device as its bootstrap registers have it: what it has now, and what it takes when it
// starts.
#pragma once

#include <cstdint>
#include <optional>

#include "sdk/base/PvResult.h"
#include "sdk/base/address.h"
#include "sdk/control/control_channel.h"

namespace vex::control {

/// An address with its subnet; 0.0.0.0 for no gateway.
struct IpSettings {
    Ipv4Address address;
    Ipv4Address mask;
    Ipv4Address gateway;

    bool operator==(const IpSettings&) const = default;
};

/// OK, or why no device can have these settings: a mask that is none, an address that is not one host's in its subnet,
/// a gateway that the device could not reach. InvalidParameter.
PvResult check_ip_settings(const IpSettings& settings);

/// Of a device's first network interface.
struct IpConfiguration {
    std::uint32_t supported = 0;  ///< ways to an address that the device knows, wire::bootstrap::ip_configuration
    std::uint32_t enabled = 0;    ///< those that it takes, in the order persistent address, DHCP, link-local address
    IpSettings current;
    IpSettings persistent;  ///< zero where the device knows no persistent address
};

PvResult read_ip_configuration(ControlChannel& channel, IpConfiguration& configuration);

/// What is to be changed; what is empty stays as it is.
struct IpConfigurationChange {
    std::optional<IpSettings> persistent = std::nullopt;
    std::optional<bool> use_persistent = std::nullopt;
    std::optional<bool> use_dhcp = std::nullopt;
    std::optional<bool> use_link_local = std::nullopt;
};

/// Changes what the device takes when it starts, or restarts its IP configuration; its present address stays. The
/// channel needs control. `now` is what was read back.
///
/// InvalidParameter: settings that no device can have. NotSupported: the device does not know a way that is to be
/// switched on. Nothing is written then. StateError: the device did not keep what was written; devices may refuse to do
/// without a link-local address.
PvResult change_ip_configuration(ControlChannel& channel, const IpConfigurationChange& change, IpConfiguration& now);

}  // namespace vex::control
