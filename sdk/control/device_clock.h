// The clock of a device: how fast it ticks, what it shows and what that is in the host's time.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "sdk/base/PvResult.h"
#include "sdk/control/control_channel.h"
#include "sdk/net/clock.h"

namespace vex::control {

/// The state of a clock that is set through the network (IEEE 1588-2008, port state).
enum class PtpState : std::uint8_t {
    unknown = 0,
    initializing = 1,
    faulty = 2,
    disabled = 3,
    listening = 4,
    pre_master = 5,
    master = 6,
    passive = 7,
    uncalibrated = 8,
    slave = 9,
};

/// "slave", "not calibrated"; "unknown" for a state that has no name.
[[nodiscard]] const char* text_of(PtpState state) noexcept;

struct DeviceClockFacts {
    std::uint64_t frequency = 0;  ///< ticks per second; 0 for a device without a clock, 10^9 while PTP sets it
    bool ptp_supported = false;
    bool ptp_enabled = false;
    PtpState ptp_state = PtpState::unknown;  ///< while enabled
};

/// `capability`: the device's GVCP capability register. Needs no control.
PvResult read_clock_facts(ControlChannel& channel, std::uint32_t capability, DeviceClockFacts& facts);

/// What the device's clock showed at which time of the host.
struct ClockReading {
    std::uint64_t ticks = 0;
    net::Clock::time_point host;
    std::chrono::nanoseconds error{};  ///< the host's time is no more than this away from the truth, either way
};

/// Latches the device's clock `attempts` times, at least once, and keeps the reading with the shortest round trip: the
/// device latched at some time within it, so the error is half of it. `clock` is the host's and the one that readings
/// are in. The channel needs control, because the latch is a register that is written; a latch of another application
/// between the two messages of an attempt is not noticed.
PvResult read_clock(ControlChannel& channel, const net::Clock& clock, unsigned attempts, ClockReading& reading);

/// The host's time of a timestamp of the device's, from a reading not too long ago: clocks drift, commonly by up to
/// 100 us in each second away from the reading. Empty for frequency 0 and for what the host's clock cannot show.
[[nodiscard]] std::optional<net::Clock::time_point> host_time(const ClockReading& reading, std::uint64_t frequency,
                                                              std::uint64_t timestamp) noexcept;

}  // namespace vex::control
