// Features with a polling time on a live connection, and the data of events and chunks in the features of a camera.
#include <array>

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenEventSink.h"
#include "tests/description/builders.h"
#include "tests/sdk/device/device_fixture.h"
#include "tools/softcam/camera.h"

namespace device_test {
namespace {

using namespace camera_xml;

class ChangeSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter* aParameter) override
    {
        const std::scoped_lock lock(mutex_);
        ++changes_;
        std::int64_t value = 0;
        if (const auto* integer = dynamic_cast<PvGenInteger*>(aParameter); integer != nullptr) {
            integer->GetValue(value);
        }
        last_ = value;
        thread_ = std::this_thread::get_id();
        changed_.notify_all();
    }

    /// Waits for a change that shows this value.
    bool wait_for(std::int64_t value)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return changes_ > 0 && last_ == value; });
    }
    /// Waits for this many changes from now on.
    bool wait_for_more(int count)
    {
        std::unique_lock lock(mutex_);
        const int wanted = changes_ + count;
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return changes_ >= wanted; });
    }
    [[nodiscard]] int changes()
    {
        const std::scoped_lock lock(mutex_);
        return changes_;
    }
    [[nodiscard]] std::thread::id thread()
    {
        const std::scoped_lock lock(mutex_);
        return thread_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread::id thread_;
    std::int64_t last_ = 0;
    int changes_ = 0;
};

class Polling : public DeviceTest {
protected:
    static RawCameraOptions polled()
    {
        auto options = sound();
        options.description = raw_description(
            {.more = int_reg("Polled", 0xA004, {.access = "RO", .polling_time = 20}) + int_reg("Cached", 0xB000, "RO"),
             .listed = {"Polled", "Cached"}});
        return options;
    }
    PvGenParameter& feature(const char* name) { return *device->GetGenParameters()->Get(name); }

    ChangeSink watch;
};

TEST_F(Polling, FeatureThatTheCameraChangesIsToldAndReadAnew)
{
    start_and_connect(polled());
    ASSERT_TRUE(feature("Polled").RegisterEventSink(&watch).IsOK());
    camera->set_reg(0xA004, 7);
    EXPECT_TRUE(watch.wait_for(7));
    camera->set_reg(0xA004, 8);
    EXPECT_TRUE(watch.wait_for(8));
    EXPECT_NE(watch.thread(), std::this_thread::get_id());
}

TEST_F(Polling, OtherFeaturesStayCached)
{
    start_and_connect(polled());
    ChangeSink cached;
    ASSERT_TRUE(feature("Cached").RegisterEventSink(&cached).IsOK());
    ASSERT_TRUE(feature("Polled").RegisterEventSink(&watch).IsOK());
    std::int64_t value = 0;
    ASSERT_TRUE(device->GetGenParameters()->GetIntegerValue("Cached", value).IsOK());
    camera->set_reg(0xB000, 5);
    EXPECT_TRUE(watch.wait_for_more(3));
    ASSERT_TRUE(device->GetGenParameters()->GetIntegerValue("Cached", value).IsOK());
    EXPECT_EQ(value, 0xB000);
    EXPECT_EQ(cached.changes(), 0);
}

TEST_F(Polling, EndsWithTheConnectionAndBeginsWithTheNext)
{
    start_and_connect(polled());
    ASSERT_TRUE(feature("Polled").RegisterEventSink(&watch).IsOK());
    ASSERT_TRUE(watch.wait_for_more(1));
    ASSERT_TRUE(device->Disconnect().IsOK());
    const int told = watch.changes();
    ASSERT_TRUE(connect().IsOK());
    EXPECT_TRUE(watch.wait_for_more(2));
    EXPECT_GE(watch.changes(), told + 2);
}

TEST_F(Polling, MayDisconnectInsideItsNotification)
{
    start_and_connect(polled());
    class Leaving : public PvGenEventSink {
    public:
        explicit Leaving(PvDevice& device) : device_(device) {}
        void OnParameterUpdate(PvGenParameter*) override
        {
            if (!left.exchange(true)) {
                device_.Disconnect();
            }
            watch.OnParameterUpdate(nullptr);
        }
        std::atomic<bool> left{false};
        ChangeSink watch;

    private:
        PvDevice& device_;
    };
    const auto leaving = std::make_shared<Leaving>(*device);
    ASSERT_TRUE(feature("Polled").KeepEventSink(leaving).IsOK());
    EXPECT_TRUE(leaving->watch.wait_for(0));
    EXPECT_FALSE(device->IsConnected());
    ASSERT_TRUE(feature("Polled").UnregisterEventSink(leaving.get()).IsOK());
    while (leaving.use_count() > 1) {
        std::this_thread::yield();  // its call is ending
    }
}

TEST_F(Polling, ADestroyedDeviceIsNotPolled)
{
    for (int i = 0; i < 20; ++i) {
        device = std::make_unique<PvDevice>();
        start_and_connect(polled());
        ASSERT_TRUE(feature("Polled").RegisterEventSink(&watch).IsOK());
    }
    ASSERT_TRUE(watch.wait_for_more(1));
    device.reset();
    EXPECT_GT(watch.changes(), 0);
}

TEST_F(Polling, ChunksOfABufferAreInTheFeatures)
{
    auto options = sound();
    options.description = raw_description({.more = int_reg("ChunkWidth", 0, {.access = "RO", .port = "ChunkPort"}) +
                                                   port("ChunkPort", element("ChunkID", "1003")),
                                           .listed = {"ChunkWidth"}});
    start_and_connect(options);
    ASSERT_TRUE(feature("ChunkWidth").RegisterEventSink(&watch).IsOK());
    EXPECT_FALSE(feature("ChunkWidth").IsAvailable());
    const std::array<std::uint8_t, 4> data{0, 0, 2, 0x80};
    const std::array<GenApi::Chunk, 1> chunks{GenApi::Chunk{0x1003, data, 0}};
    GenApi::INodeMap& features = *device->GetGenParameters()->GetNodeMap();
    features.attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
    EXPECT_TRUE(feature("ChunkWidth").IsAvailable());
    EXPECT_TRUE(watch.wait_for(640));
    EXPECT_EQ(watch.changes(), 1);
    features.detach_chunks();
    EXPECT_FALSE(feature("ChunkWidth").IsAvailable());
    EXPECT_EQ(watch.changes(), 2);
}

/// The features of the software camera, which describes its events.
TEST(EventFeatures, GetTheDataOfTheirEvents)
{
    softcam::CameraOptions options;
    options.adapter = loopback(36).to_string();
    softcam::Camera camera(options);
    camera.start();
    PvDevice device;
    ASSERT_TRUE(device.Connect(PvString(options.adapter)).IsOK());
    PvGenParameterArray& features = *device.GetGenParameters();
    ChangeSink watch;
    ChangeSink other;
    ASSERT_TRUE(features.Get("EventTestCount")->RegisterEventSink(&watch).IsOK());
    ASSERT_TRUE(features.Get("EventFrameStartFrameID")->RegisterEventSink(&other).IsOK());
    EXPECT_FALSE(features.Get("EventTestCount")->IsAvailable());
    // as the message channel brings them: size, event, channel, block, timestamp, and the event's own data
    std::array<std::uint8_t, 20> event{0, 20, 0x90, 0x04, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 5};
    EXPECT_TRUE(features.GetNodeMap()->deliver_event(0x9004, event));
    EXPECT_TRUE(watch.wait_for(5));
    EXPECT_EQ(watch.changes(), 1);
    std::int64_t timestamp = 0;
    EXPECT_TRUE(features.GetIntegerValue("EventTestTimestamp", timestamp).IsOK());
    EXPECT_EQ(timestamp, 9);
    event.back() = 6;
    EXPECT_TRUE(features.GetNodeMap()->deliver_event(0x9004, event));
    EXPECT_TRUE(watch.wait_for(6));
    EXPECT_FALSE(features.GetNodeMap()->deliver_event(0x9999, event));
    EXPECT_EQ(watch.changes(), 2);
    EXPECT_EQ(other.changes(), 0);
}

}  // namespace
}  // namespace device_test
