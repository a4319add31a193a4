// How many frames the camera takes in a time, by a clock that stands still until the test moves it.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "tests/sdk/virtualdevice/host_socket.h"
#include "tests/sdk/virtualdevice/manual_clock.h"
#include "tools/softcam/acquisition.h"

using namespace vex;
using namespace std::chrono_literals;
using Duration = net::Clock::duration;

namespace {

/// Counts how often other threads than the test's look at it.
class WatchedClock final : public net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override
    {
        if (std::this_thread::get_id() != test_) {
            ++looks_;
        }
        return clock_.now();
    }
    void advance(duration by) noexcept { clock_.advance(by); }
    [[nodiscard]] unsigned looks() const noexcept { return looks_; }

private:
    ManualClock clock_;
    const std::thread::id test_ = std::this_thread::get_id();
    mutable std::atomic<unsigned> looks_{0};
};

class FrameRate : public testing::Test {
protected:
    FrameRate()
    {
        settings.frame.width = 16;
        settings.frame.height = 2;
        virtual_device::StreamChannel channel;
        channel.destination = host.local();
        channel.packet_size = 1500;
        acquisition.set_channel(0, channel);
    }

    /// Frames so far, once the camera has done all that the time allows: it looks at the clock at most five times for a
    /// frame.
    std::uint64_t frames()
    {
        const unsigned before = clock.looks();
        while (clock.looks() - before < 15) {
            acquisition.change(settings);  // lets it look again at once
            std::this_thread::yield();
        }
        return acquisition.statistics().blocks;
    }

    WatchedClock clock;
    HostSocket host;
    softcam::CameraEvents events{loopback_address, [] { return false; }};
    softcam::Acquisition acquisition{loopback_address, 1, 0, {}, events, clock};
    softcam::AcquisitionSettings settings;
};

}  // namespace

TEST_F(FrameRate, AFrameComesWithEachPeriodAndNotBefore)
{
    std::uint64_t taken = 0;
    for (const Duration period : {1'000'000'000ns, 133'333'333ns, 40'000'000ns, 8'333'333ns, 1'000'000ns}) {
        settings.period = period;
        acquisition.start(settings);
        ASSERT_EQ(frames(), ++taken) << "the first one comes at once";
        for (int i = 0; i < 20; ++i) {
            clock.advance(period - 1ns);
            ASSERT_EQ(frames(), taken) << period.count() << " ns, too early";
            clock.advance(1ns);
            ASSERT_EQ(frames(), ++taken) << period.count() << " ns";
        }
    }
}

TEST_F(FrameRate, HoldsOverASecondHoweverTheCameraWakesUp)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 random(seed);
    std::uint64_t before = 0;
    for (const int rate : {25, 120}) {
        settings.period = std::chrono::nanoseconds(1'000'000'000 / rate);
        acquisition.start(settings);
        for (Duration passed{}; passed < 1s;) {
            const Duration step = std::min<Duration>(Duration(random() % settings.period.count()), 1s - passed);
            clock.advance(step);
            passed += step;
            static_cast<void>(frames());
        }
        const std::uint64_t taken = frames() - before;
        EXPECT_EQ(taken, static_cast<std::uint64_t>(rate) + 1) << "the frames at both ends of the second count";
        before += taken;
    }
}

TEST_F(FrameRate, AChangedRateHoldsFromTheFrameAfterTheNext)
{
    settings.period = 100ms;
    acquisition.start(settings);
    ASSERT_EQ(frames(), 1U);
    settings.period = 10ms;
    ASSERT_EQ(frames(), 1U);
    clock.advance(99ms);
    ASSERT_EQ(frames(), 1U) << "its time is set when the frame before is taken";
    clock.advance(1ms);
    ASSERT_EQ(frames(), 2U);
    clock.advance(10ms);
    ASSERT_EQ(frames(), 3U);
}
