// The parameters of a connection, without a PvDevice around them.
#include "sdk/device/link_parameters.h"

#include <gtest/gtest.h>

#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/control/counting_new.h"
#include "tests/sdk/control/raw_camera.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::RawCamera;

class LinkTest : public testing::Test {
protected:
    void connect(const device_test::RawCameraOptions& options)
    {
        camera = std::make_unique<RawCamera>(options);
        connect();
    }
    /// To the camera that there is.
    void connect()
    {
        control::ConnectionTarget target;
        target.device = {camera->options().address, 3956};
        const PvResult result = control::Connection::open(target, {200ms, 3}, connection);
        ASSERT_TRUE(result.IsOK()) << result.description();
    }

    static device_test::RawCameraOptions sound()
    {
        device_test::RawCameraOptions options;
        options.address = device_test::loopback(39);
        return options;
    }

    std::int64_t value_of(const char* parameter)
    {
        std::int64_t value = -1;
        EXPECT_TRUE(link.parameters().GetIntegerValue(parameter, value).IsOK()) << parameter;
        return value;
    }

    std::unique_ptr<RawCamera> camera;
    std::shared_ptr<control::Connection> connection;
    bool debugged = false;
    device::Link link{[this] { return debugged; }};
};

TEST(LinkParameters, AreMadeWhenTheyAreAskedFor)
{
    if (!device_test::AllocationCount::is_possible()) {
        GTEST_SKIP() << "the sanitizer allocates";
    }
    const device_test::AllocationCount allocations;
    PvDevice device;
    EXPECT_LT(allocations.value(), 50);
    EXPECT_EQ(device.GetGenLink(), device.GetGenLink());
    EXPECT_GT(allocations.value(), 50);
}

TEST_F(LinkTest, ShowsTheHeartbeatTimeoutThatTheDeviceTook)
{
    connect(sound());
    link.attach(connection);
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x82 || request[10] != 0x09 || request[11] != 0x38) {
            return std::nullopt;
        }
        camera->set_reg(0x0938, 500);  // its least
        return std::vector<Bytes>{RawCamera::ack(request, 0, {0, 0, 0, 1})};
    });
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 100).IsOK());
    EXPECT_EQ(value_of("HeartbeatTimeout"), 500);
    EXPECT_EQ(link.heartbeat()->timeout_ms, 500U);
    link.detach();
    connection->close();
}

TEST_F(LinkTest, KeepsItsTimeoutWhenTheDeviceReadsBackNone)
{
    connect(sound());
    link.attach(connection);
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && request[10] == 0x09 && request[11] == 0x38) {
            camera->set_reg(0x0938, 0);
            return std::vector<Bytes>{RawCamera::ack(request, 0, {0, 0, 0, 1})};
        }
        return std::nullopt;
    });
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 2000).IsOK());
    EXPECT_EQ(camera->reg(0x0938), 0U);
    EXPECT_EQ(link.heartbeat()->timeout_ms, 3000U);
    link.detach();
    connection->close();
}

TEST_F(LinkTest, PutsTheHeartbeatTimeoutOfTheDeviceBack)
{
    connect(sound());
    camera->set_reg(0x0938, 4000);
    link.attach(connection);
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 600'000).IsOK());
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 700'000).IsOK());
    EXPECT_EQ(camera->reg(0x0938), 700'000U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0938), 4000U);
    // the setting holds for the next connection
    link.attach(connection);
    EXPECT_EQ(camera->reg(0x0938), 700'000U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0938), 4000U);
    connection->close();
}

TEST_F(LinkTest, PutsBackWhatTheDeviceHadAfterItsRestart)
{
    connect(sound());
    camera->set_reg(0x0938, 4000);
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 600'000).IsOK());
    link.attach(connection);
    EXPECT_TRUE(connection->lose("cable"));
    camera->set_reg(0x0938, 5000);
    camera->set_control(0);
    connect();
    link.attach(connection);
    EXPECT_EQ(camera->reg(0x0938), 600'000U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0938), 5000U);
    connection->close();
}

TEST_F(LinkTest, RaisesTheTimeoutWhileTheProcessIsDebugged)
{
    connect(sound());
    camera->set_reg(0x0938, 4000);
    link.attach(connection);
    debugged = true;
    link.attend_debugger();
    EXPECT_EQ(camera->reg(0x0938), 4000U) << "nobody has asked for it";

    EXPECT_TRUE(link.parameters().SetBooleanValue("HeartbeatDebugger", true).IsOK());
    EXPECT_EQ(camera->reg(0x0938), 600'000U);
    EXPECT_EQ(value_of("HeartbeatTimeout"), 3000) << "what beats are made for";
    const int writes = camera->count(0x0082);
    link.attend_debugger();
    EXPECT_EQ(camera->count(0x0082), writes);

    // set meanwhile, and put there when the debugger has gone
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 5000).IsOK());
    EXPECT_EQ(value_of("HeartbeatTimeout"), 5000);
    EXPECT_EQ(camera->reg(0x0938), 600'000U);
    debugged = false;
    link.attend_debugger();
    EXPECT_EQ(camera->reg(0x0938), 5000U);

    debugged = true;
    link.attend_debugger();
    EXPECT_EQ(camera->reg(0x0938), 600'000U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0938), 4000U);
    link.attend_debugger();
    EXPECT_EQ(camera->reg(0x0938), 4000U) << "detached";
    // who connects from within a debugger is held from the start
    link.attach(connection);
    EXPECT_EQ(camera->reg(0x0938), 600'000U);
    EXPECT_TRUE(link.parameters().SetBooleanValue("HeartbeatDebugger", false).IsOK());
    EXPECT_EQ(camera->reg(0x0938), 5000U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0938), 4000U);
    connection->close();
}

TEST_F(LinkTest, LeavesALongerTimeoutToADebugger)
{
    connect(sound());
    link.attach(connection);
    debugged = true;
    EXPECT_TRUE(link.parameters().SetIntegerValue("HeartbeatTimeout", 700'000).IsOK());
    EXPECT_TRUE(link.parameters().SetBooleanValue("HeartbeatDebugger", true).IsOK());
    EXPECT_EQ(camera->reg(0x0938), 700'000U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0938), 3000U);
    connection->close();
}

TEST_F(LinkTest, PutsNothingBackThatItDidNotChange)
{
    connect(sound());
    link.attach(connection);
    const int writes = camera->count(0x0082);
    link.detach();
    EXPECT_EQ(camera->count(0x0082), writes);
    connection->close();
}

TEST_F(LinkTest, PutsNothingBackButTheHeartbeatSupervision)
{
    auto options = sound();
    options.capabilities |= 0x20000000;
    connect(options);
    camera->set_reg(0x0954, 0x8);  // another flag, of the device's own
    link.attach(connection);
    EXPECT_TRUE(link.parameters().SetBooleanValue("HeartbeatDisable", true).IsOK());
    EXPECT_EQ(camera->reg(0x0954), 0x9U);
    link.detach();
    EXPECT_EQ(camera->reg(0x0954), 0x8U);
    connection->close();
}

TEST_F(LinkTest, ForgetsTheStreamTimeoutsOfOneChannelAlone)
{
    link.count_stream_timeout(0);
    link.count_stream_timeout(0);
    link.count_stream_timeout(1);
    EXPECT_EQ(value_of("StreamTimeoutCount"), 3);
    link.reset_stream_timeouts(0);
    EXPECT_EQ(value_of("StreamTimeoutCount"), 1);
}

TEST_F(LinkTest, ForgetsEveryCounterOnReset)
{
    link.heartbeat()->beats = 7;
    link.heartbeat()->missed = 5;
    link.count_loss("pulled");
    link.count_stream_timeout(0);
    const char* const counters[] = {"HeartbeatCount", "HeartbeatMissedCount", "LinkLossCount", "StreamTimeoutCount"};
    for (const char* counter : counters) {
        EXPECT_GT(value_of(counter), 0) << counter;
    }
    EXPECT_TRUE(link.parameters().ExecuteCommand("ResetStatistics").IsOK());
    for (const char* counter : counters) {
        EXPECT_EQ(value_of(counter), 0) << counter;
    }
}

}  // namespace
