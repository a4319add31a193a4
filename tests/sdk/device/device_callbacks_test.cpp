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

TEST_F(DeviceCallbacks, NoFeatureHasAValueAfterALoss)
{
    start_and_connect();
    std::int64_t value = 0;
    ASSERT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
    device->RegisterEventSink(&sink);
    bool readable = true;
    sink.on_disconnected = [&] { readable = device->GetGenParameters()->GetIntegerValue("Value", value).IsOK(); };
    camera->set_control(0);
    ASSERT_TRUE(sink.wait_for_disconnection());
    EXPECT_FALSE(readable);
}

TEST_F(DeviceCallbacks, TheDeviceMayBeDestroyedByASinkOfTheFeatureThatIsWritten)
{
    start_and_connect();
    const auto change = std::make_shared<Change>([&] { device.reset(); });
    ASSERT_TRUE(feature("Value").KeepEventSink(change).IsOK());
    EXPECT_TRUE(device->GetGenParameters()->SetIntegerValue("Value", 5).IsOK());
    EXPECT_FALSE(device);
    EXPECT_EQ(change.use_count(), 1) << "the device's features went with the operation";
}

TEST_F(DeviceCallbacks, TheDeviceMayBeDestroyedInTheAccessThatIsTold)
{
    for (const bool by_feature : {false, true}) {
        DeviceSink destroying;
        device = std::make_unique<PvDevice>();
        start_and_connect();
        device->RegisterEventSink(&destroying);
        destroying.on_access = [&] { device.reset(); };
        std::uint32_t value = 0;
        std::int64_t number = 0;
        PvDevice& used = *device;
        EXPECT_TRUE(
            (by_feature ? used.GetGenParameters()->GetIntegerValue("Value", number) : used.ReadRegister(0xA000, value))
                .IsOK());
        EXPECT_FALSE(device);
    }
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
    ASSERT_TRUE(device->Disconnect().IsOK());
    const auto change = std::make_shared<Change>([&] { device.reset(); });
    ASSERT_TRUE(feature("Value").KeepEventSink(change).IsOK());
    PvDevice& connecting = *device;
    connecting.Connect(PvString(name()));
    EXPECT_FALSE(device);
    EXPECT_EQ(change.use_count(), 1);
}

}  // namespace
}  // namespace device_test
