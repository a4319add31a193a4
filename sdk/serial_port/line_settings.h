// A port's configuration as the settings of a line of this computer.
#pragma once

#include "sdk/net/serial_line.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::serial_port {

/// `configuration` is valid.
[[nodiscard]] inline net::SerialSettings to_line(const PvSerialPortConfiguration& configuration) noexcept
{
    net::SerialSettings settings;
    settings.baud_rate = configuration.BaudRate;
    settings.parity = configuration.Parity == PvParityEven  ? net::LineParity::even
                      : configuration.Parity == PvParityOdd ? net::LineParity::odd
                                                            : net::LineParity::none;
    settings.data_bits = configuration.ByteSize;
    settings.stop_bits = configuration.StopBits;
    return settings;
}

}  // namespace vex::serial_port
