// How a serial port of a device is joined to this computer.
#pragma once

#include <cstdint>
#include <optional>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::bridge_manager {

/// What one bridge is set to, and the parameters of a camera behind it.
struct Settings {
    PvString endpoint{};     ///< as PvSerialBridge takes it; empty: a pipe with a name of its own, made at each start
    PvString serial_port{};  ///< a line of this computer, in the place of the endpoint; empty for none
    /// Nothing: 9,600 8N1 for a line of this computer, and with an endpoint the device's line stays as it is.
    std::optional<PvSerialPortConfiguration> line{};
    std::uint32_t hard_coded_baud_rate = 0;  ///< of the device's side; 0: as the line
    bool has_parameters = false;             ///< of the Camera Link camera that the device's port leads to
    PvString device{"GenCP"};                ///< which one, and
    PvString description{"Device"};          ///< where its features are described: see PvGenParameterArrayCL

    /// InvalidParameter, and what is wrong. Parameters need an endpoint, which they take for themselves.
    [[nodiscard]] PvResult check() const;
    /// Differs in no more than a bridge can be told while it runs: the settings of its lines.
    [[nodiscard]] bool joins_as(const Settings& other) const;

    friend bool operator==(const Settings&, const Settings&) = default;
};

}  // namespace vex::bridge_manager
