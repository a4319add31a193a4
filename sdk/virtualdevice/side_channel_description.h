// How a description names the registers of serial ports and I2C buses (docs/serial.md).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vex::virtual_device {

/// The nodes of a UART whose registers begin at `base` (UartRegisters), among them its category "IPEngine" and the
/// port's name ("Serial0"). They stand over the port node "Device". Without events: the host asks by itself.
[[nodiscard]] std::string uart_nodes(std::string_view port_name, std::uint32_t base);
/// The same of an I2C master (I2cRegisters).
[[nodiscard]] std::string i2c_nodes(std::string_view port_name, std::uint32_t base);

}  // namespace vex::virtual_device
