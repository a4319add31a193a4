// Over which interface this process talks to a peer, for whoever opens another socket towards the same peer.
#pragma once

#include "sdk/base/address.h"

namespace vex::net {

/// Says, for as long as it lives, that the process reaches `peer` from `local`. The system's routes do not tell when
/// two interfaces are in one subnet.
///
/// Thread safety: paths may be made and destroyed on any thread.
class KnownPath {
public:
    KnownPath(Ipv4Address peer, Ipv4Address local);
    KnownPath(const KnownPath&) = delete;
    KnownPath& operator=(const KnownPath&) = delete;
    ~KnownPath();
};

/// The local end of the newest path to `peer`; 0.0.0.0 when there is none.
[[nodiscard]] Ipv4Address known_local_address_towards(Ipv4Address peer);

}  // namespace vex::net
