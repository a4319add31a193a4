// A bridge between sides that the test plays.
#include "sdk/bridge/bridge.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <random>
#include <type_traits>

#include "tests/sdk/bridge/fakes.h"

using namespace std::chrono_literals;
using namespace bridge_test;
using vex::bridge::Bridge;
using vex::bridge::CameraSide;
using vex::bridge::HostSide;

namespace {

template <class Condition>
bool await(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

class Bridges : public testing::Test {
protected:
    PvResult start(const std::optional<PvSerialPortConfiguration>& line = std::nullopt)
    {
        auto made_host = std::make_unique<FakeHost>(seen);
        auto made_camera = std::make_unique<FakeCamera>(seen);
        made_camera->set_result = camera_set_result;
        FakeHost* const its_host = made_host.get();
        FakeCamera* const its_camera = made_camera.get();
        PvResult result = bridge.start(
            [&](std::unique_ptr<HostSide>& made) {
                made = std::move(made_host);
                return host_open_result;
            },
            [&](std::unique_ptr<CameraSide>& made) {
                made = std::move(made_camera);
                return camera_open_result;
            },
            line);
        if (result.IsOK()) {
            host = its_host;
            camera = its_camera;
            port = &camera->fake();
        }
        return result;
    }
    /// Started, and a program is there.
    void join(const std::optional<PvSerialPortConfiguration>& line = std::nullopt)
    {
        const PvResult result = start(line);
        ASSERT_TRUE(result.IsOK()) << result.description();
        host->connect();
        ASSERT_TRUE(host->await_attached());
        // and the bridge knows it, which only bytes tell
        while (!arrives()) {
        }
        bridge.reset_statistics();
    }
    bool arrives()
    {
        const std::uint64_t dropped = bridge.dropped();
        port->feed("!");
        return await([&] { return bridge.dropped() != dropped || host->has_received(); }) && host->forget_received();
    }

    Seen seen;
    PvResult host_open_result;
    PvResult camera_open_result;
    PvResult camera_set_result;
    Bridge bridge;
    FakeHost* host = nullptr;
    FakeCamera* camera = nullptr;
    FakePort* port = nullptr;
};

const PvSerialPortConfiguration fast{921'600, PvParityNone, 8, 1};

// ---- bytes ----

TEST_F(Bridges, CarryAndCountBytesEachWay)
{
    join();
    host->send("to the device");
    EXPECT_EQ(port->sent(13), bytes_of("to the device"));
    port->feed("back");
    EXPECT_EQ(host->received(4), bytes_of("back"));
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == 13; })) << bridge.sent_to_device();
    EXPECT_EQ(bridge.received_from_device(), 4U);
    EXPECT_EQ(bridge.dropped(), 0U);
}

TEST_F(Bridges, CountFarBeyondFourThousandMillion)
{
    EXPECT_TRUE((std::is_same_v<decltype(bridge.sent_to_device()), std::uint64_t>));
    vex::bridge::Counters counters;
    counters.received_from_device = 0xFFFFFFFF;
    EXPECT_EQ(counters.received_from_device += 1, 0x1'0000'0000U);
}

TEST_F(Bridges, KeepTheirStatisticsAfterAStopAndClearAllOfThem)
{
    join();
    host->send("12345");
    EXPECT_EQ(port->sent(5).size(), 5U);
    port->feed("123");
    EXPECT_EQ(host->received(3).size(), 3U);
    camera->dropped = 7;
    EXPECT_EQ(bridge.dropped(), 7U);
    ASSERT_TRUE(bridge.stop().IsOK());
    EXPECT_EQ(bridge.sent_to_device(), 5U);
    EXPECT_EQ(bridge.received_from_device(), 3U);
    EXPECT_EQ(bridge.dropped(), 7U);
    ASSERT_TRUE(start().IsOK());
    EXPECT_EQ(bridge.sent_to_device(), 5U);
    EXPECT_EQ(bridge.received_from_device(), 3U);
    camera->dropped = 2;
    EXPECT_EQ(bridge.dropped(), 9U);
    bridge.reset_statistics();
    EXPECT_EQ(bridge.sent_to_device(), 0U);
    EXPECT_EQ(bridge.received_from_device(), 0U);
    EXPECT_EQ(bridge.dropped(), 0U);
    camera->dropped = 3;
    EXPECT_EQ(bridge.dropped(), 1U);
}

TEST_F(Bridges, HoldTheHostWhileTheDeviceTakesNothing)
{
    join();
    port->take(10);
    Bytes bytes(20'000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 / 3);
    }
    host->send(bytes);
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == 10; }));
    EXPECT_GE(host->unread(), 15'000U) << "it waits with the program";
    port->take(SIZE_MAX);
    EXPECT_TRUE(port->sent(bytes.size()) == bytes);
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == bytes.size(); }));
}

TEST_F(Bridges, HoldTheDeviceWhileTheProgramTakesNothing)
{
    join();
    host->take(10);
    Bytes bytes(100'000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 11 / 3);
    }
    auto fed = std::async(std::launch::async, [&] { return port->feed(bytes); });
    ASSERT_TRUE(host->await_blocked());
    EXPECT_TRUE(await([&] { return port->unread() == 65'536; })) << "it waits with the port";
    host->send("the other way goes on");
    EXPECT_EQ(port->sent(21), bytes_of("the other way goes on"));
    host->take(SIZE_MAX);
    EXPECT_TRUE(host->received(bytes.size()) == bytes);
    EXPECT_TRUE(fed.get());
    EXPECT_EQ(bridge.received_from_device(), bytes.size());
    EXPECT_EQ(bridge.dropped(), 0U);
}

TEST_F(Bridges, GoOnWhereAPartWasTaken)
{
    join();
    port->take_in_parts(7);
    host->take_in_parts(13);
    Bytes bytes(10'000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 5 / 2);
    }
    host->send(bytes);
    EXPECT_TRUE(port->feed(bytes));
    EXPECT_TRUE(port->sent(bytes.size()) == bytes);
    EXPECT_TRUE(host->received(bytes.size()) == bytes);
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == bytes.size(); })) << bridge.sent_to_device();
}

TEST_F(Bridges, DropAndCountWhatComesWhileNobodyIsThere)
{
    ASSERT_TRUE(start().IsOK());
    port->feed("nobody hears this");
    EXPECT_TRUE(await([&] { return bridge.dropped() == 17; })) << bridge.dropped();
    EXPECT_EQ(bridge.received_from_device(), 17U);
    host->connect();
    while (!arrives()) {
    }
    port->feed("somebody this");
    EXPECT_EQ(host->received(13), bytes_of("somebody this"));
}

TEST_F(Bridges, KeepWhatWasForOneProgramFromTheNext)
{
    join();
    host->take(0);
    // more than the port's buffer: the device holds the rest
    auto fed = std::async(std::launch::async, [&] { return port->feed(Bytes(100'000, 'a')); });
    ASSERT_TRUE(host->await_blocked());
    ASSERT_TRUE(await([&] { return port->unread() == 65'536; }));
    host->connect();
    host->disconnect();
    host->take(SIZE_MAX);
    EXPECT_TRUE(await([&] { return bridge.dropped() == 100'000; })) << bridge.dropped();
    EXPECT_EQ(bridge.received_from_device(), 100'000U);
    EXPECT_TRUE(fed.get());
    ASSERT_TRUE(host->await_attached());
    while (!arrives()) {
    }
    port->feed("b");
    EXPECT_EQ(host->received(1), bytes_of("b"));
}

TEST_F(Bridges, HandWhatAProgramSentToTheDeviceThoughItHasGone)
{
    join();
    port->take(0);
    host->send("last words");
    EXPECT_TRUE(await([&] { return host->unread() == 0; }));
    host->disconnect();
    host->connect();
    host->send("; first words");
    port->take(SIZE_MAX);
    EXPECT_EQ(port->sent(23), bytes_of("last words; first words"));
}

TEST_F(Bridges, HoldWhatTheyHaveToSendWhileTheDeviceIsAwayAndGoOnByThemselves)
{
    ASSERT_TRUE(bridge.set_hard_coded_baud_rate(57'600).IsOK());
    join(fast);
    host->send("before ");
    EXPECT_EQ(port->sent(7), bytes_of("before "));
    const std::size_t set = seen.of_camera().size();
    port->set_away(true);
    host->send("meanwhile ");
    EXPECT_TRUE(await([&] { return host->unread() == 0; }));
    EXPECT_TRUE(await([&] { return port->refused_reads() > 0; }));
    port->set_away(false);
    host->send("after");
    EXPECT_EQ(port->sent(15), bytes_of("meanwhile after"));
    port->feed("back again");
    EXPECT_EQ(host->received(10), bytes_of("back again"));
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == 22; })) << bridge.sent_to_device();
    EXPECT_EQ(bridge.received_from_device(), 10U);
    ASSERT_TRUE(await([&] { return seen.of_camera().size() == set + 1; })) << "it may have forgotten its settings";
    EXPECT_EQ(seen.of_camera().back(), (PvSerialPortConfiguration{57'600, PvParityNone, 8, 1}));
}

/// The next bytes of one side, the same on both.
class Sequence {
public:
    explicit Sequence(std::uint64_t seed) : state_(seed | 1) {}
    void fill(std::span<std::uint8_t> bytes)
    {
        for (std::size_t i = 0; i < bytes.size(); i += sizeof state_) {
            state_ ^= state_ << 13;
            state_ ^= state_ >> 7;
            state_ ^= state_ << 17;
            std::memcpy(bytes.data() + i, &state_, std::min(sizeof state_, bytes.size() - i));
        }
    }

private:
    std::uint64_t state_;
};

// At 921,600 baud 8N1, both ways, in steps of half a second of the lines' time.
TEST_F(Bridges, CarryAnHourOfAFastLineByteForByte)
{
    constexpr std::size_t step = 921'600 / 10 / 2;
#if defined(_WIN32) || defined(__SANITIZE_THREAD__)
    constexpr int steps = 60 * 2;  // a minute: threads change slowly there
#else
    constexpr int steps = 3600 * 2;
#endif
    const std::uint64_t seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    join(fast);
    Sequence there(seed);
    Sequence there_again(seed);
    Sequence back(seed + 2);
    Sequence back_again(seed + 2);
    Bytes sent(step);
    Bytes answered(step);
    Bytes expected(step);
    for (int i = 0; i < steps; ++i) {
        there.fill(sent);
        back.fill(answered);
        host->send(sent);
        ASSERT_TRUE(port->feed(answered));
        there_again.fill(expected);
        ASSERT_TRUE(port->sent(step) == expected) << "to the device, step " << i;
        back_again.fill(expected);
        ASSERT_TRUE(host->received(step) == expected) << "from the device, step " << i;
    }
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == step * steps; }));
    EXPECT_EQ(bridge.received_from_device(), step * steps);
    EXPECT_EQ(bridge.dropped(), 0U);
}

// ---- starting and stopping ----

TEST_F(Bridges, StartOnceAndStopOnce)
{
    EXPECT_EQ(bridge.stop().GetCode(), PvResult::StateError);
    EXPECT_EQ(bridge.recover().GetCode(), PvResult::StateError);
    ASSERT_TRUE(start().IsOK());
    EXPECT_TRUE(bridge.runs());
    const PvResult again = start();
    EXPECT_EQ(again.GetCode(), PvResult::StateError);
    EXPECT_EQ(again.description(), "The bridge runs already");
    EXPECT_TRUE(bridge.stop().IsOK());
    EXPECT_FALSE(bridge.runs());
    EXPECT_EQ(bridge.stop().description(), "The bridge does not run");
    EXPECT_TRUE(start().IsOK());
}

TEST_F(Bridges, ThatCannotStartChangeNothing)
{
    ASSERT_TRUE(bridge.configure({19'200, PvParityOdd, 7, 1}).IsOK());
    host_open_result = PvResult::NotFound;
    EXPECT_EQ(start(fast).GetCode(), PvResult::NotFound);
    host_open_result = PvResult::OK;
    camera_open_result = PvResult::NotConnected;
    EXPECT_EQ(start(fast).GetCode(), PvResult::NotConnected);
    camera_open_result = PvResult::OK;
    camera_set_result = PvResult::NotSupported;
    EXPECT_EQ(start(fast).GetCode(), PvResult::NotSupported);
    EXPECT_FALSE(bridge.runs());
    EXPECT_EQ(bridge.configuration(), (PvSerialPortConfiguration{19'200, PvParityOdd, 7, 1}));
    EXPECT_TRUE(bridge.supported_baud_rates().empty());
    camera_set_result = PvResult::OK;
    EXPECT_TRUE(start(fast).IsOK());
}

TEST_F(Bridges, StopWithinATenthOfASecondWhateverTheyWaitFor)
{
    auto best = std::chrono::steady_clock::duration::max();
    for (int i = 0; i < 5; ++i) {
        join();
        host->take(0);
        port->take(0);
        host->send(Bytes(10'000));
        port->feed(Bytes(10'000));
        ASSERT_TRUE(host->await_blocked());
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(bridge.stop().IsOK());
        best = std::min(best, std::chrono::steady_clock::now() - begin);
    }
    EXPECT_LT(best, 100ms);
}

TEST_F(Bridges, RecoverBothSides)
{
    ASSERT_TRUE(start().IsOK());
    host->recover_result = PvResult::NotFound;
    EXPECT_EQ(bridge.recover().GetCode(), PvResult::NotFound);
    EXPECT_EQ(seen.recoveries, 0);
    host->recover_result = PvResult::OK;
    camera->recover_result = PvResult::NotConnected;
    EXPECT_EQ(bridge.recover().GetCode(), PvResult::NotConnected);
    camera->recover_result = PvResult::OK;
    EXPECT_TRUE(bridge.recover().IsOK());
    EXPECT_EQ(seen.recoveries, 2);
}

TEST_F(Bridges, KeepTheirStatisticsWhenRecovered)
{
    join();
    host->send("abc");
    EXPECT_EQ(port->sent(3).size(), 3U);
    EXPECT_TRUE(await([&] { return bridge.sent_to_device() == 3; }));
    ASSERT_TRUE(bridge.recover().IsOK());
    EXPECT_EQ(bridge.sent_to_device(), 3U);
}

// ---- settings ----

TEST_F(Bridges, HaveTheUsualConfigurationAtFirst)
{
    EXPECT_EQ(bridge.configuration(), PvSerialPortConfiguration());
    EXPECT_EQ(bridge.baud_rate(), 9600U);
    EXPECT_EQ(bridge.hard_coded_baud_rate(), 0U);
    EXPECT_TRUE(bridge.supported_baud_rates().empty());
}

TEST_F(Bridges, SetTheDeviceAsTheLine)
{
    ASSERT_TRUE(start(fast).IsOK());
    EXPECT_EQ(bridge.configuration(), fast);
    EXPECT_EQ(bridge.baud_rate(), 921'600U);
    EXPECT_EQ(seen.of_camera(), std::vector{fast});
    EXPECT_EQ(bridge.supported_baud_rates(), (std::vector<std::uint32_t>{9600, 115'200}));
}

TEST_F(Bridges, WithoutALineLeaveTheDeviceAsItIs)
{
    ASSERT_TRUE(start().IsOK());
    EXPECT_EQ(bridge.configuration(), camera->found);
    EXPECT_EQ(bridge.baud_rate(), 115'200U);
    EXPECT_TRUE(seen.of_camera().empty());
    ASSERT_TRUE(bridge.stop().IsOK());
    ASSERT_TRUE(bridge.configure(fast).IsOK());
    ASSERT_TRUE(start().IsOK());
    EXPECT_EQ(seen.of_camera(), std::vector{fast}) << "unless they were told";
    EXPECT_EQ(bridge.configuration(), fast);
}

TEST_F(Bridges, ThatRunChangeBothSidesAtOnce)
{
    ASSERT_TRUE(start(fast).IsOK());
    const PvSerialPortConfiguration slow{1200, PvParityEven, 7, 2};
    ASSERT_TRUE(bridge.configure(slow).IsOK());
    EXPECT_EQ(seen.of_host(), std::vector{slow});
    EXPECT_EQ(seen.of_camera().back(), slow);
    EXPECT_EQ(bridge.configuration(), slow);

    EXPECT_EQ(bridge.configure({0, PvParityNone, 8, 1}).GetCode(), PvResult::InvalidParameter);
    host->configure_result = PvResult::NotSupported;
    EXPECT_EQ(bridge.configure(fast).GetCode(), PvResult::NotSupported);
    host->configure_result = PvResult::OK;
    EXPECT_EQ(seen.of_camera().back(), slow);
    camera->set_result = PvResult::NotSupported;
    EXPECT_EQ(bridge.configure(fast).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(seen.of_host().back(), slow) << "put back";
    EXPECT_EQ(bridge.configuration(), slow);
}

TEST_F(Bridges, KeepAHardCodedBaudRateWhateverTheLineSays)
{
    ASSERT_TRUE(bridge.set_hard_coded_baud_rate(57'600).IsOK());
    EXPECT_EQ(bridge.hard_coded_baud_rate(), 57'600U);
    ASSERT_TRUE(start(fast).IsOK());
    const PvSerialPortConfiguration hard{57'600, PvParityNone, 8, 1};
    EXPECT_EQ(seen.of_camera(), std::vector{hard});
    EXPECT_EQ(bridge.baud_rate(), 57'600U);
    EXPECT_EQ(bridge.configuration(), fast) << "of the line";
    ASSERT_TRUE(bridge.configure({1200, PvParityEven, 8, 1}).IsOK());
    EXPECT_EQ(seen.of_camera().back(), (PvSerialPortConfiguration{57'600, PvParityEven, 8, 1}));
    EXPECT_EQ(seen.of_host().back(), (PvSerialPortConfiguration{1200, PvParityEven, 8, 1}));

    ASSERT_TRUE(bridge.set_hard_coded_baud_rate(0).IsOK());
    EXPECT_EQ(seen.of_camera().back(), (PvSerialPortConfiguration{1200, PvParityEven, 8, 1}));
    EXPECT_EQ(bridge.baud_rate(), 1200U);
    ASSERT_TRUE(bridge.set_hard_coded_baud_rate(19'200).IsOK());
    EXPECT_EQ(seen.of_camera().back().BaudRate, 19'200U);
    ASSERT_TRUE(bridge.stop().IsOK());
    ASSERT_TRUE(start(fast).IsOK());
    EXPECT_EQ(seen.of_camera().back(), (PvSerialPortConfiguration{19'200, PvParityNone, 8, 1})) << "when started again";

    camera->set_result = PvResult::NotSupported;
    EXPECT_EQ(bridge.set_hard_coded_baud_rate(300).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(bridge.hard_coded_baud_rate(), 19'200U);
    EXPECT_EQ(bridge.set_hard_coded_baud_rate(4'000'001).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(bridge.hard_coded_baud_rate(), 19'200U);
}

TEST_F(Bridges, WithoutALineKeepAHardCodedBaudRateToo)
{
    ASSERT_TRUE(bridge.set_hard_coded_baud_rate(57'600).IsOK());
    ASSERT_TRUE(start().IsOK());
    EXPECT_EQ(seen.of_camera(), (std::vector{PvSerialPortConfiguration{57'600, PvParityEven, 7, 2}}));
}

}  // namespace
