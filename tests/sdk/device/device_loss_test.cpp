// What happens when a connected device goes away, and what its application may do about it.
#include <chrono>

#include "tests/sdk/device/device_fixture.h"

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::DeviceTest;

class DeviceLoss : public DeviceTest {
protected:
    void SetUp() override
    {
        device->RegisterEventSink(&sink);
        start_and_connect();
    }
};

TEST_F(DeviceLoss, OfASilentDeviceIsTold)
{
    camera->mute(true);
    ASSERT_TRUE(sink.wait_for_disconnection());
    EXPECT_EQ(sink.device, device.get());
    EXPECT_NE(sink.thread, std::this_thread::get_id());
    EXPECT_FALSE(sink.connected_when_told);
    EXPECT_FALSE(device->IsConnected());
    std::uint32_t value = 0;
    EXPECT_EQ(device->ReadRegister(0xA000, value).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(device->GetGenParameters()->SetIntegerValue("Value", 1).IsFailure());
    EXPECT_EQ(link_value("LinkLossCount"), 1);
    EXPECT_GE(link_value("HeartbeatMissedCount"), 3);
    PvString reason;
    EXPECT_TRUE(device->GetGenLink()->GetString("LinkLossReason", reason).IsOK());
    EXPECT_NE(reason.str().find("has not answered"), std::string::npos);
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(sink.disconnections(), 1);
}

TEST_F(DeviceLoss, IsAlwaysToldOnTheSameThread)
{
    std::atomic<int> told_there{0};
    sink.on_disconnected = [&] {
        thread_local int told = 0;
        told_there = ++told;
    };
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection());
    ASSERT_TRUE(connect().IsOK());
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection(2));
    EXPECT_EQ(told_there, 2);
}

TEST_F(DeviceLoss, OfControlIsTold)
{
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection());
    PvString reason;
    device->GetGenLink()->GetString("LinkLossReason", reason);
    EXPECT_EQ(reason.str(), "the device no longer knows this application as its controller");
}

TEST_F(DeviceLoss, ToAnotherApplicationIsTold)
{
    camera->set_control(2, {{0x0A000001}, 777});
    ASSERT_TRUE(sink.wait_for_disconnection());
    PvString reason;
    device->GetGenLink()->GetString("LinkLossReason", reason);
    EXPECT_EQ(reason.str(), "control of the device went to 10.0.0.1, port 777");
    // what belongs to another is not given back
    EXPECT_EQ(camera->reg(0x0A00), 2U);
}

TEST_F(DeviceLoss, EndsAnAccessUnderWay)
{
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue("AnswerTimeout", 60'000).IsOK());
    camera->mute(true);
    std::uint32_t value = 0;
    const auto begin = std::chrono::steady_clock::now();
    std::thread ender([&] {
        std::this_thread::sleep_for(50ms);
        device->Disconnect();
    });
    EXPECT_EQ(device->ReadRegister(0xA000, value).GetCode(), PvResult::NotConnected);
    ender.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(DeviceLoss, IsNotToldAfterADisconnection)
{
    device->Disconnect();
    camera->mute(true);
    PvDevice other;  // as long as a loss would have taken
    other.Connect(PvString(name()));
    EXPECT_EQ(sink.disconnections(), 0);
}

TEST_F(DeviceLoss, DoesNotPreventAnotherConnection)
{
    camera->mute(true);
    ASSERT_TRUE(sink.wait_for_disconnection());
    camera->mute(false);
    camera->set_control(0);
    PvGenParameterArray* const array = device->GetGenParameters();
    EXPECT_TRUE(connect().IsOK());
    EXPECT_EQ(device->GetGenParameters(), array);
    camera->set_control(0);
    EXPECT_TRUE(sink.wait_for_disconnection(2));
}

TEST_F(DeviceLoss, MayBeAnsweredByDisconnecting)
{
    sink.on_disconnected = [&] { EXPECT_TRUE(device->Disconnect().IsOK()); };
    camera->set_control(0);
    EXPECT_TRUE(sink.wait_for_disconnection());
}

TEST_F(DeviceLoss, MayBeAnsweredByConnectingAgain)
{
    sink.on_disconnected = [&] { EXPECT_TRUE(connect().IsOK()); };
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection());
    EXPECT_TRUE(device->IsConnected());
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection(2));
    EXPECT_TRUE(device->IsConnected());
}

TEST_F(DeviceLoss, MayBeAnsweredByDestroyingTheDevice)
{
    device_test::DeviceSink second;
    device->RegisterEventSink(&second);
    sink.on_disconnected = [&] { device.reset(); };
    camera->set_control(0);
    EXPECT_TRUE(sink.wait_for_disconnection());
    EXPECT_EQ(second.disconnections(), 0);
}

TEST_F(DeviceLoss, CanMeetADisconnectionOnAnotherThread)
{
    sink.on_disconnected = [&] { device->Disconnect(); };
    camera->set_control(0);
    device->ReportStreamTimeout();
    for (int i = 0; i < 100; ++i) {
        device->Disconnect();
    }
    EXPECT_FALSE(device->IsConnected());
}

TEST_F(DeviceLoss, IsFoundAtOnceWhenAStreamTimeoutIsReported)
{
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue("HeartbeatInterval", 60'000).IsOK());
    // the interval that was running ends with the next beat
    const std::int64_t beats = link_value("HeartbeatCount");
    while (link_value("HeartbeatCount") == beats) {
        std::this_thread::yield();
    }
    camera->set_control(0);
    EXPECT_TRUE(device->ReportStreamTimeout().IsOK());
    EXPECT_TRUE(sink.wait_for_disconnection());
    EXPECT_EQ(link_value("StreamTimeoutCount"), 1);
}

TEST_F(DeviceLoss, KeepsAnIdleConnectionAlive)
{
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue("HeartbeatInterval", 10).IsOK());
    const std::int64_t beats = link_value("HeartbeatCount");
    while (link_value("HeartbeatCount") < beats + 40) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_TRUE(device->IsConnected());
    EXPECT_EQ(sink.disconnections(), 0);
}

TEST_F(DeviceLoss, DestructionIsBoundedWhenTheDeviceIsGone)
{
    camera->mute(true);
    const auto begin = std::chrono::steady_clock::now();
    device.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_EQ(sink.disconnections(), 0);
}

}  // namespace
