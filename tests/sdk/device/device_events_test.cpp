// Events that a device sends on its message channel, as its application hears of them.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "sdk/device/PvDevice.h"
#include "sdk/device/PvDeviceEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/net/udp_socket.h"
#include "sdk/wire/bootstrap.h"
#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/device/raw_description.h"
#include "tools/softcam/camera.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint16_t test_event = 0x9004;
constexpr std::uint32_t for_ever = 0xFFFFFFFF;

class EventSink : public PvDeviceEventSink {
public:
    struct Event {
        std::uint16_t id = 0;
        std::uint16_t channel = 0;
        std::uint64_t block_id = 0;
        std::uint64_t timestamp = 0;
        std::vector<std::uint8_t> data;
        bool has_data = false;
        int nth_on_its_thread = 0;
    };

    void OnEvent(PvDevice* aDevice, std::uint16_t aEventID, std::uint16_t aChannel, std::uint64_t aBlockID,
                 std::uint64_t aTimestamp, const void* aData, std::uint32_t aDataLength) override
    {
        thread_local int told = 0;
        const auto* bytes = static_cast<const std::uint8_t*>(aData);
        Event event{aEventID, aChannel, aBlockID, aTimestamp, {bytes, bytes + aDataLength}, aData != nullptr, ++told};
        device = aDevice;
        if (on_event) {
            on_event();
        }
        const std::scoped_lock lock(mutex_);
        events_.push_back(std::move(event));
        changed_.notify_all();
    }
    void OnLinkDisconnected(PvDevice*) override
    {
        const std::scoped_lock lock(mutex_);
        lost = true;
        changed_.notify_all();
    }

    bool wait_for(std::size_t n)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 20s, [&] { return events_.size() >= n; });
    }
    bool wait_for_loss()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 20s, [&] { return lost; });
    }
    std::vector<Event> told()
    {
        const std::scoped_lock lock(mutex_);
        return events_;
    }

    std::function<void()> on_event;
    PvDevice* device = nullptr;
    bool lost = false;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Event> events_;
};

/// Holds up a handler until it is let go.
class Gate {
public:
    void pass()
    {
        std::unique_lock lock(mutex_);
        waiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [&] { return open_; });
    }
    void wait_for_somebody()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return waiting_; });
    }
    void open()
    {
        const std::scoped_lock lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool waiting_ = false;
    bool open_ = false;
};

class DeviceEvents : public testing::Test {
protected:
    DeviceEvents()
    {
        softcam::CameraOptions options;
        options.adapter = address;
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        device->RegisterEventSink(&sink);
    }

    void connect(PvAccessType access = PvAccessControl)
    {
        const PvResult result = device->Connect(PvString(address), access);
        ASSERT_TRUE(result.IsOK()) << result.description();
    }
    void connect_and_enable()
    {
        connect();
        PvGenParameterArray& features = *device->GetGenParameters();
        ASSERT_TRUE(features.SetEnumValue("EventSelector", PvString("Test")).IsOK());
        ASSERT_TRUE(features.SetEnumValue("EventNotification", PvString("On")).IsOK());
    }
    void generate()
    {
        const PvResult result = device->GetGenParameters()->ExecuteCommand("TestEventGenerate");
        EXPECT_TRUE(result.IsOK()) << result.description();
    }
    std::int64_t link_value(const char* parameter)
    {
        std::int64_t value = -1;
        EXPECT_TRUE(device->GetGenLink()->GetIntegerValue(parameter, value).IsOK()) << parameter;
        return value;
    }

    const std::string address = device_test::loopback(41).to_string();
    std::unique_ptr<softcam::Camera> camera;
    EventSink sink;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
};

TEST_F(DeviceEvents, AreToldWithAllTheyCarry)
{
    connect_and_enable();
    generate();
    generate();
    ASSERT_TRUE(sink.wait_for(2));
    EXPECT_EQ(sink.device, device.get());
    const auto events = sink.told();
    EXPECT_EQ(events[0].id, test_event);
    EXPECT_EQ(events[0].channel, 0xFFFF);
    EXPECT_EQ(events[0].block_id, 0U);
    EXPECT_GT(events[0].timestamp, 0U);
    EXPECT_GT(events[1].timestamp, events[0].timestamp);
    EXPECT_EQ(events[0].has_data, !events[0].data.empty());
    EXPECT_EQ(events[1].nth_on_its_thread, 2);
    EXPECT_EQ(link_value("EventCount"), 2);
    EXPECT_EQ(link_value("EventDroppedCount"), 0);
}

TEST_F(DeviceEvents, AreCountedAnewAfterAReset)
{
    connect_and_enable();
    generate();
    ASSERT_TRUE(sink.wait_for(1));
    EXPECT_EQ(link_value("EventCount"), 1);
    EXPECT_TRUE(device->GetGenLink()->ExecuteCommand("ResetStatistics").IsOK());
    EXPECT_EQ(link_value("EventCount"), 0);
    generate();
    ASSERT_TRUE(sink.wait_for(2));
    EXPECT_EQ(link_value("EventCount"), 1);
}

TEST_F(DeviceEvents, FillTheEventsFeatures)
{
    connect_and_enable();
    std::int64_t in_handler = 0;
    sink.on_event = [&] { device->GetGenParameters()->GetIntegerValue("EventTestTimestamp", in_handler); };
    generate();
    ASSERT_TRUE(sink.wait_for(1));
    EXPECT_EQ(static_cast<std::uint64_t>(in_handler), sink.told()[0].timestamp);
    std::int64_t id = 0;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("EventTest", id).IsOK());
    EXPECT_EQ(id, test_event);
}

TEST_F(DeviceEvents, AreNotAskedForByWhoOnlyReads)
{
    connect(PvAccessReadOnly);
    std::uint32_t port = 1;
    EXPECT_TRUE(device->ReadRegister(vex::wire::bootstrap::message_channel_port, port).IsOK());
    EXPECT_EQ(port, 0U);
    EXPECT_TRUE(device->WaitForMessagingChannelIdle(0).IsOK());
}

TEST_F(DeviceEvents, AreWaitedForUntilTheyAreTold)
{
    EXPECT_EQ(device->WaitForMessagingChannelIdle(0).GetCode(), PvResult::NotConnected);
    Gate gate;
    connect_and_enable();
    EXPECT_TRUE(device->WaitForMessagingChannelIdle(0).IsOK());
    sink.on_event = [&] { gate.pass(); };
    generate();
    gate.wait_for_somebody();
    EXPECT_EQ(device->WaitForMessagingChannelIdle(20).GetCode(), PvResult::Timeout) << "one is being told";
    generate();
    EXPECT_TRUE(sink.told().empty());
    gate.open();
    while (link_value("EventCount") < 2) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(device->WaitForMessagingChannelIdle(20'000).IsOK());
    EXPECT_EQ(sink.told().size(), 2U);
}

TEST_F(DeviceEvents, AreNotWaitedForWithinANotification)
{
    connect_and_enable();
    PvResult::Code code = PvResult::OK;
    sink.on_event = [&] { code = device->WaitForMessagingChannelIdle(20'000).GetCode(); };
    generate();
    ASSERT_TRUE(sink.wait_for(1));
    EXPECT_EQ(code, PvResult::StateError);
}

TEST_F(DeviceEvents, AreNotWaitedForWhenTheConnectionEnds)
{
    Gate gate;
    connect_and_enable();
    sink.on_event = [&] { gate.pass(); };
    generate();
    gate.wait_for_somebody();
    std::thread ender([&] { EXPECT_TRUE(device->Disconnect().IsOK()); });
    EXPECT_EQ(device->WaitForMessagingChannelIdle(for_ever).GetCode(), PvResult::NotConnected);
    ender.join();
    gate.open();
    // the notification uses the gate until it has returned
    device.reset();
}

TEST_F(DeviceEvents, AreNotWaitedForWhenTheLinkIsLost)
{
    Gate gate;
    connect_and_enable();
    sink.on_event = [&] { gate.pass(); };
    generate();
    gate.wait_for_somebody();
    camera->responder().drop_control();
    EXPECT_EQ(device->WaitForMessagingChannelIdle(for_ever).GetCode(), PvResult::NotConnected);
    gate.open();
    EXPECT_TRUE(sink.wait_for_loss());  // after the event, so that the handler has left the gate
}

TEST_F(DeviceEvents, InMassesHoldUpNothingAndAreBounded)
{
    Gate gate;
    connect_and_enable();
    sink.on_event = [&] { gate.pass(); };
    constexpr std::uint64_t flood = 4096 + 200;
    for (std::uint64_t i = 1; i <= flood; ++i) {
        generate();
        while (camera->message_statistics().acknowledged < i) {
            ASSERT_EQ(camera->message_statistics().abandoned, 0U);
            std::this_thread::yield();
        }
    }
    EXPECT_GE(link_value("EventDroppedCount"), 199);
    EXPECT_EQ(link_value("EventCount") + link_value("EventDroppedCount"), static_cast<std::int64_t>(flood));
    gate.open();
    EXPECT_TRUE(device->WaitForMessagingChannelIdle(20'000).IsOK());
    const std::size_t told = sink.told().size();
    EXPECT_EQ(told, static_cast<std::size_t>(link_value("EventCount")));
    generate();
    EXPECT_TRUE(sink.wait_for(told + 1));  // its handler has left the gate then
}

TEST_F(DeviceEvents, LetALossBeToldInBetween)
{
    connect_and_enable();
    sink.on_event = [&] { camera->responder().drop_control(); };
    generate();
    ASSERT_TRUE(sink.wait_for(1));
    device->ReportStreamTimeout();
    EXPECT_TRUE(sink.wait_for_loss());
}

TEST_F(DeviceEvents, ComeAgainAfterARecovery)
{
    EXPECT_TRUE(device->GetGenLink()->SetBooleanValue("LinkRecoveryEnabled", true).IsOK());
    EXPECT_TRUE(device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 400).IsOK());
    connect_and_enable();
    camera->reboot();
    while (link_value("LinkRecoveryCount") == 0) {
        std::this_thread::sleep_for(10ms);
    }
    generate();
    EXPECT_TRUE(sink.wait_for(1));
}

TEST_F(DeviceEvents, MayBeAnsweredByDisconnecting)
{
    Gate generated;
    connect_and_enable();
    sink.on_event = [&] {
        generated.pass();
        EXPECT_TRUE(device->Disconnect().IsOK());
    };
    generate();
    generated.open();
    ASSERT_TRUE(sink.wait_for(1));
    EXPECT_FALSE(device->IsConnected());
    sink.on_event = nullptr;
    connect_and_enable();
    generate();
    EXPECT_TRUE(sink.wait_for(2));
}

TEST_F(DeviceEvents, MayBeAnsweredByDestroyingTheDevice)
{
    connect_and_enable();
    Gate generated;
    sink.on_event = [&] {
        generated.pass();
        device.reset();
    };
    generate();
    generated.open();
    EXPECT_TRUE(sink.wait_for(1));
}

TEST(DeviceEvent, WithoutDataIsToldWithoutAPointer)
{
    namespace bootstrap = vex::wire::bootstrap;
    device_test::RawCameraOptions options;
    options.address = device_test::loopback(42);
    options.description = device_test::raw_description();
    device_test::RawCamera camera(options);
    camera.set_reg(bootstrap::message_channel_count, 1);
    for (const std::uint32_t at : {bootstrap::message_channel_port, bootstrap::message_channel_destination,
                                   bootstrap::message_channel_timeout, bootstrap::message_channel_retry_count}) {
        camera.set_reg(at, 0);
    }
    EventSink sink;
    PvDevice device;
    device.RegisterEventSink(&sink);
    ASSERT_TRUE(device.Connect(PvString(options.address.to_string())).IsOK());

    vex::net::UdpSocket events = vex::net::UdpSocket::open({options.address, 0});
    const vex::Endpoint host = {{camera.reg(bootstrap::message_channel_destination)},
                                static_cast<std::uint16_t>(camera.reg(bootstrap::message_channel_port))};
    const auto event = device_test::hex("42 01 00C0 0010 0001 0000 9004 FFFF 0000 0000000000000007");
    EXPECT_FALSE(events.send_to(host, event));
    ASSERT_TRUE(sink.wait_for(1));
    const auto told = sink.told();
    EXPECT_EQ(told[0].id, test_event);
    EXPECT_EQ(told[0].timestamp, 7U);
    EXPECT_TRUE(told[0].data.empty());
    EXPECT_FALSE(told[0].has_data);
    device.UnregisterEventSink(&sink);
}

}  // namespace
