// The camera's serial ports and its I2C bus, with what hangs on them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "sdk/net/clock.h"
#include "sdk/peripherals/i2c_bus.h"
#include "sdk/peripherals/uart.h"
#include "sdk/virtualdevice/i2c_registers.h"
#include "sdk/virtualdevice/register_map.h"
#include "sdk/virtualdevice/uart_registers.h"

namespace softcam {

/// What goes wrong on serial ports and the I2C bus.
struct SideChannelFaults {
    vex::peripherals::UartFaults uart{};
    vex::virtual_device::I2cFaults i2c{};
};

/// Serial0 and Serial1 lead to whatever is given, take no time and hold what there is no room for; Bulk0 is a loopback
/// plug on a line with a real baud rate and without flow control; Bulk1 an I2C bus with an EEPROM at 0xA0 and a sensor
/// at 0x90, as on the wire.
///
/// Thread safety: everything happens with the responder's lock held.
class SideChannels {
public:
    static constexpr std::size_t uarts = 3;

    /// The number of a port in the description's events, and the bytes that it holds.
    using Announce = std::function<void(std::uint32_t port, std::uint32_t count)>;

    /// Adds the registers. `clock` and `map` must outlive the object, and the object the map's last use.
    SideChannels(vex::virtual_device::RegisterMap& map, std::unique_ptr<vex::peripherals::SerialDevice> on_serial0,
                 std::unique_ptr<vex::peripherals::SerialDevice> on_serial1, Announce announce,
                 const vex::net::Clock& clock);

    void set_faults(const SideChannelFaults& faults);
    void power_on();
    /// Lets the time go by; when there is something to do next.
    std::optional<vex::net::Clock::time_point> update();

private:
    std::array<vex::peripherals::Uart, uarts> uarts_;
    vex::peripherals::I2cBus bus_;
    std::array<vex::virtual_device::UartRegisters, uarts> uart_registers_;
    vex::virtual_device::I2cRegisters i2c_registers_;
};

}  // namespace softcam
