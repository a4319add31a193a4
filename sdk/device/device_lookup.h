// Finds the device that an address, a name or a serial number stands for.
#pragma once

#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/control/connection.h"
#include "sdk/control/search_network.h"
#include "sdk/net/interfaces.h"

namespace vex::device {

/// Fills in device, local and, where known, mac and hint of `target` for an IP address (no search), a MAC address, a
/// user-defined name or a serial number (searched on all interfaces). NotFound, or InvalidParameter for an empty text
/// and for one that several devices answer to.
PvResult look_up_device(std::string_view text, control::ConnectionTarget& target,
                        control::SearchNetwork& network = control::SearchNetwork::system());

/// What may be the cause when the device at this address does not answer; empty when the addresses fit.
[[nodiscard]] std::string reachability_hint(const net::Interface& host, const wire::gvcp::DiscoveryAcknowledge& facts);

}  // namespace vex::device
