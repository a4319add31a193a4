#include "sdk/control/device_clock.h"

#include <gtest/gtest.h>

#include <deque>
#include <optional>

#include "sdk/base/PvString.h"
#include "tests/sdk/control/raw_device.h"
#include "tests/sdk/control/scripted_transport.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using control::ClockReading;
using control::DeviceClockFacts;
using control::PtpState;
using device_test::Bytes;
using device_test::RawCameraOptions;
using device_test::RawDevice;
using device_test::ScriptedTransport;

constexpr std::uint64_t frequency = 125'000'000;
constexpr std::uint32_t ptp = 1U << 19;  // of the GVCP capability register

/// A device whose clock has run since an hour before the test. Its answers take the times that the test gives; it
/// latches at the given part of the way.
class DeviceClockTest : public testing::Test {
protected:
    DeviceClockTest() : device(RawCameraOptions())
    {
        transport.on_send = [this](const Bytes& request) { answer(request); };
        channel.set_concatenation(true);
        device.set_control(2, transport.local());
        device.set_reg(0x093C, 0);
        device.set_reg(0x0940, frequency);
        device.set_reg(0x0944, 0);
        device.set_reg(0x0948, 0);
        device.set_reg(0x094C, 0);
    }

    void answer(const Bytes& request)
    {
        std::chrono::microseconds round_trip = 1ms;
        const bool is_latch = request[3] == 0x82 && request[10] == 0x09 && request[11] == 0x44;
        if (is_latch && !round_trips.empty()) {
            round_trip = round_trips.front();
            round_trips.pop_front();
        }
        if (is_latch) {
            ++latches;
            const auto at = clock.now() + std::chrono::duration_cast<net::Clock::duration>(round_trip * latch_at);
            const std::uint64_t ticks = ticks_at(at);
            device.set_reg(0x0948, static_cast<std::uint32_t>(ticks >> 32));
            device.set_reg(0x094C, static_cast<std::uint32_t>(ticks));
        }
        for (Bytes& bytes : device.answers(request, transport.local())) {
            inbox_delay(std::move(bytes), round_trip);
        }
    }

    /// Arrivals are timed in milliseconds; the rest passes as the device's own delay.
    void inbox_delay(Bytes bytes, std::chrono::microseconds round_trip)
    {
        const auto whole = std::chrono::floor<std::chrono::milliseconds>(round_trip);
        clock.advance(round_trip - whole);
        transport.deliver(std::move(bytes), whole);
    }

    [[nodiscard]] std::uint64_t ticks_at(net::Clock::time_point time) const
    {
        const std::chrono::duration<double> since = time - (begin - 1h);
        return static_cast<std::uint64_t>(since.count() * static_cast<double>(frequency));
    }

    device_test::ManualClock clock;
    const net::Clock::time_point begin = clock.now();
    ScriptedTransport transport{clock};
    RawDevice device;
    control::ControlChannel channel{transport, clock};
    std::deque<std::chrono::microseconds> round_trips;
    double latch_at = 0.5;
    int latches = 0;
    ClockReading reading;
    DeviceClockFacts facts;
};

TEST_F(DeviceClockTest, TellsItsFrequency)
{
    device.set_reg(0x093C, 2);
    device.set_reg(0x0940, 3);
    ASSERT_TRUE(read_clock_facts(channel, 0, facts).IsOK());
    EXPECT_EQ(facts.frequency, 0x2'0000'0003U);
    EXPECT_FALSE(facts.ptp_supported);
    EXPECT_FALSE(facts.ptp_enabled);
}

TEST_F(DeviceClockTest, TellsHowItIsSetThroughTheNetwork)
{
    ASSERT_TRUE(read_clock_facts(channel, ptp, facts).IsOK());
    EXPECT_TRUE(facts.ptp_supported);
    EXPECT_FALSE(facts.ptp_enabled);
    EXPECT_EQ(facts.ptp_state, PtpState::unknown);
    device.set_reg(0x0954, 0x80000);
    device.set_reg(0x096C, 0xFFFFFFF9);
    ASSERT_TRUE(read_clock_facts(channel, ptp, facts).IsOK());
    EXPECT_TRUE(facts.ptp_enabled);
    EXPECT_EQ(facts.ptp_state, PtpState::slave);
    EXPECT_STREQ(control::text_of(facts.ptp_state), "slave");
    EXPECT_STREQ(control::text_of(static_cast<PtpState>(12)), "unknown");
}

TEST_F(DeviceClockTest, IsReadInTheShortestRoundTrip)
{
    round_trips = {9ms, 400us, 3ms};
    ASSERT_TRUE(read_clock(channel, clock, 3, reading).IsOK());
    EXPECT_EQ(latches, 3);
    EXPECT_EQ(reading.error, 200us);
    // after the first attempt, its read of 1 ms, and half the second one
    EXPECT_EQ(reading.host, begin + 10ms + 200us);
    EXPECT_EQ(reading.ticks, ticks_at(reading.host));
}

TEST_F(DeviceClockTest, IsNoFurtherFromTheTruthThanTheErrorSays)
{
    for (const double part : {0.0, 0.2, 1.0}) {
        latch_at = part;
        round_trips = {2ms, 600us, 5ms};
        ASSERT_TRUE(read_clock(channel, clock, 3, reading).IsOK());
        const auto ticks = static_cast<double>(reading.ticks);
        const std::chrono::duration<double> truth(ticks / static_cast<double>(frequency));
        const std::chrono::duration<double> told = reading.host - (begin - 1h);
        EXPECT_LE(std::abs((truth - told).count()), std::chrono::duration<double>(reading.error).count() + 1e-8);
        EXPECT_EQ(reading.error, 300us);
    }
}

TEST_F(DeviceClockTest, IsReadAtLeastOnce)
{
    ASSERT_TRUE(read_clock(channel, clock, 0, reading).IsOK());
    EXPECT_EQ(latches, 1);
    EXPECT_NE(reading.ticks, 0U);
}

TEST_F(DeviceClockTest, NeedsControlToBeRead)
{
    device.set_control(0);
    reading.ticks = 5;
    const PvResult result = read_clock(channel, clock, 3, reading);
    EXPECT_TRUE(result.IsFailure());
    EXPECT_NE(result.description().find("access denied"), std::string_view::npos);
    EXPECT_EQ(reading.ticks, 5U);
}

TEST(HostTime, IsThatOfTheTimestamp)
{
    const ClockReading reading{1'000'000'000, net::Clock::time_point(1h), 10us};
    using control::host_time;
    EXPECT_EQ(host_time(reading, frequency, 1'000'000'000), reading.host);
    EXPECT_EQ(host_time(reading, frequency, 1'000'000'000 + frequency), reading.host + 1s);
    EXPECT_EQ(host_time(reading, frequency, 1'000'000'000 - frequency * 3 / 2), reading.host - 1500ms);
    EXPECT_EQ(host_time(reading, frequency, 1'000'000'001), reading.host + 8ns);
    EXPECT_EQ(host_time(reading, frequency, 1'000'000'000 + frequency * 86'400 + 1), reading.host + 24h + 8ns);
    EXPECT_EQ(host_time(reading, 0, 1), std::nullopt);
    EXPECT_EQ(host_time(reading, 1, ~std::uint64_t{0}), std::nullopt);
    // a counter of nanoseconds since 1970 and a frequency beyond 32 bits
    const ClockReading late{1'795'000'000'000'000'000, net::Clock::time_point(1h), 10us};
    EXPECT_EQ(host_time(late, 1'000'000'000, 1'795'000'000'000'000'001), late.host + 1ns);
    EXPECT_EQ(host_time(late, 1'000'000'000'000, 1'795'000'000'000'001'000), late.host + 1ns);
}

}  // namespace
