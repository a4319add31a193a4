// The registers of a camera's serial port, and the UART behind them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "sdk/net/clock.h"
#include "sdk/peripherals/uart.h"
#include "sdk/virtualdevice/register_map.h"

namespace vex::virtual_device {

/// Offsets in a port's block of uart_block::size bytes; docs/serial.md says what each is. Only the description of a
/// device tells applications where they are.
namespace uart_block {
inline constexpr std::uint32_t baud_rate = 0x000;
inline constexpr std::uint32_t parity = 0x004;
inline constexpr std::uint32_t byte_size = 0x008;
inline constexpr std::uint32_t stop_bits = 0x00C;
inline constexpr std::uint32_t receive_count = 0x010;
inline constexpr std::uint32_t receive_position = 0x014;
inline constexpr std::uint32_t receive_overruns = 0x018;
inline constexpr std::uint32_t transmit_room = 0x01C;
inline constexpr std::uint32_t receive_flush = 0x020;
inline constexpr std::uint32_t transmit_flush = 0x024;
inline constexpr std::uint32_t receive_notification = 0x028;
inline constexpr std::uint32_t receive_block = 0x200;
inline constexpr std::uint32_t transmit_block = 0x400;
inline constexpr std::uint32_t size = 0x1000;

inline constexpr std::size_t block_size = 512;     ///< of both blocks, what goes in one message
inline constexpr std::size_t receive_header = 12;  ///< position, count, overruns
inline constexpr std::size_t transmit_header = 4;  ///< length
}  // namespace uart_block

/// Puts a UART into a register map. A write that repeats one that was carried out changes nothing: what is received is
/// taken by its position.
///
/// Thread safety: everything happens with the lock of the map's owner held.
class UartRegisters {
public:
    /// Adds the registers from `base` on. `announce` is called when there is something to read that was not announced
    /// since bytes were taken the last time, if an application asked for that; its argument is the number of bytes. The
    /// references outlive the object, and the object the map's last use.
    UartRegisters(RegisterMap& map, std::uint32_t base, peripherals::Uart& uart,
                  std::function<void(std::uint32_t)> announce);
    UartRegisters(const UartRegisters&) = delete;
    UartRegisters& operator=(const UartRegisters&) = delete;

    /// Lets the time go by; when there is something to do next.
    std::optional<net::Clock::time_point> update();
    /// As after power-on; the map's registers are brought back by the map.
    void power_on();

private:
    void add_setting(std::uint32_t offset, std::uint32_t value, std::uint32_t least, std::uint32_t most);
    void add_fact(std::uint32_t offset, std::function<std::uint32_t()> value);
    void add_flush(std::uint32_t offset, void (peripherals::Uart::*flush)());
    void add_receive_position();
    void add_blocks();
    void configure();
    void announce_held();
    [[nodiscard]] Status transmit(std::span<std::uint8_t> block);

    RegisterMap& map_;
    const std::uint32_t base_;
    peripherals::Uart& uart_;
    const std::function<void(std::uint32_t)> announce_;
    bool announced_ = false;
};

}  // namespace vex::virtual_device
