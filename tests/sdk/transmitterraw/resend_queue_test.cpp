#include "sdk/transmitterraw/resend_queue.h"

#include <gtest/gtest.h>

#include <future>
#include <vector>

using namespace vex;

namespace {

using Request = transmitter::ResendQueue::Request;

class ResendQueue : public testing::Test {
protected:
    static Request request(std::uint64_t block, std::uint32_t first, std::uint32_t last)
    {
        return {.channel = 0, .block_id = block, .first_packet = first, .last_packet = last, .extended_ids = false};
    }
    void serve(const Request& served, bool extended, const std::atomic<bool>& cancelled)
    {
        std::unique_lock lock(mutex);
        all.push_back(served);
        extended_status = extended;
        changed.notify_all();
        while (held && !cancelled) {
            changed.wait_for(lock, std::chrono::milliseconds(1));
        }
        was_cancelled = was_cancelled || cancelled;
    }
    /// Waits until so many requests have come to be served.
    [[nodiscard]] bool served(std::size_t count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return all.size() >= count; });
    }
    void let_go()
    {
        const std::lock_guard guard(mutex);
        held = false;
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Request> all;
    bool held = false;
    bool extended_status = false;
    bool was_cancelled = false;
    transmitter::ResendQueue queue{[this](const Request& next, bool extended, const std::atomic<bool>& cancelled) {
        serve(next, extended, cancelled);
    }};
};

}  // namespace

TEST_F(ResendQueue, ServesInTheOrderOfRequests)
{
    EXPECT_TRUE(queue.push(request(1, 5, 6), false));
    ASSERT_TRUE(served(1));
    EXPECT_FALSE(extended_status);
    EXPECT_TRUE(queue.push(request(1, 9, 9), true));
    EXPECT_TRUE(queue.push(request(2, 0, 3), true));
    ASSERT_TRUE(served(3));
    EXPECT_TRUE(extended_status);
    EXPECT_EQ(all[0].first_packet, 5U);
    EXPECT_EQ(all[0].last_packet, 6U);
    EXPECT_EQ(all[1].first_packet, 9U);
    EXPECT_EQ(all[2].block_id, 2U);
}

TEST_F(ResendQueue, NeverMakesWhoAsksWait)
{
    held = true;
    queue.push(request(1, 0, 0), false);
    ASSERT_TRUE(served(1));
    // this test would not end if it did
    queue.push(request(2, 0, 0), false);
    queue.push(request(3, 0, 0), false);
    let_go();
    EXPECT_TRUE(served(3));
}

TEST_F(ResendQueue, RequestsForTheSamePacketsBecomeOne)
{
    held = true;
    queue.push(request(1, 0, 0), false);
    ASSERT_TRUE(served(1));
    for (int i = 0; i < 10'000; ++i) {
        EXPECT_TRUE(queue.push(request(7, 10, 20), false));
    }
    EXPECT_TRUE(queue.push(request(7, 12, 25), false)) << "overlaps at the end";
    EXPECT_TRUE(queue.push(request(7, 26, 30), false)) << "touches the end";
    EXPECT_TRUE(queue.push(request(7, 5, 9), false)) << "touches the beginning";
    EXPECT_TRUE(queue.push(request(7, 32, 0xFFFFFFFF), false)) << "does not touch";
    EXPECT_TRUE(queue.push(request(7, 0xFFFFFFFF, 0xFFFFFFFF), false));
    EXPECT_TRUE(queue.push(request(8, 31, 31), false)) << "another block";
    let_go();
    ASSERT_TRUE(served(4));
    queue.clear();
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[1].first_packet, 5U);
    EXPECT_EQ(all[1].last_packet, 30U);
    EXPECT_EQ(all[2].first_packet, 32U);
    EXPECT_EQ(all[3].block_id, 8U);
    EXPECT_EQ(queue.dropped(), 0U);
}

TEST_F(ResendQueue, AFloodIsDropped)
{
    held = true;
    queue.push(request(1, 0, 0), false);
    ASSERT_TRUE(served(1));
    constexpr std::uint32_t flood = 100'000;
    std::uint32_t taken = 0;
    for (std::uint32_t i = 0; i < flood; ++i) {
        taken += queue.push(request(1, 2 * i, 2 * i), false) ? 1 : 0;
    }
    EXPECT_EQ(taken, transmitter::ResendQueue::most_waiting);
    EXPECT_EQ(queue.dropped(), flood - taken);
    let_go();
    EXPECT_TRUE(served(1 + taken));
    EXPECT_TRUE(queue.push(request(1, 1, 1), false)) << "room again";
}

TEST_F(ResendQueue, ClearingDropsWhatWaitsAndCancelsWhatIsServed)
{
    held = true;
    queue.push(request(1, 0, 0), false);
    ASSERT_TRUE(served(1));
    queue.push(request(2, 0, 0), false);
    queue.clear();
    EXPECT_TRUE(was_cancelled);
    EXPECT_EQ(all.size(), 1U);
    let_go();
    EXPECT_TRUE(queue.push(request(3, 0, 0), false));
    ASSERT_TRUE(served(2));
    EXPECT_EQ(all[1].block_id, 3U);
}

TEST_F(ResendQueue, EndsWithARequestUnderWay)
{
    std::promise<void> begun;
    std::atomic<bool> ended{false};
    {
        transmitter::ResendQueue ending([&](const Request&, bool, const std::atomic<bool>& cancelled) {
            begun.set_value();
            while (!cancelled) {
                std::this_thread::yield();
            }
            ended = true;
        });
        ending.push(request(1, 0, 0), false);
        begun.get_future().wait();
    }
    EXPECT_TRUE(ended);
}
