// A lost device that comes back: what is told, in which order, and what is put back.
#include <system_error>
#include <thread>

#include "sdk/genicam/PvGenEventSink.h"
#include "sdk/net/udp_socket.h"
#include "sdk/wire/bootstrap.h"
#include "tests/sdk/device/raw_description.h"
#include "tests/sdk/device/recovery_fixture.h"
#include "tools/softcam/registers.h"

namespace {

using namespace std::chrono_literals;
using device_test::Names;
using device_test::Recovery;
using device_test::whole_recovery;

TEST_F(Recovery, IsToldInOrder)
{
    connect();
    reboot();
    EXPECT_EQ(sink.told(), whole_recovery);
    EXPECT_FALSE(sink.connected_at("disconnected"));
    for (const char* name : {"reconnected", "device", "configuration", "acquisition"}) {
        EXPECT_TRUE(sink.connected_at(name)) << name;
    }
    EXPECT_TRUE(device->IsConnected());
    while (recoveries() == 0) {
        std::this_thread::yield();  // counted after the last notification
    }
    EXPECT_EQ(recoveries(), 1);
    EXPECT_EQ(recovery_state(), "");
    EXPECT_TRUE(link().ExecuteCommand("ResetStatistics").IsOK());
    EXPECT_EQ(recoveries(), 0);
}

TEST_F(Recovery, PutsBackWhatWasSet)
{
    connect();
    PvGenParameterArray* const array = device->GetGenParameters();
    PvGenInteger* const width = array->GetInteger("Width");
    ASSERT_TRUE(width->SetValue(320).IsOK());
    set("PixelFormat", "Mono16");
    set("EventSelector", "FrameEnd");
    set("EventNotification", "On");
    set("EventSelector", "Test");
    set("EventNotification", "On");
    set("EventSelector", "FrameStart");
    const int accesses = sink.accesses;
    reboot();

    EXPECT_EQ(device->GetGenParameters(), array);
    std::int64_t value = 0;
    EXPECT_TRUE(width->GetValue(value).IsOK());
    EXPECT_EQ(value, 320);
    EXPECT_EQ(text("PixelFormat"), "Mono16");
    EXPECT_EQ(text("EventSelector"), "FrameStart");
    EXPECT_EQ(text("EventNotification"), "Off");
    set("EventSelector", "FrameEnd");
    EXPECT_EQ(text("EventNotification"), "On");
    set("EventSelector", "Test");
    EXPECT_EQ(text("EventNotification"), "On");
    EXPECT_GT(sink.accesses, accesses);
}

TEST_F(Recovery, PutsBackWhatWasSetRightAfterItWasTurnedOn)
{
    link().SetBooleanValue("LinkRecoveryEnabled", false);
    connect();
    link().SetBooleanValue("LinkRecoveryEnabled", true);
    set("Width", "320");
    reboot();
    EXPECT_EQ(text("Width"), "320");
}

TEST_F(Recovery, PutsBackWhatWasSetBeforeTheSettingsCouldBeRead)
{
    connect();
    sink.on("acquisition", [this] {
        // on the thread that reads the settings, later
        link().SetBooleanValue("LinkRecoveryEnabled", false);
        link().SetBooleanValue("LinkRecoveryEnabled", true);
        set("IPEngineSerial0BaudRate", "19200");
        camera->go_silent(true);
    });
    reboot();
    sink.on("acquisition", nullptr);
    ASSERT_TRUE(sink.wait_for("disconnected", 2));
    camera->reboot({.silence = 0ms});
    camera->go_silent(false);
    ASSERT_TRUE(sink.wait_for("acquisition", 2));
    EXPECT_EQ(text("IPEngineSerial0BaudRate"), "19200");
}

TEST_F(Recovery, OfSettingsIsNoAccessOfTheApplication)
{
    link().SetBooleanValue("LinkRecoveryEnabled", false);
    connect();
    set("Width", "320");
    EXPECT_TRUE(device->Disconnect().IsOK());
    sink.accesses = 0;
    connect();
    const int of_connecting = sink.accesses;
    EXPECT_TRUE(device->Disconnect().IsOK());
    link().SetBooleanValue("LinkRecoveryEnabled", true);
    sink.accesses = 0;
    connect();
    EXPECT_EQ(sink.accesses, of_connecting) << "when they are remembered";
    reboot();
    EXPECT_EQ(sink.accesses, of_connecting) << "when they are put back, and before";
    EXPECT_EQ(text("Width"), "320");
}

TEST_F(Recovery, PutsBackWhatWasSetBeforeTheConnection)
{
    connect();
    set("Width", "240");
    ASSERT_TRUE(device->Disconnect().IsOK());
    connect();
    reboot();
    EXPECT_EQ(text("Width"), "240");
}

TEST_F(Recovery, PutsBackNothingOfAnEarlierConnection)
{
    namespace stream = vex::wire::bootstrap::stream;
    connect();
    set("Width", "320");
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    execute("AcquisitionStart");
    ASSERT_TRUE(device->Disconnect().IsOK());
    PvDevice other;
    ASSERT_TRUE(other.Connect(PvString(address)).IsOK());
    ASSERT_TRUE(other.GetGenParameters()->SetIntegerValue("Width", 200).IsOK());
    ASSERT_TRUE(other.Disconnect().IsOK());
    connect();
    reboot();
    EXPECT_EQ(text("Width"), "200");
    EXPECT_EQ(reg(vex::wire::bootstrap::stream_register(0, stream::port)), 0U);
    EXPECT_EQ(reg(softcam::reg::acquisition_status), 0U);
}

TEST_F(Recovery, DoesAgainWhatOneSettingDidToAnother)
{
    connect();
    set("Width", "320");
    execute("UserSetLoad");  // the default set: the width is gone
    const std::string default_width = text("Width");
    ASSERT_NE(default_width, "320");
    set("Height", "100");
    reboot();
    EXPECT_EQ(text("Width"), default_width);
    EXPECT_EQ(text("Height"), "100");
}

TEST_F(Recovery, LoadsTheUserSetThatWasLoaded)
{
    connect();
    set("Width", "480");
    set("UserSetSelector", "UserSet1");
    execute("UserSetSave");
    set("Width", "320");
    execute("UserSetLoad");
    set("UserSetSelector", "Default");
    ASSERT_EQ(text("Width"), "480");
    reboot();
    EXPECT_EQ(text("Width"), "480");
    EXPECT_EQ(text("UserSetSelector"), "Default");
}

TEST_F(Recovery, PutsBackStreamAndAcquisition)
{
    namespace stream = vex::wire::bootstrap::stream;
    using vex::wire::bootstrap::stream_register;
    connect();
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    set("GevSCPSPacketSize", "1400");
    set("Width", "320");
    set("TLParamsLocked", "1");
    execute("AcquisitionStart");
    ASSERT_EQ(reg(softcam::reg::acquisition_status), 1U);
    std::uint32_t port_at_device = 1;
    std::uint32_t port_at_configuration = 0;
    std::uint32_t running_at_configuration = 1;
    sink.on("device", [&] { port_at_device = reg(stream_register(0, stream::port)); });
    sink.on("configuration", [&] {
        port_at_configuration = reg(stream_register(0, stream::port)) & 0xFFFF;
        running_at_configuration = reg(softcam::reg::acquisition_status);
    });
    reboot();
    EXPECT_EQ(port_at_device, 0U);
    EXPECT_EQ(port_at_configuration, 50'123U);
    EXPECT_EQ(running_at_configuration, 0U);
    EXPECT_EQ(reg(softcam::reg::acquisition_status), 1U);
    EXPECT_EQ(reg(stream_register(0, stream::destination)), 0x7F000001U);
    EXPECT_EQ(reg(stream_register(0, stream::packet_size)) & 0xFFFF, 1400U);
    EXPECT_EQ(text("TLParamsLocked"), "1");
    EXPECT_EQ(text("Width"), "320") << "the lock does not keep it from being put back";
}

TEST_F(Recovery, LeavesAStoppedAcquisitionStopped)
{
    connect();
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    execute("AcquisitionStart");
    execute("AcquisitionStop");
    reboot();
    EXPECT_EQ(reg(softcam::reg::acquisition_status), 0U);
}

TEST_F(Recovery, StartsNoAcquisitionThatMayHaveEnded)
{
    connect();
    ASSERT_TRUE(device->SetStreamDestination("127.0.0.1", 50'123).IsOK());
    set("AcquisitionMode", "MultiFrame");
    set("AcquisitionFrameCount", "10000");
    execute("AcquisitionStart");
    ASSERT_EQ(reg(softcam::reg::acquisition_status), 1U);
    reboot();
    EXPECT_EQ(reg(softcam::reg::acquisition_status), 0U);
}

TEST_F(Recovery, LeavesADeviceAloneThatHasNotMissedItsController)
{
    // the device waits for an hour, the application at most ten seconds
    connect();
    set("Width", "320");
    const std::uint32_t port = reg(vex::wire::bootstrap::primary_application_port);
    ASSERT_TRUE(device->WriteRegister(vex::wire::bootstrap::heartbeat_timeout, 3'600'000).IsOK());
    ASSERT_TRUE(features().SetIntegerValue("GevSCPSPacketSize", 1400).IsOK());
    camera->go_silent(true);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    camera->go_silent(false);
    ASSERT_TRUE(sink.wait_for("acquisition"));
    EXPECT_EQ(sink.told(), whole_recovery);
    EXPECT_EQ(reg(vex::wire::bootstrap::primary_application_port), port);
    EXPECT_EQ(camera->control_statistics().heartbeat_expired, 0U);
    EXPECT_EQ(text("GevSCPSPacketSize"), "1400") << "not remembered, because written as a feature, and not lost either";
}

TEST_F(Recovery, WaitsForAnotherControllerToEnd)
{
    PvDevice other;
    connect();
    sink.on("disconnected", [&] {
        while (!other.Connect(PvString(address)).IsOK()) {
            std::this_thread::sleep_for(10ms);
        }
    });
    camera->reboot();
    while (recovery_state().find("controlled by") == std::string::npos) {
        std::this_thread::sleep_for(10ms);
    }
    std::int64_t width = 0;
    EXPECT_TRUE(other.GetGenParameters()->SetIntegerValue("Width", 200).IsOK());
    EXPECT_TRUE(other.GetGenParameters()->GetIntegerValue("Width", width).IsOK());
    EXPECT_TRUE(other.IsConnected());
    EXPECT_FALSE(device->IsConnected());
    other.Disconnect();
    EXPECT_TRUE(sink.wait_for("acquisition"));
    EXPECT_EQ(sink.told(), whole_recovery);
}

TEST_F(Recovery, IsNotAttemptedUnlessAskedFor)
{
    link().SetBooleanValue("LinkRecoveryEnabled", false);
    connect();
    camera->reboot();
    ASSERT_TRUE(sink.wait_for("disconnected"));
    let_another_connect();
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(sink.told(), Names{"disconnected"});
}

TEST_F(Recovery, FailsWithWordsWhenTheDescriptionIsAnother)
{
    connect();
    softcam::RebootOptions how;
    how.description = device_test::raw_description();
    camera->reboot(how);
    while (recovery_state().find("another GenICam description") == std::string::npos) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(sink.told(), Names{"disconnected"});
    // what cannot be recovered can be connected
    EXPECT_TRUE(device->Connect(PvString(address)).IsOK());
}

TEST_F(Recovery, FindsTheDeviceAtAnotherAddress)
{
    if (!device_test::has_loopback_addresses()) {
        GTEST_SKIP() << "there is one address";
    }
    connect();
    set("Width", "320");
    softcam::RebootOptions how;
    how.adapter = device_test::loopback(40).to_string();
    reboot(how);
    EXPECT_EQ(text("Width"), "320");
    EXPECT_EQ(camera->address().to_string(), how.adapter);
}

TEST_F(Recovery, EndsWhenTheApplicationDisconnects)
{
    connect();
    camera->go_silent(true);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    EXPECT_TRUE(device->Disconnect().IsOK());
    camera->go_silent(false);
    let_another_connect();
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(sink.told(), Names{"disconnected"});
}

TEST_F(Recovery, EndsWhenItIsSwitchedOff)
{
    connect();
    camera->go_silent(true);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    EXPECT_TRUE(link().SetBooleanValue("LinkRecoveryEnabled", false).IsOK());
    camera->go_silent(false);
    let_another_connect();
    // as long as several searches take, measured by the beats of an application that only reads
    PvDevice other;
    PvGenParameterArray& its_link = *other.GetGenLink();
    EXPECT_TRUE(its_link.SetIntegerValue("HeartbeatInterval", 100).IsOK());
    ASSERT_TRUE(other.Connect(PvString(address), PvAccessReadOnly).IsOK());
    std::int64_t beats = 0;
    while (beats < 15) {
        std::this_thread::sleep_for(10ms);
        ASSERT_TRUE(its_link.GetIntegerValue("HeartbeatCount", beats).IsOK());
    }
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(sink.told(), Names{"disconnected"});
}

TEST_F(Recovery, TakesAnotherPortWhenItsOwnWasTakenMeanwhile)
{
    connect();
    const vex::Endpoint before = {{reg(vex::wire::bootstrap::primary_application_ip)},
                                  static_cast<std::uint16_t>(reg(vex::wire::bootstrap::primary_application_port))};
    camera->go_silent(true);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    vex::net::UdpSocket taken;
    while (!taken.is_open()) {
        try {
            taken = vex::net::UdpSocket::open(before);
        } catch (const std::system_error&) {
            std::this_thread::yield();  // an attempt to reach the camera is using it
        }
    }
    camera->go_silent(false);
    ASSERT_TRUE(sink.wait_for("acquisition")) << recovery_state();
    EXPECT_EQ(sink.told(), whole_recovery);
    EXPECT_NE(reg(vex::wire::bootstrap::primary_application_port), before.port);
}

TEST_F(Recovery, IsCountedFromConnectionToConnection)
{
    const auto reboot_and_await_count = [&](std::int64_t before) {
        camera->reboot();
        while (recoveries() == before) {
            std::this_thread::sleep_for(10ms);
        }
    };
    connect();
    reboot_and_await_count(0);
    EXPECT_TRUE(device->Disconnect().IsOK());
    connect();
    const std::int64_t after_the_next = recoveries();
    EXPECT_EQ(after_the_next, 1);
    reboot_and_await_count(after_the_next);
    EXPECT_EQ(recoveries(), 2);
}

TEST_F(Recovery, TellsTheFeaturesThatTheyAreThereAgain)
{
    class Watch : public PvGenEventSink {
    public:
        void OnParameterUpdate(PvGenParameter* parameter) override { available = parameter->IsAvailable(); }
        std::atomic<bool> available{true};
    };
    connect();
    Watch watch;
    PvGenParameter* const width = features().Get(PvString("Width"));
    ASSERT_TRUE(width->RegisterEventSink(&watch).IsOK());
    bool available_when_lost = true;
    bool available_again = false;
    sink.on("disconnected", [&] { available_when_lost = watch.available; });
    sink.on("reconnected", [&] { available_again = watch.available; });
    reboot();
    EXPECT_FALSE(available_when_lost);
    EXPECT_TRUE(available_again);
    EXPECT_TRUE(width->UnregisterEventSink(&watch).IsOK());
}

TEST_F(Recovery, EndsWhenTheApplicationConnects)
{
    connect();
    sink.on("disconnected", [&] {
        while (!device->Connect(PvString(address)).IsOK()) {
            std::this_thread::sleep_for(10ms);
        }
    });
    camera->reboot();
    ASSERT_TRUE(sink.wait_for("disconnected"));
    EXPECT_TRUE(device->IsConnected());
    sink.on("disconnected", nullptr);
    camera->reboot();
    ASSERT_TRUE(sink.wait_for("acquisition"));
    EXPECT_EQ(sink.told(),
              (Names{"disconnected", "disconnected", "reconnected", "device", "configuration", "acquisition"}));
}

TEST_F(Recovery, ReadsOnlyWhereTheApplicationDoes)
{
    connect(PvAccessReadOnly);
    camera->go_silent(true);
    ASSERT_TRUE(sink.wait_for("disconnected"));
    camera->go_silent(false);
    ASSERT_TRUE(sink.wait_for("acquisition"));
    EXPECT_EQ(sink.told(), whole_recovery);
    EXPECT_EQ(reg(vex::wire::bootstrap::control_channel_privilege), 0U);
}

TEST_F(Recovery, HappensAgainAndAgain)
{
    connect();
    set("Width", "320");
    for (int n = 1; n <= 30; ++n) {
        camera->responder().drop_control();
        device->ReportStreamTimeout();  // looks at once, unless the loss is known already
        ASSERT_TRUE(sink.wait_for("acquisition", n)) << n << ": " << recovery_state();
        ASSERT_EQ(text("Width"), "320");
    }
}

}  // namespace
