#include "sdk/control/heartbeat.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/control/scripted_transport.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::hex;

TEST(HeartbeatInterval, IsAQuarterOfTheTimeoutWithinLimits)
{
    EXPECT_EQ(control::heartbeat_interval(3000ms), 750ms);
    EXPECT_EQ(control::heartbeat_interval(360ms), 100ms);
    EXPECT_EQ(control::heartbeat_interval(60s), 2000ms);
}

TEST(HeartbeatInterval, IsAtMostAThirdOfTheTimeout)
{
    EXPECT_EQ(control::heartbeat_interval(200ms), 66ms);
    EXPECT_EQ(control::heartbeat_interval(1ms), 1ms);
    EXPECT_EQ(control::heartbeat_interval(3000ms, 400ms), 400ms);
    EXPECT_EQ(control::heartbeat_interval(3000ms, 60s), 1000ms);
    EXPECT_EQ(control::heartbeat_interval(60s, 10s), 10s);
}

class HeartbeatMonitorTest : public testing::Test {
protected:
    void answer_with(std::string_view bytes)
    {
        transport.on_send = [this, reply = hex(bytes)](const Bytes& request) {
            Bytes good = reply;
            good[6] = request[6];
            good[7] = request[7];
            transport.deliver(good);
        };
    }

    std::optional<std::string> beat(control::HeartbeatMonitor& monitor)
    {
        clock.advance(750ms);
        return monitor.beat(3000ms, {500ms, 1});
    }

    device_test::ManualClock clock;
    device_test::ScriptedTransport transport{clock};
    control::ControlChannel channel{transport, clock};
};

TEST_F(HeartbeatMonitorTest, IsContentWhileThePrivilegeIsThere)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    answer_with("0000 0081 0004 0000 00000002");
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(beat(monitor), std::nullopt);
    }
    EXPECT_EQ(transport.sent.at(0), hex("42 01 0080 0004 0001 00000A00"));
}

TEST_F(HeartbeatMonitorTest, BeatsInTheMiddleOfALongTransfer)
{
    // the transport, and so its clock, is used under the channel's lock only
    control::ControlChannel busy(transport, net::Clock::steady());
    control::HeartbeatMonitor monitor(busy, true, std::nullopt, net::Clock::steady());
    constexpr std::uint8_t read_register = 0x80;
    constexpr std::size_t messages_per_beat = 20;
    std::vector<std::future<std::optional<std::string>>> beats;
    transport.on_send = [&](const Bytes& request) {
        Bytes answer = {0, 0, 0, static_cast<std::uint8_t>(request[3] + 1), 0, 4, request[6], request[7]};
        if (request[3] == read_register) {
            answer.insert(answer.end(), {0, 0, 0, 2});
        } else {
            answer[4] = 2;  // 4 + 512 bytes
            answer.insert(answer.end(), request.begin() + 8, request.begin() + 12);
            answer.resize(answer.size() + 512);
        }
        if (transport.sent.size() % messages_per_beat == 1) {
            if (!beats.empty()) {
                beats.back().wait();
            }
            beats.push_back(std::async(std::launch::async, [&] { return monitor.beat(3000ms, {500ms, 1}); }));
            while (!busy.is_awaited()) {
                std::this_thread::yield();
            }
        }
        transport.deliver(answer);
    };
    Bytes memory(1 << 20);
    EXPECT_TRUE(busy.read_memory(0, memory).ok());
    for (std::size_t n = 0; n < beats.size(); ++n) {
        EXPECT_EQ(beats[n].get(), std::nullopt);
        EXPECT_EQ(transport.sent.at(n * messages_per_beat + 1)[3], read_register) << n;
    }
    EXPECT_GT(beats.size(), 100U);
}

TEST_F(HeartbeatMonitorTest, NoticesThatThePrivilegeIsGone)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    answer_with("0000 0081 0004 0000 00000000");
    const auto lost = beat(monitor);
    ASSERT_TRUE(lost);
    EXPECT_NE(lost->find("no longer knows this application"), std::string::npos);
}

TEST_F(HeartbeatMonitorTest, AMonitorHasNoPrivilegeToLose)
{
    control::HeartbeatMonitor monitor(channel, false, std::nullopt, clock);
    answer_with("0000 0081 0004 0000 00000000");
    EXPECT_EQ(beat(monitor), std::nullopt);
    answer_with("8006 0081 0000 0000");  // another application lets nobody read
    EXPECT_EQ(beat(monitor), std::nullopt);
}

TEST_F(HeartbeatMonitorTest, NoticesAnotherController)
{
    channel.set_concatenation(true);
    control::HeartbeatMonitor monitor(channel, true, control::PrivilegeHolder{{0xC0A80101}, 40000}, clock);
    answer_with("0000 0081 000C 0000 00000002 C0A80101 00009C40");
    EXPECT_EQ(beat(monitor), std::nullopt);
    EXPECT_EQ(beat(monitor), std::nullopt);
    answer_with("0000 0081 000C 0000 00000002 C0A80107 0000C350");
    const auto lost = beat(monitor);
    ASSERT_TRUE(lost);
    EXPECT_EQ(*lost, "control of the device went to 192.168.1.7, port 50000");
}

TEST_F(HeartbeatMonitorTest, NoticesThatThePermissionToHandOverIsGone)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock, true);
    answer_with("0000 0081 0004 0000 00000006");
    EXPECT_EQ(beat(monitor), std::nullopt);
    answer_with("0000 0081 0004 0000 00000002");
    EXPECT_EQ(beat(monitor), "control of the device went to another application");
    control::HeartbeatMonitor keeping(channel, true, std::nullopt, clock);
    EXPECT_EQ(beat(keeping), std::nullopt);
}

TEST_F(HeartbeatMonitorTest, NoticesThatItIsDeniedAccess)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    answer_with("8006 0081 0000 0000");
    EXPECT_TRUE(beat(monitor));
}

TEST_F(HeartbeatMonitorTest, GivesASilentDeviceUpAfterTheTimeoutOnly)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    answer_with("0000 0081 0004 0000 00000002");
    EXPECT_EQ(beat(monitor), std::nullopt);
    const auto heard = clock.now();
    transport.on_send = nullptr;
    std::optional<std::string> lost;
    while (!lost) {
        lost = monitor.beat(3000ms, {500ms, 1});
        EXPECT_TRUE(monitor.is_unanswered());
    }
    EXPECT_EQ(clock.now() - heard, 3000ms);
    EXPECT_EQ(*lost, "the device has not answered for 3000 ms");
}

TEST_F(HeartbeatMonitorTest, GivesADeviceWithALongTimeoutUpLongBefore)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    const auto begin = clock.now();
    while (!monitor.beat(1h, {500ms, 1})) {
        clock.advance(750ms);
    }
    EXPECT_GE(clock.now() - begin, 10s);
    EXPECT_LT(clock.now() - begin, 12s);
}

TEST_F(HeartbeatMonitorTest, AnyAnswerOfTheDeviceIsASignOfLife)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    for (int i = 0; i < 20; ++i) {
        transport.on_send = nullptr;
        EXPECT_EQ(monitor.beat(3000ms, {500ms, 1}), std::nullopt);
        answer_with("8003 0081 0000 0000");
        std::uint32_t value = 0;
        EXPECT_FALSE(channel.read_register(0xFFFF0000, value).ok());
    }
}

TEST_F(HeartbeatMonitorTest, OneLostDatagramAfterALongPauseIsNotTheEnd)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    answer_with("0000 0081 0004 0000 00000002");
    EXPECT_EQ(beat(monitor), std::nullopt);
    clock.advance(60s);  // a debugger held this process
    transport.on_send = nullptr;
    EXPECT_EQ(beat(monitor), std::nullopt);
    answer_with("0000 0081 0004 0000 00000002");
    EXPECT_EQ(beat(monitor), std::nullopt);
    EXPECT_FALSE(monitor.is_unanswered());
}

TEST_F(HeartbeatMonitorTest, CountsOnlyMissedBeatsInARow)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    for (int i = 0; i < 3; ++i) {
        transport.on_send = nullptr;
        EXPECT_EQ(beat(monitor), std::nullopt);
        EXPECT_EQ(beat(monitor), std::nullopt);
        answer_with("0000 0081 0004 0000 00000002");
        EXPECT_EQ(beat(monitor), std::nullopt);
        clock.advance(60s);  // a debugger held this process
    }
}

TEST_F(HeartbeatMonitorTest, AClosedChannelIsNoLoss)
{
    control::HeartbeatMonitor monitor(channel, true, std::nullopt, clock);
    channel.close();
    EXPECT_EQ(beat(monitor), std::nullopt);
}

// ---- the thread, against a camera ----

class HeartbeatThreadTest : public testing::Test {
protected:
    HeartbeatThreadTest()
    {
        device_test::RawCameraOptions options;
        options.address = device_test::loopback(32);
        options.heartbeat_timeout = 400;
        camera = std::make_unique<device_test::RawCamera>(options);
        control::ConnectionTarget target;
        target.device = {options.address, 3956};
        const PvResult result = control::Connection::open(target, {100ms, 2}, connection);
        EXPECT_TRUE(result.IsOK()) << result.description();
        settings->timeout_ms = connection->facts().heartbeat_timeout_ms;
    }
    ~HeartbeatThreadTest() override
    {
        camera->mute(false);
        connection->close();
    }

    std::unique_ptr<device_test::RawCamera> camera;
    std::shared_ptr<control::Connection> connection;
    std::shared_ptr<control::HeartbeatSettings> settings = std::make_shared<control::HeartbeatSettings>();
    std::promise<std::string> lost;
};

TEST_F(HeartbeatThreadTest, BeatsAtItsInterval)
{
    const int before = camera->count(0x0080);
    settings->interval_ms = 20;
    std::atomic<unsigned> prepared{0};
    const control::Heartbeat heartbeat(
        connection, settings, [](const std::string&) { FAIL(); },
        [&] {
            EXPECT_EQ(prepared, settings->beats);
            ++prepared;
        });
    while (camera->count(0x0080) < before + 5) {
        std::this_thread::yield();
    }
    EXPECT_GE(settings->beats, 4U);
    EXPECT_GE(prepared, 5U);
}

TEST_F(HeartbeatThreadTest, TellsOnceThatTheDeviceIsGone)
{
    settings->timeout_ms = 100;
    const control::Heartbeat heartbeat(connection, settings,
                                       [&](const std::string& reason) { lost.set_value(reason); });
    camera->mute(true);
    auto reason = lost.get_future();
    ASSERT_EQ(reason.wait_for(10s), std::future_status::ready);
    EXPECT_NE(reason.get().find("has not answered"), std::string::npos);
    EXPECT_GE(settings->missed, 3U);
}

TEST_F(HeartbeatThreadTest, GivesABeatNoMoreTimeThanItsInterval)
{
    connection->channel().set_retry_policy({std::chrono::hours(1), 1});
    settings->timeout_ms = 100;
    const control::Heartbeat heartbeat(connection, settings,
                                       [&](const std::string& reason) { lost.set_value(reason); });
    camera->mute(true);
    EXPECT_EQ(lost.get_future().wait_for(20s), std::future_status::ready);
    EXPECT_GE(settings->missed, 3U);
}

TEST_F(HeartbeatThreadTest, ChecksAtOnceWhenAsked)
{
    settings->interval_ms = 3'600'000;
    settings->timeout_ms = 3 * 3'600'000;
    control::Heartbeat heartbeat(connection, settings, [&](const std::string& reason) { lost.set_value(reason); });
    while (settings->beats < 1) {
        std::this_thread::yield();
    }
    camera->set_control(0);
    heartbeat.check_now();
    auto reason = lost.get_future();
    ASSERT_EQ(reason.wait_for(10s), std::future_status::ready);
    EXPECT_NE(reason.get().find("no longer knows"), std::string::npos);
}

TEST_F(HeartbeatThreadTest, MayBeDestroyedFromWithinItsCallback)
{
    auto gone = std::make_shared<std::promise<void>>();
    auto ended = gone->get_future();
    std::unique_ptr<control::Heartbeat> heartbeat;
    std::mutex made;
    {
        const std::scoped_lock lock(made);
        heartbeat = std::make_unique<control::Heartbeat>(connection, settings, [&, gone](const std::string&) {
            {
                const std::scoped_lock inner(made);
                heartbeat.reset();
            }
            gone->set_value();
        });
    }
    camera->set_control(0);
    EXPECT_EQ(ended.wait_for(10s), std::future_status::ready);
}

TEST_F(HeartbeatThreadTest, StopsWithoutWaitingForItsInterval)
{
    settings->interval_ms = 3'600'000;
    settings->timeout_ms = 3 * 3'600'000;
    const auto begin = std::chrono::steady_clock::now();
    control::Heartbeat heartbeat(connection, settings, [](const std::string&) { FAIL(); });
    heartbeat.stop(10s);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

}  // namespace
