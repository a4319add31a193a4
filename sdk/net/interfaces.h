// The host's IPv4 network interfaces.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sdk/base/address.h"

namespace vex::net {

/// One IPv4 address of one network adapter; an adapter with two addresses appears twice.
struct Interface {
    std::string id;           ///< stable name of the adapter ("eth0", an adapter GUID)
    std::string description;  ///< what a person calls it; UTF-8
    Ipv4Address address;
    Ipv4Address mask;
    Ipv4Address gateway;    ///< 0.0.0.0 when there is none or it is not known
    MacAddress mac;         ///< zero for loopback
    std::uint32_t mtu = 0;  ///< bytes; 0 when not known
    bool loopback = false;

    bool operator==(const Interface&) const = default;
};

/// All interfaces that are up and have an IPv4 address, loopback included, in the system's order.
/// Throws std::system_error when the system does not tell.
[[nodiscard]] std::vector<Interface> list_interfaces();

/// The system's number of the adapter that has the address; 0 for loopback, and when none or several have it.
[[nodiscard]] std::uint32_t interface_index_of(Ipv4Address address) noexcept;

/// The local address from which the system would reach `destination`; 0.0.0.0 when there is no route.
[[nodiscard]] Ipv4Address local_address_towards(Ipv4Address destination) noexcept;

/// Whether what is sent from a local address (0.0.0.0: whichever the routes choose) to `destination` leaves by an
/// adapter with a network device behind it: not over loopback, as everything between addresses of this host does, and
/// not by an adapter that consists of software alone, such as a virtual cable, a bridge or a tunnel. False where it is
/// not known.
[[nodiscard]] bool reaches_device(Ipv4Address source, Ipv4Address destination) noexcept;

}  // namespace vex::net
