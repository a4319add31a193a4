// The control channel privilege: who may write to a device.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"
#include "sdk/control/control_channel.h"

namespace vex::control {

/// The application that holds the privilege, as the device tells it. With a translation of addresses on the way it is
/// not what that application takes for its own, so it is only ever compared with what the device said before.
using PrivilegeHolder = Endpoint;

/// Who holds the privilege; empty when the device does not tell.
[[nodiscard]] std::optional<PrivilegeHolder> read_holder(ControlChannel& channel, std::uint32_t capability);

/// A controller that lost the link and comes back from the same port: the device may not have missed it.
struct Returning {
    std::optional<PrivilegeHolder> holder;  ///< what the device said when it granted control
};

/// Handing control over by a key that both sides know (primary application switch-over, from GigE Vision 1.1).
struct Switchover {
    std::uint16_t key = 0;
    bool take_over =
        false;           ///< the key is shown to the device, in case that another application allows it to take control
    bool allow = false;  ///< an application that shows the key may take control from this one
};

/// Takes the privilege. StateError, with the holder's address where the device tells it (`capability` is its GVCP
/// capability register), when another application has it. OK at once when `access` needs none.
///
/// `returning`, null for everybody else: a privilege that the device still has for this side is taken up again, and
/// `kept` says so.
///
/// With `switchover.take_over`, control is taken from another application where that allows it. What it allowed is over
/// then.
PvResult take_privilege(ControlChannel& channel, PvAccessType access, std::uint32_t capability,
                        const Switchover& switchover, const Returning* returning, bool& kept);
/// The same for whoever does not return and knows no key.
PvResult take_privilege(ControlChannel& channel, PvAccessType access, std::uint32_t capability);

/// Lets other applications take control, which this side has, when they know the key. NotSupported when the device
/// does not know switch-over.
PvResult allow_switchover(ControlChannel& channel, std::uint16_t key, std::uint32_t capability);

/// "192.168.0.7, port 50123".
[[nodiscard]] std::string text_of(const PrivilegeHolder& holder);

}  // namespace vex::control
