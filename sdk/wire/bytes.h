// Big-endian loads and stores on byte memory of any alignment.
#pragma once

#include <cstdint>

namespace vex::wire {

[[nodiscard]] constexpr std::uint16_t load_be16(const std::uint8_t* p) noexcept
{
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

[[nodiscard]] constexpr std::uint32_t load_be24(const std::uint8_t* p) noexcept
{
    return (std::uint32_t{p[0]} << 16) | (std::uint32_t{p[1]} << 8) | p[2];
}

[[nodiscard]] constexpr std::uint32_t load_be32(const std::uint8_t* p) noexcept
{
    return (std::uint32_t{p[0]} << 24) | load_be24(p + 1);
}

[[nodiscard]] constexpr std::uint64_t load_be48(const std::uint8_t* p) noexcept
{
    return (std::uint64_t{load_be16(p)} << 32) | load_be32(p + 2);
}

[[nodiscard]] constexpr std::uint64_t load_be64(const std::uint8_t* p) noexcept
{
    return (std::uint64_t{load_be32(p)} << 32) | load_be32(p + 4);
}

constexpr void store_be16(std::uint8_t* p, std::uint16_t value) noexcept
{
    p[0] = static_cast<std::uint8_t>(value >> 8);
    p[1] = static_cast<std::uint8_t>(value);
}

constexpr void store_be24(std::uint8_t* p, std::uint32_t value) noexcept
{
    p[0] = static_cast<std::uint8_t>(value >> 16);
    store_be16(p + 1, static_cast<std::uint16_t>(value));
}

constexpr void store_be32(std::uint8_t* p, std::uint32_t value) noexcept
{
    store_be16(p, static_cast<std::uint16_t>(value >> 16));
    store_be16(p + 2, static_cast<std::uint16_t>(value));
}

constexpr void store_be48(std::uint8_t* p, std::uint64_t value) noexcept
{
    store_be16(p, static_cast<std::uint16_t>(value >> 32));
    store_be32(p + 2, static_cast<std::uint32_t>(value));
}

constexpr void store_be64(std::uint8_t* p, std::uint64_t value) noexcept
{
    store_be32(p, static_cast<std::uint32_t>(value >> 32));
    store_be32(p + 4, static_cast<std::uint32_t>(value));
}

}  // namespace vex::wire
