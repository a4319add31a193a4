// The camera's side of a bridge that is a serial port of a device.
#pragma once

#include <memory>
#include <string>

#include "sdk/bridge/camera_side.h"
#include "sdk/control/PvTypes.h"
#include "sdk/device/access.h"
#include "sdk/serial/PvSerialPortIPEngine.h"

namespace vex::bridge {

/// Its line is set by the features of the port (docs/serial.md); a setting that the device does not describe stays as
/// the device has it. The device may be destroyed first.
class EngineSide final : public CameraSide {
public:
    /// Opens a port; `made` is set on success only. As PvSerialPortIPEngine::Open.
    [[nodiscard]] static PvResult open(PvDevice* device, PvIPEngineSerial port, std::unique_ptr<CameraSide>& made);

    EngineSide(const PvDevice& device, PvIPEngineSerial port);

    [[nodiscard]] PvSerialPort& port() noexcept override { return port_; }
    [[nodiscard]] PvResult line(PvSerialPortConfiguration& configuration) override;
    [[nodiscard]] PvResult set_line(const PvSerialPortConfiguration& configuration) override;
    [[nodiscard]] std::vector<std::uint32_t> baud_rates() override;
    [[nodiscard]] PvResult recover() override;
    [[nodiscard]] std::uint64_t dropped_bytes() override { return port_.dropped_bytes(); }

private:
    /// The features, while the device is connected; a result that says why there are none.
    [[nodiscard]] PvResult features(PvGenParameterArray*& array) const;

    const device::SharedDevice device_;
    const std::string port_name_;
    PvSerialPortIPEngine port_;
};

}  // namespace vex::bridge
