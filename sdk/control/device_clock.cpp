#include "sdk/control/device_clock.h"

#include <algorithm>
#include <array>

#include "sdk/base/failure.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

namespace bootstrap = wire::bootstrap;
using std::chrono::nanoseconds;

constexpr std::uint32_t ptp_state_mask = 0xF;

ControlOutcome read_64(ControlChannel& channel, std::uint32_t high, std::uint32_t low, std::uint64_t& value)
{
    const std::array<std::uint32_t, 2> addresses = {high, low};
    std::array<std::uint32_t, 2> halves{};
    const auto outcome = channel.read_registers(addresses, halves);
    value = std::uint64_t{halves[0]} << 32 | halves[1];
    return outcome;
}

}  // namespace

const char* text_of(PtpState state) noexcept
{
    switch (state) {
    case PtpState::initializing: return "initializing";
    case PtpState::faulty: return "faulty";
    case PtpState::disabled: return "disabled";
    case PtpState::listening: return "listening";
    case PtpState::pre_master: return "about to be master";
    case PtpState::master: return "master";
    case PtpState::passive: return "passive";
    case PtpState::uncalibrated: return "not calibrated";
    case PtpState::slave: return "slave";
    case PtpState::unknown: break;
    }
    return "unknown";
}

PvResult read_clock_facts(ControlChannel& channel, std::uint32_t capability, DeviceClockFacts& facts)
{
    DeviceClockFacts read;
    auto outcome =
        read_64(channel, bootstrap::timestamp_frequency_high, bootstrap::timestamp_frequency_low, read.frequency);
    read.ptp_supported = (capability & bootstrap::capability::ieee_1588) != 0;
    if (outcome.ok() && read.ptp_supported) {
        std::uint32_t configuration = 0;
        outcome = channel.read_register(bootstrap::gvcp_configuration, configuration);
        read.ptp_enabled = (configuration & bootstrap::configuration::ieee_1588) != 0;
    }
    if (outcome.ok() && read.ptp_enabled) {
        std::uint32_t status = 0;
        outcome = channel.read_register(bootstrap::ieee_1588_status, status);
        read.ptp_state = static_cast<PtpState>(status & ptp_state_mask);
    }
    if (!outcome.ok()) {
        return to_result(outcome, channel.device());
    }
    facts = read;
    return PvResult::OK;
}

PvResult read_clock(ControlChannel& channel, const net::Clock& clock, unsigned attempts, ClockReading& reading)
{
    std::optional<ClockReading> best;
    for (unsigned attempt = 0; attempt < std::max(attempts, 1U); ++attempt) {
        const auto before = clock.now();
        auto outcome = channel.write_register(bootstrap::timestamp_control, bootstrap::timestamp_latch);
        const auto round_trip = clock.now() - before;
        ClockReading one;
        if (outcome.ok()) {
            outcome = read_64(channel, bootstrap::timestamp_value_high, bootstrap::timestamp_value_low, one.ticks);
        }
        if (!outcome.ok()) {
            return to_result(outcome, channel.device());
        }
        one.host = before + round_trip / 2;
        one.error = std::chrono::ceil<nanoseconds>(round_trip) - round_trip / 2;
        if (!best || one.error < best->error) {
            best = one;
        }
    }
    reading = *best;
    return PvResult::OK;
}

std::optional<net::Clock::time_point> host_time(const ClockReading& reading, std::uint64_t frequency,
                                                std::uint64_t timestamp) noexcept
{
    if (frequency == 0) {
        return std::nullopt;
    }
    const bool later = timestamp >= reading.ticks;
    const std::uint64_t ticks = later ? timestamp - reading.ticks : reading.ticks - timestamp;
    constexpr std::chrono::seconds furthest = std::chrono::hours(24 * 365 * 100);
    if (ticks / frequency > static_cast<std::uint64_t>(furthest.count())) {
        return std::nullopt;
    }
    const auto part = static_cast<double>(ticks % frequency) / static_cast<double>(frequency);
    const auto apart = std::chrono::duration_cast<net::Clock::duration>(
        std::chrono::seconds(ticks / frequency) + std::chrono::round<nanoseconds>(std::chrono::duration<double>(part)));
    return later ? reading.host + apart : reading.host - apart;
}

}  // namespace vex::control
