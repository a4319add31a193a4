// The registers of a virtual device's own, above the bootstrap registers.
#pragma once

#include <cstdint>

namespace vex::virtual_device::own {

// of the blocks that are sent; read-only
inline constexpr std::uint32_t width = 0x00010000;
inline constexpr std::uint32_t height = 0x00010004;
inline constexpr std::uint32_t offset_x = 0x00010008;
inline constexpr std::uint32_t offset_y = 0x0001000C;
inline constexpr std::uint32_t pixel_format = 0x00010010;
inline constexpr std::uint32_t payload_size = 0x00010014;

inline constexpr std::uint32_t acquisition_mode = 0x00010020;
inline constexpr std::uint32_t acquisition_start = 0x00010024;
inline constexpr std::uint32_t acquisition_stop = 0x00010028;
inline constexpr std::uint32_t acquisition_status = 0x0001002C;

// blocks of UartRegisters and I2cRegisters
inline constexpr std::uint32_t serial0 = 0x00020000;
inline constexpr std::uint32_t bulk0 = 0x00021000;

inline constexpr std::uint32_t description = 0x00100000;

}  // namespace vex::virtual_device::own
