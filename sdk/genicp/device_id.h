// The text that names a device on a serial line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sdk/genicp/device_facts.h"

namespace vex::genicp {

/// TEMPLATE[:BAUD[:MANUFACTURER[:MODEL[:SERIAL]]]]: what is not said, or empty, is left open. In names ':' is written
/// as '_'.
struct DeviceId {
    std::string template_name;    ///< empty for the one that is built in
    std::uint32_t baud_rate = 0;  ///< 0: the one at which the device answers
    std::string manufacturer;
    std::string model;
    std::string serial_number;

    [[nodiscard]] std::string text() const;
    /// Whether `other`, which leaves nothing open, is a device that this text names.
    [[nodiscard]] bool names(const DeviceId& other) const noexcept;
};

/// Empty for a baud rate that is no number and for more parts than there are.
[[nodiscard]] std::optional<DeviceId> parse_device_id(std::string_view text);

[[nodiscard]] DeviceId device_id_of(std::string_view template_name, std::uint32_t baud_rate, const DeviceFacts& facts);

}  // namespace vex::genicp
