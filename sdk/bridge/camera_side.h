// The camera's side of a bridge.
#pragma once

#include <cstdint>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/serial_port/PvSerialPort.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::bridge {

/// An open serial port of a device, and what is set on its line.
///
/// Thread safety: all members may be called from any thread.
class CameraSide {
public:
    CameraSide() = default;
    CameraSide(const CameraSide&) = delete;
    CameraSide& operator=(const CameraSide&) = delete;
    virtual ~CameraSide() = default;

    /// Open, though its device may be away.
    [[nodiscard]] virtual PvSerialPort& port() noexcept = 0;
    /// What the device's line is set to.
    [[nodiscard]] virtual PvResult line(PvSerialPortConfiguration& configuration) = 0;
    /// Sets the device's line. NotSupported for what it cannot be set to.
    [[nodiscard]] virtual PvResult set_line(const PvSerialPortConfiguration& configuration) = 0;
    /// The baud rates that the device's description lists, ascending; none where it lists none.
    [[nodiscard]] virtual std::vector<std::uint32_t> baud_rates() = 0;
    /// Makes the port work again, where its device is back. NotConnected where it is not.
    [[nodiscard]] virtual PvResult recover() = 0;
    /// Bytes that were received and lost before they came to the bridge.
    [[nodiscard]] virtual std::uint64_t dropped_bytes() = 0;
};

}  // namespace vex::bridge
