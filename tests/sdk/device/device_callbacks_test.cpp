// What an application may do to a device while the device calls it, and what nobody waits for meanwhile.
#include <chrono>
#include <functional>
#include <future>

#include "sdk/genicam/PvGenEventSink.h"
#include "tests/description/builders.h"
#include "tests/sdk/device/device_fixture.h"

namespace device_test {
namespace {

using namespace std::chrono_literals;
using namespace camera_xml;

/// Calls a function at each change of its parameter.
class Change : public PvGenEventSink {
public:
    explicit Change(std::function<void()> its_call) : call(std::move(its_call)) {}
    void OnParameterUpdate(PvGenParameter*) override
    {
        ++calls;
        call();
    }

    std::function<void()> call;
    std::atomic<int> calls{0};
};

/// A callback that waits for what another thread does meanwhile, as one does that is sent to a program's main thread.
class Meeting {
public:
    /// The callback.
    void wait()
    {
        if (!std::exchange(entered_, true)) {
            inside_.set_value();
            met_ = done_.get_future().wait_for(4s) == std::future_status::ready;
            left_.set_value();
        }
    }
    /// The other thread, which then sees the callback end.
    void during(const std::function<void()>& work)
    {
        ASSERT_EQ(inside_.get_future().wait_for(20s), std::future_status::ready);
        work();
        done_.set_value();
        left_.get_future().wait();
        EXPECT_TRUE(met_) << "each waited for the other";
    }

private:
    bool entered_ = false;
    bool met_ = false;
    std::promise<void> inside_;
    std::promise<void> done_;
    std::promise<void> left_;
};

class DeviceCallbacks : public DeviceTest {
protected:
    PvGenParameter& feature(const char* name) { return *device->GetGenParameters()->Get(name); }
    PvGenParameter& link(const char* name) { return *device->GetGenLink()->Get(name); }

    static RawCameraOptions polled()
    {
        auto options = sound();
        options.description = raw_description(
            {.more = int_reg("Polled", 0xA004, {.access = "RO", .polling_time = 20}), .listed = {"Polled"}});
        return options;
    }

    /// With a feature whose value is kept once it is read.
    static RawCameraOptions cached()
    {
        auto options = sound();
        options.description = raw_description({.more = int_reg("Cached", 0xA004), .listed = {"Cached"}});
        return options;
    }
};

TEST_F(DeviceCallbacks, DisconnectingDoesNotWaitForTheNewsOfALoss)
{
    Meeting meeting;
    start_and_connect();
    sink.on_disconnected = [&] { meeting.wait(); };
    device->RegisterEventSink(&sink);
    camera->set_control(0);
    meeting.during([&] { EXPECT_TRUE(device->Disconnect().IsOK()); });
    EXPECT_TRUE(sink.wait_for_disconnection());
}

TEST_F(DeviceCallbacks, ConnectingDoesNotWaitForTheNewsOfALoss)
{
    Meeting meeting;
    start_and_connect();
    sink.on_disconnected = [&] { meeting.wait(); };
    device->RegisterEventSink(&sink);
    camera->set_control(0);
    meeting.during([&] { EXPECT_TRUE(connect().IsOK()); });
    EXPECT_TRUE(sink.wait_for_disconnection());
    EXPECT_TRUE(device->IsConnected());
}

TEST_F(DeviceCallbacks, NeitherEndNorDisconnectionWaitForAPolledFeaturesNews)
{
    for (const bool destroy : {false, true}) {
        Meeting meeting;
        device = std::make_unique<PvDevice>();
        start_and_connect(polled());
        PvGenParameter& polled = feature("Polled");
        std::int64_t value = 0;
        Change change([&] {
            meeting.wait();
            // the feature is still there, whatever became of the device
            static_cast<PvGenInteger&>(polled).GetValue(value);
        });
        const auto kept = std::make_shared<Change>(change.call);
        ASSERT_TRUE(polled.KeepEventSink(kept).IsOK());
        meeting.during([&] {
            if (destroy) {
                device.reset();
            } else {
                EXPECT_TRUE(device->Disconnect().IsOK());
            }
        });
        if (!destroy) {
            device->GetGenParameters()->Get("Polled")->UnregisterEventSink(kept.get());
        }
        while (kept.use_count() > 1) {
            std::this_thread::yield();
        }
    }
}

TEST_F(DeviceCallbacks, SinksOfTheConnectionMayDisconnectWhileItIsMade)
{
    start_and_connect();
    ASSERT_TRUE(device->Disconnect().IsOK());
    for (PvGenParameter* parameter : {&link("HeartbeatTimeout"), &feature("Value")}) {
        Change change([&] { device->Disconnect(); });
        ASSERT_TRUE(parameter->RegisterEventSink(&change).IsOK());
        EXPECT_TRUE(connect().IsOK());
        EXPECT_GE(change.calls, 1);
        EXPECT_FALSE(device->IsConnected());
        ASSERT_TRUE(parameter->UnregisterEventSink(&change).IsOK());
    }
}

TEST_F(DeviceCallbacks, NoFeatureHasAValueAfterADisconnectionInANotification)
{
    start_and_connect();
    std::int64_t value = 0;
    Change change([&] { device->Disconnect(); });
    ASSERT_TRUE(feature("Value").RegisterEventSink(&change).IsOK());
    ASSERT_TRUE(device->GetGenParameters()->SetIntegerValue("Value", 5).IsOK());
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsFailure());
    EXPECT_FALSE(feature("Value").IsReadable());
    feature("Value").UnregisterEventSink(&change);
}

TEST_F(DeviceCallbacks, SinksOfFeaturesAreToldOfADisconnection)
{
    start_and_connect();
    Change change([] {});
    ASSERT_TRUE(feature("Value").RegisterEventSink(&change).IsOK());
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_GE(change.calls, 1);
    feature("Value").UnregisterEventSink(&change);
}

TEST_F(DeviceCallbacks, NoFeatureHasAValueAfterALoss)
{
    start_and_connect(cached());
    std::int64_t value = 0;
    ASSERT_TRUE(device->GetGenParameters()->GetIntegerValue("Cached", value).IsOK());
    ASSERT_TRUE(feature("Cached").IsValueCached());
    Change change([] {});
    ASSERT_TRUE(feature("Cached").RegisterEventSink(&change).IsOK());
    device->RegisterEventSink(&sink);
    int told = 0;
    bool readable = true;
    sink.on_disconnected = [&] {
        told = change.calls;
        readable = device->GetGenParameters()->GetIntegerValue("Cached", value).IsOK();
    };
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection());
    EXPECT_GE(told, 1);
    EXPECT_FALSE(readable);
    feature("Cached").UnregisterEventSink(&change);
}

TEST_F(DeviceCallbacks, TheDeviceMayBeDestroyedByASinkOfTheFeatureThatIsWritten)
{
    start_and_connect();
    const auto beside = std::make_shared<Change>([] {});
    long during = 0;
    const auto change = std::make_shared<Change>([&] {
        device.reset();
        during = beside.use_count();
    });
    ASSERT_TRUE(feature("Value").KeepEventSink(change).IsOK());
    ASSERT_TRUE(feature("Wide").KeepEventSink(beside).IsOK());
    EXPECT_TRUE(device->GetGenParameters()->SetIntegerValue("Value", 5).IsOK());
    EXPECT_FALSE(device);
    EXPECT_EQ(during, 2) << "the device's features were there until the operation ended";
    EXPECT_EQ(change.use_count(), 1) << "and went with it";
    EXPECT_EQ(beside.use_count(), 1);
}

TEST_F(DeviceCallbacks, TheDeviceMayBeDestroyedInTheAccessThatIsTold)
{
    for (const bool by_feature : {false, true}) {
        DeviceSink destroying;
        device = std::make_unique<PvDevice>();
        start_and_connect();
        const auto beside = std::make_shared<Change>([] {});
        ASSERT_TRUE(feature("Wide").KeepEventSink(beside).IsOK());
        device->RegisterEventSink(&destroying);
        long during = 0;
        destroying.on_access = [&] {
            device.reset();
            during = beside.use_count();
        };
        std::uint32_t value = 0;
        std::int64_t number = 0;
        PvDevice& used = *device;
        EXPECT_TRUE(
            (by_feature ? used.GetGenParameters()->GetIntegerValue("Value", number) : used.ReadRegister(0xA000, value))
                .IsOK());
        EXPECT_FALSE(device);
        EXPECT_EQ(during, 2) << "the device's features were there until the access ended";
        EXPECT_EQ(beside.use_count(), 1) << "and went with it";
    }
}

TEST_F(DeviceCallbacks, ADeviceDestroyedInTheNewsOfALossGoesWithTheThreadThatBroughtIt)
{
    start_and_connect();
    const auto change = std::make_shared<Change>([] {});
    ASSERT_TRUE(feature("Value").KeepEventSink(change).IsOK());
    device->RegisterEventSink(&sink);
    sink.on_disconnected = [&] { device.reset(); };
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection());
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (change.use_count() > 1 && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_EQ(change.use_count(), 1);
}

TEST_F(DeviceCallbacks, TheDeviceMayBeDestroyedWhenTheLinkTellsOfALoss)
{
    start_and_connect();
    std::promise<void> told;
    const auto change = std::make_shared<Change>([&] {
        device.reset();
        told.set_value();
    });
    ASSERT_TRUE(link("LinkLossReason").KeepEventSink(change).IsOK());
    camera->set_control(0);
    ASSERT_EQ(told.get_future().wait_for(20s), std::future_status::ready);
    while (change.use_count() > 1) {
        std::this_thread::yield();
    }
}

TEST_F(DeviceCallbacks, TheDeviceMayBeDestroyedByASinkOfTheConnectionBeingMade)
{
    start_and_connect();
    for (const bool by_link : {false, true}) {
        if (!device) {
            device = std::make_unique<PvDevice>();
            start_and_connect();
        }
        ASSERT_TRUE(device->Disconnect().IsOK());
        const auto change = std::make_shared<Change>([&] { device.reset(); });
        ASSERT_TRUE((by_link ? link("HeartbeatTimeout") : feature("Value")).KeepEventSink(change).IsOK());
        PvDevice& connecting = *device;
        connecting.Connect(PvString(name()));
        EXPECT_FALSE(device);
        EXPECT_EQ(change.use_count(), 1);
    }
}

}  // namespace
}  // namespace device_test
