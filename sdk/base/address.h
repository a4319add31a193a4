// IPv4 and Ethernet addresses as values.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vex {

/// An IPv4 address or mask, in host byte order.
struct Ipv4Address {
    std::uint32_t value = 0;

    /// Dotted decimal, four numbers from 0 to 255 and nothing else; empty when the text is anything else.
    [[nodiscard]] static std::optional<Ipv4Address> parse(std::string_view text) noexcept;
    [[nodiscard]] std::string to_string() const;

    [[nodiscard]] constexpr bool is_any() const noexcept { return value == 0; }
    [[nodiscard]] constexpr bool is_loopback() const noexcept { return (value >> 24) == 127; }
    [[nodiscard]] constexpr bool is_multicast() const noexcept { return (value >> 28) == 0xE; }

    auto operator<=>(const Ipv4Address&) const = default;
};

inline constexpr Ipv4Address any_address{0};
inline constexpr Ipv4Address limited_broadcast{0xFFFFFFFF};
inline constexpr Ipv4Address loopback_address{0x7F000001};

/// The broadcast address of the subnet, computed from address and mask rather than taken from the system, which reports
/// a wrong one for some link-local configurations.
[[nodiscard]] constexpr Ipv4Address directed_broadcast(Ipv4Address address, Ipv4Address mask) noexcept
{
    return {address.value | ~mask.value};
}

[[nodiscard]] constexpr bool same_subnet(Ipv4Address a, Ipv4Address b, Ipv4Address mask) noexcept
{
    return (a.value & mask.value) == (b.value & mask.value);
}

/// A 48-bit Ethernet address.
struct MacAddress {
    std::array<std::uint8_t, 6> bytes{};

    /// Twelve hexadecimal digits: in pairs separated by ':' or '-', in fours separated by '.', or all together. Empty
    /// when the text is anything else.
    [[nodiscard]] static std::optional<MacAddress> parse(std::string_view text) noexcept;
    /// Lower-case pairs separated by ':'.
    [[nodiscard]] std::string to_string() const;

    [[nodiscard]] constexpr bool is_zero() const noexcept { return bytes == std::array<std::uint8_t, 6>{}; }

    auto operator<=>(const MacAddress&) const = default;
};

/// A UDP endpoint.
struct Endpoint {
    Ipv4Address address;
    std::uint16_t port = 0;

    [[nodiscard]] std::string to_string() const;

    auto operator<=>(const Endpoint&) const = default;
};

}  // namespace vex
