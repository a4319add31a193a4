// Over which interface this process talks to a peer, for whoever opens another socket towards the same peer.
#pragma once

#include <cstdint>

#include "sdk/base/address.h"

namespace vex::net {

/// Says, for as long as it lives, that the process reaches `peer` from `local`, and whether it controls it. The
/// system's routes do not tell the interface when two are in one subnet.
///
/// Thread safety: paths may be made and destroyed on any thread.
class KnownPath {
public:
    KnownPath(Ipv4Address peer, Ipv4Address local, bool controls = false);
    KnownPath(const KnownPath&) = delete;
    KnownPath& operator=(const KnownPath&) = delete;
    ~KnownPath();
};

/// The local end of the newest path to `peer`; 0.0.0.0 when there is none.
[[nodiscard]] Ipv4Address known_local_address_towards(Ipv4Address peer);

/// Whether this process controls `peer` over one of the paths.
[[nodiscard]] bool is_controlled_from_here(Ipv4Address peer);

/// Notes the port that `peer` sends a stream channel from, for as long as there is a path to it; 0 forgets it.
void note_stream_source(Ipv4Address peer, std::uint32_t channel, std::uint16_t port);
/// That port; 0 when it is not known.
[[nodiscard]] std::uint16_t known_stream_source(Ipv4Address peer, std::uint32_t channel);

/// The same for the size of a channel's packets, from the IP header on, that was negotiated with `peer`.
void note_packet_size(Ipv4Address peer, std::uint32_t channel, std::uint32_t size);
[[nodiscard]] std::uint32_t known_packet_size(Ipv4Address peer, std::uint32_t channel);

}  // namespace vex::net
