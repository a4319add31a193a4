// FORCEIP: gives a device an address by its MAC address, wherever it is.
#pragma once

#include <chrono>
#include <span>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/control/search_network.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/gvcp.h"

namespace vex::control {

/// The settings from texts; see PvDevice::SetIPConfiguration for what is accepted and what stands for an empty text.
PvResult parse_ip_configuration(const PvString& mac, const PvString& address, const PvString& mask,
                                const PvString& gateway, std::span<const net::Interface> hosts,
                                wire::gvcp::ForceIp& settings);

/// Sends the settings on all interfaces at the same time until a device acknowledges, or is found with them.
PvResult force_ip(const wire::gvcp::ForceIp& settings, std::span<const net::Interface> hosts,
                  SearchNetwork& network = SearchNetwork::system());

}  // namespace vex::control
