// Recovery with cameras of particular kinds, and with applications that act in its notifications.
#include <optional>
#include <thread>

#include "tests/sdk/device/raw_description.h"
#include "tests/sdk/device/recovery_fixture.h"

namespace {

using namespace std::chrono_literals;
using device_test::Names;
using device_test::Recovery;
using device_test::RecoveryTest;
using device_test::whole_recovery;

/// With a camera that keeps its controller whatever happens, and can be another.
class RecoveryOfRawCamera : public RecoveryTest {
protected:
    static device_test::RawCameraOptions sound()
    {
        device_test::RawCameraOptions options;
        options.address = device_test::loopback(39);
        options.serial = "RAW-39";
        options.description = device_test::raw_description();
        return options;
    }

    std::unique_ptr<device_test::RawCamera> camera = std::make_unique<device_test::RawCamera>(sound());
};

TEST_F(RecoveryOfRawCamera, WritesNothingToADeviceThatHasNotMissedItsController)
{
    connect();
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    const int heartbeat_settings = 1;
    const int writes = camera->count(0x0082);
    camera->mute(true);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    camera->mute(false);
    ASSERT_TRUE(sink.wait_for("acquisition"));
    EXPECT_EQ(camera->count(0x0082), writes + 1 + heartbeat_settings) << "the privilege";
    EXPECT_EQ(camera->reg(0x0938), 400U);
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(camera->reg(0x0938), 3000U) << "what the device had before the application came";
}

TEST_F(RecoveryOfRawCamera, PutsBackWhatWasWrittenWhereTheDescriptionCallsNothingPersistent)
{
    connect();
    set("Value", "77");
    camera.reset();
    camera = std::make_unique<device_test::RawCamera>(sound());
    ASSERT_NE(camera->reg(0xA000), 77U);
    ASSERT_TRUE(sink.wait_for("device"));
    EXPECT_EQ(text("Value"), "77");
    EXPECT_EQ(camera->reg(0xA000), 77U);
}

TEST_F(RecoveryOfRawCamera, PutsBackAStreamWhereTheDeviceHasNoPacketDelay)
{
    connect();
    std::uint32_t delay = 0;
    ASSERT_TRUE(device->ReadRegister(0x0D08, delay).IsFailure());
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    camera.reset();
    camera = std::make_unique<device_test::RawCamera>(sound());
    ASSERT_TRUE(sink.wait_for("configuration"));
    EXPECT_EQ(reg(0x0D00), 50'123U);
    EXPECT_EQ(reg(0x0D18), 0x7F000001U);
}

TEST_F(RecoveryOfRawCamera, PutsBackAPacketSizeWithoutFiringATestPacket)
{
    const auto power_cycled = [] {
        auto again = std::make_unique<device_test::RawCamera>(sound());
        again->set_reg(0x0D04, 0x80000000 | 1500);  // it shows the bit
        return again;
    };
    camera.reset();
    camera = power_cycled();
    connect();
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    camera.reset();
    camera = power_cycled();
    std::atomic<int> fired{0};
    camera->intercept([&](const device_test::Bytes& request) -> std::optional<std::vector<device_test::Bytes>> {
        for (std::size_t at = 8; request[3] == 0x82 && at + 8 <= request.size(); at += 8) {
            fired += request[at + 2] == 0x0D && request[at + 3] == 0x04 && (request[at + 4] & 0x80) != 0 ? 1 : 0;
        }
        return std::nullopt;
    });
    ASSERT_TRUE(sink.wait_for("configuration"));
    EXPECT_EQ(reg(0x0D04), 1500U);
    EXPECT_EQ(fired, 0);
}

TEST_F(RecoveryOfRawCamera, KeepsToTheApplicationsRetries)
{
    EXPECT_TRUE(link().SetIntegerValue("AnswerTimeout", 40).IsOK());
    EXPECT_TRUE(link().SetIntegerValue("CommandRetries", 6).IsOK());
    connect();
    camera.reset();
    camera = std::make_unique<device_test::RawCamera>(sound());
    ASSERT_TRUE(sink.wait_for("acquisition"));
    camera->intercept([](const device_test::Bytes& request) -> std::optional<std::vector<device_test::Bytes>> {
        if (request[3] == 0x80 && request[10] == 0xA0) {
            return std::vector<device_test::Bytes>{};
        }
        return std::nullopt;
    });
    std::uint32_t value = 0;
    const PvResult result = device->ReadRegister(0xA000, value);
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find("(7 attempts, "), std::string::npos) << result.description();
}

TEST_F(RecoveryOfRawCamera, TakesNoOtherDeviceForIt)
{
    connect();
    camera.reset();
    device_test::RawCameraOptions other = sound();
    other.serial = "RAW-40";
    camera = std::make_unique<device_test::RawCamera>(other);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    while (recovery_state().find("RAW-40") == std::string::npos) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(camera->reg(0x0A00), 0U);
    EXPECT_FALSE(device->IsConnected());

    camera.reset();
    other.mac.back() = 0x77;
    other.serial = "RAW-39";
    camera = std::make_unique<device_test::RawCamera>(other);
    while (recovery_state().find("02:11:22:33:44:77") == std::string::npos) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(camera->count(0x0082), 0);

    camera.reset();
    camera = std::make_unique<device_test::RawCamera>(sound());
    EXPECT_TRUE(sink.wait_for("acquisition"));
}

/// What a handler may do in each notification.
class HandlersOfRecovery : public Recovery, public testing::WithParamInterface<const char*> {
protected:
    void lose()
    {
        connect();
        camera->reboot();
        ASSERT_TRUE(sink.wait_for(GetParam()));
    }
};

TEST_P(HandlersOfRecovery, MayDisconnect)
{
    sink.on(GetParam(), [&] { EXPECT_TRUE(device->Disconnect().IsOK()); });
    lose();
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(sink.told().back(), GetParam());
}

TEST_P(HandlersOfRecovery, MayDestroyTheDevice)
{
    sink.on(GetParam(), [&] { device.reset(); });
    lose();
    EXPECT_EQ(sink.told().back(), GetParam());
}

TEST_P(HandlersOfRecovery, MayConnectAgain)
{
    sink.on(GetParam(), [&] {
        EXPECT_TRUE(device->Disconnect().IsOK());
        while (!device->Connect(PvString(address)).IsOK()) {
            std::this_thread::sleep_for(10ms);
        }
    });
    lose();
    EXPECT_TRUE(device->IsConnected());
    EXPECT_EQ(sink.told().back(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(In, HandlersOfRecovery,
                         testing::Values("disconnected", "reconnected", "device", "configuration", "acquisition"),
                         [](const auto& parameter) { return std::string(parameter.param); });

}  // namespace
