// What is set on the line of a device's serial port, as its description's features give it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

class PvGenParameterArray;

namespace vex::bridge {

/// Over the features of a device, which outlive the object. A setting that the device does not describe reads as that
/// of a new PvSerialPortConfiguration, and setting it does nothing.
///
/// Thread safety: distinct objects from any threads.
class LineFeatures {
public:
    LineFeatures(PvGenParameterArray& array, const std::string& port_name);

    [[nodiscard]] PvResult get(PvSerialPortConfiguration& configuration) const;
    /// Writes what differs. NotSupported for what the device cannot be set to, with the first of its reasons.
    [[nodiscard]] PvResult set(const PvSerialPortConfiguration& configuration);
    /// The baud rates that are listed, ascending: the valid values of an integer, or an enumeration's entries, whose
    /// names end with the rate ("Baud9600").
    [[nodiscard]] std::vector<std::uint32_t> baud_rates() const;

private:
    [[nodiscard]] std::string name(const char* setting) const { return prefix_ + setting; }
    [[nodiscard]] PvResult get_number(const char* setting, std::uint32_t& value) const;
    [[nodiscard]] PvResult set_number(const char* setting, std::uint32_t value);
    [[nodiscard]] PvResult get_baud_rate(std::uint32_t& value) const;
    [[nodiscard]] PvResult set_baud_rate(std::uint32_t value);
    [[nodiscard]] PvResult set_parity(PvParity parity);

    PvGenParameterArray& array_;
    const std::string port_name_;
    const std::string prefix_;
};

}  // namespace vex::bridge
