// Socket filters (classic BPF) that part a stream's packets between a packet ring and the socket, or keep all of them
// out. Only for this folder.
#pragma once

#include <cstdint>
#include <system_error>

#include "sdk/base/address.h"

namespace vex::net {

/// The packets that a ring takes.
struct RingTraffic {
    std::uint32_t interface_index = 0;
    Ipv4Address source;
    Endpoint destination;  ///< address 0.0.0.0: any
};

/// Lets a packet socket receive these packets and no others: what arrives for this host on the interface itself, not on
/// a virtual network above it (VLAN), and not what the host sends.
std::error_code accept_only(int packet_socket, const RingTraffic& traffic) noexcept;

/// Keeps from a UDP socket what accept_only gives to a ring, and nothing else.
std::error_code leave_to_ring(int udp_socket, const RingTraffic& traffic) noexcept;
/// Keeps everything that arrives from a UDP socket.
std::error_code refuse_all(int udp_socket) noexcept;
/// Ends the work of either.
void take_again(int udp_socket) noexcept;

}  // namespace vex::net
