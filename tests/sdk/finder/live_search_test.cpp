// A search that goes on by itself: devices told as they answer, changes, misses, refresh, stop.
#include "sdk/finder/live_search.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "tests/sdk/device/system_fixture.h"

namespace {

using namespace device_test;
using namespace vex::finder;

class LiveSearchTest : public SystemTest {
protected:
    void start()
    {
        search.start([this](std::shared_ptr<const Found> found) {
            const std::lock_guard lock(mutex);
            latest = std::move(found);
            changed.notify_all();
        });
    }
    /// Waits until what is known is as wanted; the search is asked to go on meanwhile.
    template <class Wanted>
    [[nodiscard]] bool await(Wanted wanted)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(60), [&] { return latest && wanted(*latest); });
    }
    void expect_no_call_after_stop()
    {
        search.stop();
        const std::lock_guard lock(mutex);
        latest.reset();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::shared_ptr<const Found> latest;
    LiveSearch search{[this] { return std::make_unique<ScriptedSystem>(network); }, std::chrono::milliseconds(1)};
};

TEST_F(LiveSearchTest, TellsWhatItFindsAndWhen)
{
    add(options_at(first_address));
    start();
    ASSERT_TRUE(await([](const Found& found) { return found.is_complete && found.devices.size() == 1; }));
    search.stop();
    const Device& device = latest->devices[0];
    EXPECT_EQ(device.mac, first_mac);
    EXPECT_EQ(device.id, first_mac);
    EXPECT_EQ(device.address, "192.168.10.30");
    EXPECT_EQ(device.model, "Raw 1");
    EXPECT_TRUE(device.is_reachable);
    ASSERT_TRUE(device.info);
    EXPECT_EQ(device.info->GetMACAddress().str(), first_mac);
    ASSERT_TRUE(device.found_by);
    EXPECT_EQ(device.info->GetInterface(), device.found_by.get());
    EXPECT_EQ(latest->interfaces.size(), network.hosts.size());
    EXPECT_TRUE(latest->result.IsOK());
}

TEST_F(LiveSearchTest, TellsOfTheInterfacesWithTheFirstDevice)
{
    add(options_at(first_address));
    std::vector<std::size_t> interfaces;  // with each device that was told
    search.start([&](std::shared_ptr<const Found> found) {
        const std::lock_guard lock(mutex);
        if (!found->devices.empty()) {
            interfaces.push_back(found->interfaces.size());
        }
        latest = std::move(found);
        changed.notify_all();
    });
    ASSERT_TRUE(await([](const Found& found) { return found.is_complete && found.devices.size() == 1; }));
    search.stop();
    ASSERT_FALSE(interfaces.empty());
    EXPECT_EQ(interfaces.front(), network.hosts.size());
}

TEST_F(LiveSearchTest, ForgetsADeviceThatIsAskedInVainTwice)
{
    RawDevice& camera = add(options_at(first_address));
    start();
    ASSERT_TRUE(await([](const Found& found) { return found.is_complete && found.devices.size() == 1; }));
    camera.mute(true);
    ASSERT_TRUE(await([](const Found& found) { return found.devices.empty(); }));
    camera.mute(false);
    ASSERT_TRUE(await([](const Found& found) { return found.devices.size() == 1; }));
    search.stop();
}

TEST_F(LiveSearchTest, TellsWhatHasChanged)
{
    RawDevice& camera = add(options_at(first_address));
    start();
    ASSERT_TRUE(await([](const Found& found) { return found.is_complete; }));
    const auto before = latest;
    camera.set_control(2, {{0x7F000001}, 1});
    search.refresh();
    ASSERT_TRUE(await(
        [](const Found& found) { return found.devices.size() == 1 && found.devices[0].access == PvAccessControl; }));
    search.stop();
    EXPECT_EQ(before->devices[0].access, PvAccessOpen);  // what was told stays
    EXPECT_FALSE(before->devices[0].says_the_same(latest->devices[0]));
    EXPECT_TRUE(before->devices[0].is(latest->devices[0]));
}

TEST_F(LiveSearchTest, StopsAndBeginsAnew)
{
    add(options_at(first_address));
    start();
    ASSERT_TRUE(await([](const Found& found) { return found.is_complete; }));
    expect_no_call_after_stop();
    add(options_at(second_address));
    start();
    ASSERT_TRUE(await([](const Found& found) { return found.is_complete && found.devices.size() == 2; }));
    search.stop();
}

}  // namespace
