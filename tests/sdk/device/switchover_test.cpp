// One application hands a camera over to another one.
#include <chrono>

#include "tests/sdk/device/device_fixture.h"

namespace {

using device_test::DeviceTest;
using device_test::RawCameraOptions;

constexpr std::int64_t key = 0xBEEF;

class SwitchoverTest : public DeviceTest {
protected:
    static RawCameraOptions with_switchover()
    {
        RawCameraOptions options = sound();
        options.capabilities |= 1U << 21;
        return options;
    }

    void SetUp() override
    {
        start(with_switchover());
        device->RegisterEventSink(&sink);
        set(*device, "SwitchoverKey", key);
        ASSERT_TRUE(device->GetGenLink()->SetBooleanValue("SwitchoverEnable", true).IsOK());
    }

    static void set(PvDevice& one, const char* parameter, std::int64_t value)
    {
        const PvResult result = one.GetGenLink()->SetIntegerValue(parameter, value);
        EXPECT_TRUE(result.IsOK()) << result.description();
    }

    PvDevice other;
};

TEST_F(SwitchoverTest, IsToldToWhoLosesControl)
{
    ASSERT_TRUE(connect().IsOK());
    set(other, "SwitchoverKey", key);
    const PvResult result = other.Connect(PvString(name()));
    ASSERT_TRUE(result.IsOK()) << result.description();
    ASSERT_TRUE(sink.wait_for_disconnection());
    PvString reason;
    EXPECT_TRUE(device->GetGenLink()->GetString("LinkLossReason", reason).IsOK());
    EXPECT_NE(reason.str().find("control of the device went to"), std::string::npos) << reason.str();
    EXPECT_TRUE(other.WriteRegister(0xA004, 7).IsOK());
    EXPECT_FALSE(device->IsConnected());
    // which leaves the device with its new controller
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_TRUE(other.WriteRegister(0xA004, 8).IsOK());
}

TEST_F(SwitchoverTest, IsNoticedInADeviceThatDoesNotTellWhoControlsIt)
{
    RawCameraOptions options = with_switchover();
    options.capabilities &= ~(1U << 27);
    start(options);
    ASSERT_TRUE(connect().IsOK());
    set(other, "SwitchoverKey", key);
    ASSERT_TRUE(other.Connect(PvString(name())).IsOK());
    ASSERT_TRUE(sink.wait_for_disconnection());
    EXPECT_TRUE(other.IsConnected());
}

TEST_F(SwitchoverTest, NeedsTheKey)
{
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(other.Connect(PvString(name())).GetCode(), PvResult::StateError);
    set(other, "SwitchoverKey", key + 1);
    EXPECT_EQ(other.Connect(PvString(name())).GetCode(), PvResult::StateError);
    EXPECT_TRUE(device->WriteRegister(0xA004, 7).IsOK());
    EXPECT_EQ(sink.disconnections(), 0);
}

TEST_F(SwitchoverTest, CanGoBackAndForth)
{
    ASSERT_TRUE(connect().IsOK());
    set(other, "SwitchoverKey", key);
    ASSERT_TRUE(other.GetGenLink()->SetBooleanValue("SwitchoverEnable", true).IsOK());
    ASSERT_TRUE(other.Connect(PvString(name())).IsOK());
    ASSERT_TRUE(sink.wait_for_disconnection());
    ASSERT_TRUE(connect().IsOK());
    EXPECT_TRUE(device->WriteRegister(0xA004, 9).IsOK());
}

TEST_F(SwitchoverTest, IsNotAllowedWithoutAKey)
{
    set(*device, "SwitchoverKey", 0);
    EXPECT_EQ(connect().GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(camera->reg(0x0A00), 0U);
    EXPECT_TRUE(device->GetGenLink()->SetIntegerValue("SwitchoverKey", 0x10000).IsFailure());
}

TEST_F(SwitchoverTest, IsNotTakenBackByRecovery)
{
    ASSERT_TRUE(device->GetGenLink()->SetBooleanValue("LinkRecoveryEnabled", true).IsOK());
    ASSERT_TRUE(connect().IsOK());
    set(other, "SwitchoverKey", key);
    ASSERT_TRUE(other.GetGenLink()->SetBooleanValue("SwitchoverEnable", true).IsOK());
    ASSERT_TRUE(other.Connect(PvString(name())).IsOK());
    ASSERT_TRUE(sink.wait_for_disconnection());
    // until recovery has been tried and refused
    const auto state = [&] {
        PvString text;
        device->GetGenLink()->GetString("LinkRecoveryState", text);
        return text.str();
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (state().find("is controlled by") == std::string::npos && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_NE(state().find("is controlled by"), std::string::npos) << state();
    EXPECT_TRUE(other.WriteRegister(0xA004, 7).IsOK());
    EXPECT_TRUE(other.IsConnected());
}

}  // namespace
