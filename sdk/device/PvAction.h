// PvAction: what many cameras do at the same time, see PvSystem::SendAction.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sdk/base/PvString.h"

/// An action command and whom it is for.
struct PvAction {
    std::uint32_t device_key = 0;       ///< devices with this device key
    std::uint32_t group_key = 0;        ///< and, for one of their actions, this group key
    std::uint32_t group_mask = 1;       ///< and a bit of this in the group mask of that action; not 0
    std::optional<std::uint64_t> time;  ///< when, by the device's own clock and in its ticks; empty for at once

    /// Empty: by broadcast to the subnet of each interface. "255.255.255.255": by broadcast to all on each interface.
    /// Any other address: to this device or subnet.
    PvString destination;
    /// Only on this interface of the host, by its IP address; empty for all.
    PvString interface_address;

    bool acknowledge = true;      ///< devices are asked to acknowledge
    std::uint32_t expected = 0;   ///< how many devices are to acknowledge; 0: not known, then the timeout is waited for
    std::uint32_t timeout = 500;  ///< ms that acknowledges are awaited
};

/// What one device answered to an action.
struct PvActionAcknowledge {
    PvString address;          ///< of the device
    std::uint16_t status = 0;  ///< the GVCP status code; 0 for success
    PvString status_text;      ///< in words
};
