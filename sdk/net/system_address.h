// Addresses as the system's socket calls take them, the same on every system.
#pragma once

#ifdef _WIN32
#include <winsock2.h>
#else
#include <netinet/in.h>
#endif

#include "sdk/base/address.h"

namespace vex::net {

[[nodiscard]] inline in_addr to_system(Ipv4Address address) noexcept
{
    in_addr out{};
    out.s_addr = htonl(address.value);
    return out;
}

[[nodiscard]] inline sockaddr_in to_system(const Endpoint& endpoint) noexcept
{
    sockaddr_in out{};
    out.sin_family = AF_INET;
    out.sin_port = htons(endpoint.port);
    out.sin_addr = to_system(endpoint.address);
    return out;
}

[[nodiscard]] inline Endpoint from_system(const sockaddr_in& in) noexcept
{
    return {{ntohl(in.sin_addr.s_addr)}, ntohs(in.sin_port)};
}

}  // namespace vex::net
