// Finding the device on a line, and the rate that it speaks at.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/genicp/device_facts.h"
#include "sdk/genicp/device_template.h"
#include "sdk/genicp/serial_link.h"
#include "sdk/net/clock.h"

namespace vex::genicp {

/// A device that answered.
struct FoundDevice {
    std::uint32_t baud_rate = 0;
    DeviceFacts facts;
};

/// How often a rate is tried: the bytes of the first request end what a device made of those sent at another rate.
inline constexpr unsigned attempts_of_probe = 2;

/// Sets the line to one rate after the other until a device answers, and reads what it says of itself. Rates that the
/// line cannot have are passed over; nothing is written to a device. `name` is the port's in failure texts.
///
/// Takes attempts_of_probe times the time-out for each rate, beside the time that the bytes need on the line.
///
/// NotFound when nobody answers and for a device that is not of the class. What the line reports.
[[nodiscard]] PvResult find_device(SerialLink& link, std::string_view name, const DeviceTemplate& how,
                                   std::span<const std::uint32_t> baud_rates, std::chrono::milliseconds timeout,
                                   const net::Clock& clock, FoundDevice& found);

}  // namespace vex::genicp
