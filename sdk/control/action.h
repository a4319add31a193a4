// ACTION commands: many devices do something at the same time.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/address.h"
#include "sdk/control/search_network.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/gvcp.h"

namespace vex::control {

struct ActionOptions {
    /// Empty: by broadcast to the subnet of each interface. limited_broadcast: to 255.255.255.255 on each interface,
    /// which also reaches devices whose address does not fit. Any other: to this device, or to this subnet by its
    /// broadcast address, on the interface in whose subnet it is.
    std::optional<Ipv4Address> destination = std::nullopt;
    /// Devices are asked to acknowledge. Devices that the action does not mean never do.
    bool acknowledge = true;
    /// How many devices are to acknowledge; the wait ends as soon as they have. 0: not known, the wait takes its time.
    std::size_t expected = 0;
    std::chrono::milliseconds timeout{500};
};

/// What one device answered.
struct ActionAnswer {
    std::size_t interface_index = 0;  ///< among those that the action was sent on
    Ipv4Address device;
    wire::gvcp::Status status{};
};

struct ActionReport {
    std::size_t sent = 0;               ///< interfaces that the action was sent on
    std::vector<ActionAnswer> answers;  ///< one for each device, in the order of arrival
};

/// Sends the command once on each interface: a device may do twice what it is told twice. Devices act when their device
/// key, group key and group mask fit and an application controls them, or when they act unconditionally.
///
/// OK: sent and, where acknowledges are wanted, given by `expected` devices with success and by no device with
/// anything else. InvalidParameter: the group mask is 0 and so means no device. NetworkError: sent on no interface.
/// Timeout: fewer devices than expected acknowledged in time. StateError: a device acknowledged with a failure, which
/// comes before a Timeout. `report` is filled in all cases but the first.
PvResult send_action(const wire::gvcp::Action& action, const ActionOptions& options,
                     std::span<const net::Interface> hosts, SearchNetwork& network, ActionReport& report);

}  // namespace vex::control
