// Serial ports by the names that users give them.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/serial_port/PvSerialPort.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::genicp {

/// An open port that a device is at, and the rate of its line.
class SerialLink {
public:
    virtual ~SerialLink() = default;
    SerialLink(const SerialLink&) = delete;
    SerialLink& operator=(const SerialLink&) = delete;

    /// Open until the link is destroyed or somebody closes it.
    [[nodiscard]] virtual PvSerialPort& port() noexcept = 0;
    /// Changes the line; a pipe takes any rate, which is not its own. NotSupported for a rate that it cannot have,
    /// NotConnected.
    [[nodiscard]] virtual PvResult set_baud_rate(std::uint32_t baud_rate) = 0;

protected:
    SerialLink() = default;
};

enum class PortKind : std::uint8_t {
    host,  ///< a serial port of this computer: COM3, \\.\COM12, /dev/ttyS0
    pipe,  ///< pipe:NAME or tcp:PORT, what another program serves: the end of a bridge
};

[[nodiscard]] PortKind kind_of_port(std::string_view name) noexcept;

/// Opens a port for its caller alone. `link` is set on success only.
///
/// InvalidParameter for a name that cannot be one, NotFound, StateError when somebody has the port, NotSupported for a
/// configuration that the line cannot take, Timeout for a pipe that does not answer. What was set on the line before is
/// put back when the link goes.
[[nodiscard]] PvResult open_link(const PvString& name, const PvSerialPortConfiguration& configuration,
                                 std::unique_ptr<SerialLink>& link);

}  // namespace vex::genicp
