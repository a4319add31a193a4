// Classes of devices and how to speak with them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/genicp/device_facts.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::genicp {

/// The name of the template that is built in: any GenCP device.
inline constexpr std::string_view built_in_template = "GenCP";
/// What the name of a template's file ends in.
inline constexpr std::string_view template_suffix = ".template";

/// How to speak with a class of devices, and which devices are of it.
struct DeviceTemplate {
    std::string name;
    /// The rates that are tried, in this order.
    std::vector<std::uint32_t> baud_rates = {9600, 19'200, 38'400, 57'600, 115'200, 230'400, 460'800, 921'600};
    PvSerialPortConfiguration line;  ///< all but the rate
    std::string manufacturer;        ///< a device of another one is not of the class; empty for any
    std::string model;               ///< likewise

    [[nodiscard]] bool fits(const DeviceFacts& facts) const noexcept
    {
        return (manufacturer.empty() || manufacturer == facts.manufacturer) && (model.empty() || model == facts.model);
    }
};

/// The most rates of a template, and the longest file of one in bytes.
inline constexpr std::size_t most_baud_rates = 32;
inline constexpr std::size_t longest_template = 65'536;

/// Reads the text of a template's file: lines "Key = value", empty ones, and remarks that begin with '#'. The keys are
/// BaudRates (numbers with blanks or commas between them), Parity (None, Even, Odd), ByteSize, StopBits, Manufacturer
/// and Model; what is not given is as in the template that is built in. InvalidDataFormat names the line that is wrong.
[[nodiscard]] PvResult parse_template(std::string_view text, DeviceTemplate& made);

/// The names of all templates: the one that is built in, then those of the folder (UTF-8; empty for none), in the order
/// of the alphabet.
[[nodiscard]] std::vector<std::string> template_names(const std::string& folder);

/// The template of that name; an empty name is the one that is built in. NotFound, CannotOpenFile, InvalidDataFormat.
[[nodiscard]] PvResult find_template(std::string_view name, const std::string& folder, DeviceTemplate& found);

}  // namespace vex::genicp
