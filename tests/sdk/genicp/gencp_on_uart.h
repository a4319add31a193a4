// The simulated serial camera as what hangs on the software camera's UART.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sdk/peripherals/serial_device.h"
#include "tools/softlink/gencp_device.h"

namespace genicp_test {

class GencpOnUart final : public vex::peripherals::SerialDevice {
public:
    void receive(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& said) override
    {
        for (const softlink::Answer& answer : device_.receive(bytes)) {
            said.insert(said.end(), answer.bytes.begin(), answer.bytes.end());
        }
    }

private:
    softlink::GencpDevice device_{softlink::DeviceOptions{}};
};

}  // namespace genicp_test
