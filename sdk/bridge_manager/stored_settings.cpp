#include "sdk/bridge_manager/stored_settings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "sdk/base/numbers.h"

namespace vex::bridge_manager {

namespace {

constexpr std::string_view prefix = "SerialBridge.";

constexpr std::string_view running_key = "Running";
constexpr std::string_view endpoint_key = "Endpoint";
constexpr std::string_view serial_port_key = "SerialPort";
constexpr std::string_view baud_rate_key = "BaudRate";
constexpr std::string_view parity_key = "Parity";
constexpr std::string_view byte_size_key = "ByteSize";
constexpr std::string_view stop_bits_key = "StopBits";
constexpr std::string_view hard_coded_key = "HardCodedBaudRate";
constexpr std::string_view parameters_key = "ParameterArray";
constexpr std::string_view device_key = "DeviceID";
constexpr std::string_view description_key = "XMLID";

constexpr std::array<std::pair<PvParity, std::string_view>, 3> parities{
    {{PvParityNone, "None"}, {PvParityEven, "Even"}, {PvParityOdd, "Odd"}}};

std::string_view name_of(PvParity parity)
{
    const auto found = std::ranges::find(parities, parity, &std::pair<PvParity, std::string_view>::first);
    return found != parities.end() ? found->second : parities.front().second;
}

std::optional<std::uint32_t> number_in(const PvString& value)
{
    const auto number = parse_integer(value.view());
    return number && *number >= 0 && *number <= std::numeric_limits<std::uint32_t>::max()
               ? std::optional(static_cast<std::uint32_t>(*number))
               : std::nullopt;
}

std::optional<bool> flag_in(const PvString& value)
{
    const auto number = number_in(value);
    return number && *number <= 1 ? std::optional(*number == 1) : std::nullopt;
}

/// The part of a property's name behind the port, where it is about that port.
std::string_view key_in(const PvProperty& property, const std::string& port)
{
    std::string_view name = property.GetName().view();
    if (!name.starts_with(prefix)) {
        return {};
    }
    name.remove_prefix(prefix.size());
    if (!name.starts_with(port) || name.size() <= port.size() || name[port.size()] != '.') {
        return {};
    }
    return name.substr(port.size() + 1);
}

/// Values of the line, which are all empty for a line that is left as it is; false for one that is none.
bool take_line(std::optional<PvSerialPortConfiguration>& line, std::string_view key, const PvString& value)
{
    if (value.empty()) {
        if (key == baud_rate_key) {
            line.reset();
        }
        return true;
    }
    PvSerialPortConfiguration next = line.value_or(PvSerialPortConfiguration());
    if (key == parity_key) {
        const auto found = std::ranges::find(parities, value.view(), &std::pair<PvParity, std::string_view>::second);
        if (found == parities.end()) {
            return false;
        }
        next.Parity = found->first;
    } else {
        const auto number = number_in(value);
        if (!number) {
            return false;
        }
        (key == baud_rate_key ? next.BaudRate : key == byte_size_key ? next.ByteSize : next.StopBits) = *number;
    }
    line = next;
    return true;
}

/// Stores what `read` gives; false when that is nothing.
template <class Value, class Target>
bool take_value(const std::optional<Value>& read, Target& target)
{
    if (read) {
        target = *read;
    }
    return read.has_value();
}

/// False for a value that is none.
bool take(StoredRow& row, std::string_view key, const PvString& value)
{
    Settings& settings = row.settings;
    if (key == endpoint_key) {
        settings.endpoint = value;
    } else if (key == serial_port_key) {
        settings.serial_port = value;
    } else if (key == device_key) {
        settings.device = value;
    } else if (key == description_key) {
        settings.description = value;
    } else if (key == running_key) {
        return take_value(flag_in(value), row.running);
    } else if (key == parameters_key) {
        return take_value(flag_in(value), settings.has_parameters);
    } else if (key == hard_coded_key) {
        return take_value(number_in(value), settings.hard_coded_baud_rate);
    } else if (key == baud_rate_key || key == parity_key || key == byte_size_key || key == stop_bits_key) {
        return take_line(settings.line, key, value);
    }
    return true;
}

void put(PvPropertyList& list, const std::string& port, std::string_view key, const PvString& value)
{
    const PvString name(std::string(prefix) + port + "." + std::string(key));
    for (std::uint32_t index = list.GetSize(); index-- > 0;) {
        if (PvProperty* const property = list.GetItem(index); property->GetName() == name) {
            property->SetValue(value);
            return;
        }
    }
    list.Add(PvProperty(name, value));
}

PvString text_of(std::uint32_t number) { return PvString(std::to_string(number)); }

}  // namespace

void store_row(const std::string& port, const Settings& settings, bool running, PvPropertyList& list)
{
    put(list, port, running_key, text_of(running ? 1 : 0));
    put(list, port, endpoint_key, settings.endpoint);
    put(list, port, serial_port_key, settings.serial_port);
    const auto of_line = [&](std::string_view key, const auto& value) {
        put(list, port, key, settings.line ? value(*settings.line) : PvString());
    };
    using Line = PvSerialPortConfiguration;
    of_line(baud_rate_key, [](const Line& line) { return text_of(line.BaudRate); });
    of_line(parity_key, [](const Line& line) { return PvString(name_of(line.Parity)); });
    of_line(byte_size_key, [](const Line& line) { return text_of(line.ByteSize); });
    of_line(stop_bits_key, [](const Line& line) { return text_of(line.StopBits); });
    put(list, port, hard_coded_key, text_of(settings.hard_coded_baud_rate));
    put(list, port, parameters_key, text_of(settings.has_parameters ? 1 : 0));
    put(list, port, device_key, settings.device);
    put(list, port, description_key, settings.description);
}

StoredRow read_row(const std::string& port, const PvPropertyList& list, const Settings& before)
{
    StoredRow row;
    row.settings = before;
    for (std::uint32_t index = 0; index < list.GetSize(); ++index) {
        const PvProperty& property = *list.GetItem(index);
        const std::string_view key = key_in(property, port);
        if (key.empty()) {
            continue;
        }
        row.is_mentioned = true;
        if (!take(row, key, property.GetValue())) {
            row.faults.push_back(std::string(key) + " cannot be \"" + property.GetValue().str() + "\"");
        }
    }
    if (row.faults.empty()) {
        if (const PvResult wrong = row.settings.check(); !wrong.IsOK()) {
            row.faults.emplace_back(wrong.description());
        }
    }
    return row;
}

std::vector<std::string> unknown_ports(const PvPropertyList& list, std::span<const std::string> known)
{
    std::vector<std::string> unknown;
    for (std::uint32_t index = 0; index < list.GetSize(); ++index) {
        std::string_view name = list.GetItem(index)->GetName().view();
        if (!name.starts_with(prefix)) {
            continue;
        }
        name.remove_prefix(prefix.size());
        const std::size_t end = name.find('.');
        if (end == 0 || end == std::string_view::npos) {
            continue;
        }
        const std::string port(name.substr(0, end));
        if (std::ranges::find(known, port) == known.end() && std::ranges::find(unknown, port) == unknown.end()) {
            unknown.push_back(port);
        }
    }
    return unknown;
}

}  // namespace vex::bridge_manager
