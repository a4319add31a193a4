// Finds the device that an address, a name or a serial number stands for.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/control/connection.h"
#include "sdk/control/search_network.h"
#include "sdk/net/host_names.h"
#include "sdk/net/interfaces.h"

namespace vex::device {

/// Looking a device up and asking it for the first time take this long at most, within the second that a caller waits.
inline constexpr std::chrono::milliseconds opening_limit{900};

/// Fills in device, local and, where known, mac and hint of `target`, and the first request's time so that all keeps to
/// opening_limit. The text is, in this order: an IP address (no search, but for the interface where several fit); a MAC
/// address, a user-defined name or a serial number (searched on all interfaces); the name of a host. NotFound, or
/// InvalidParameter for an empty text and for one that several devices answer to.
PvResult look_up_device(std::string_view text, control::ConnectionTarget& target,
                        control::SearchNetwork& network = control::SearchNetwork::system(),
                        net::HostNames& names = net::HostNames::system());

/// What may be the cause when the device at this address does not answer; empty when the addresses fit.
[[nodiscard]] std::string reachability_hint(const net::Interface& host, const wire::gvcp::DiscoveryAcknowledge& facts);

}  // namespace vex::device
