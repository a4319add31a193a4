// UDP datagrams in IPv4 packets, as a receiver sees them that stands below the system's own protocols.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/address.h"

namespace vex::net {

struct Ipv4Udp {
    std::span<const std::uint8_t> payload;
    Endpoint source;
    Endpoint destination;
};

/// Reads a packet that begins with its IPv4 header and may be followed by padding (RFC 791, RFC 768). Nothing for a
/// fragment, another protocol, lengths that contradict each other, or a wrong checksum. `check_data` false trusts the
/// checksum over the data: a network card has checked it, or the packet was made on this host and never had one.
[[nodiscard]] std::optional<Ipv4Udp> decode_ipv4_udp(std::span<const std::uint8_t> packet, bool check_data) noexcept;

/// The Internet checksum (RFC 1071) of bytes that follow on what sums up to `sum`: 0 for data that hold their own
/// checksum and are whole.
[[nodiscard]] std::uint16_t internet_checksum(std::span<const std::uint8_t> bytes, std::uint32_t sum = 0) noexcept;

}  // namespace vex::net
