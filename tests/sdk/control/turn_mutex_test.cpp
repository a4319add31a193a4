#include "sdk/base/turn_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using namespace vex;

namespace {

using vex::TurnMutex;

TEST(TurnMutex, GoesToWhoWaitsBeforeWhoComesBack)
{
    for (int round = 0; round < 200; ++round) {
        TurnMutex mutex;
        std::atomic<bool> other_had_it{false};
        mutex.lock();
        std::thread other([&] {
            const std::scoped_lock lock(mutex);
            other_had_it = true;
        });
        while (!mutex.is_awaited()) {
            std::this_thread::yield();
        }
        mutex.unlock();
        mutex.lock();
        EXPECT_TRUE(other_had_it) << "round " << round;
        mutex.unlock();
        other.join();
    }
}

TEST(TurnMutex, LetsOneInAtATime)
{
    constexpr int threads = 4;
    constexpr int rounds = 5000;
    TurnMutex mutex;
    int inside = 0;
    int sum = 0;
    std::vector<std::thread> all;
    for (int n = 0; n < threads; ++n) {
        all.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) {
                const std::scoped_lock lock(mutex);
                EXPECT_EQ(++inside, 1);
                ++sum;
                --inside;
            }
        });
    }
    for (std::thread& thread : all) {
        thread.join();
    }
    EXPECT_EQ(sum, threads * rounds);
    EXPECT_FALSE(mutex.is_awaited());
}

}  // namespace
