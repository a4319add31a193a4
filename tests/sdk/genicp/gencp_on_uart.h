// The simulated serial camera as what hangs on the software camera's UART.
#pragma once

#include <cstdint>
#include <vector>

#include "sdk/peripherals/serial_device.h"
#include "tools/softlink/gencp_device.h"

namespace genicp_test {

class GencpOnUart final : public vex::peripherals::SerialDevice {
public:
    std::vector<std::uint8_t> receive(std::uint8_t byte) override
    {
        std::vector<std::uint8_t> sent;
        for (const softlink::Answer& answer : device_.receive({&byte, 1})) {
            sent.insert(sent.end(), answer.bytes.begin(), answer.bytes.end());
        }
        return sent;
    }

private:
    softlink::GencpDevice device_{softlink::DeviceOptions{}};
};

}  // namespace genicp_test
