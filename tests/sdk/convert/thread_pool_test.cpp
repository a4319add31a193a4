#include "sdk/convert/thread_pool.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <set>

using namespace vex;

namespace {

TEST(ThreadPool, CallsEachJobOnceInEveryRun)
{
    convert::ThreadPool pool(3);
    EXPECT_EQ(pool.size(), 3u);
    for (int run = 0; run < 500; ++run) {
        std::array<std::atomic<int>, 17> calls{};
        std::array<std::atomic<bool>, 3> busy{};
        const auto jobs = static_cast<unsigned>(run % 18);
        pool.run(jobs, [&](unsigned job, unsigned thread) {
            EXPECT_FALSE(busy.at(thread).exchange(true));
            ++calls[job];
            busy.at(thread) = false;
        });
        for (unsigned job = 0; job < calls.size(); ++job) {
            ASSERT_EQ(calls[job], job < jobs ? 1 : 0);
        }
    }
}

TEST(ThreadPool, OneThreadIsTheCaller)
{
    convert::ThreadPool pool(1);
    std::set<std::thread::id> threads;
    pool.run(5, [&](unsigned, unsigned) { threads.insert(std::this_thread::get_id()); });
    EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
    convert::ThreadPool none(0);
    EXPECT_EQ(none.size(), 1u);
}

TEST(ThreadPool, SharesTheWork)
{
    convert::ThreadPool pool(2);
    std::mutex mutex;
    std::condition_variable both;
    unsigned inside = 0;
    // neither job ends before the other has begun, which takes two threads
    pool.run(2, [&](unsigned, unsigned) {
        std::unique_lock lock(mutex);
        ++inside;
        both.notify_all();
        both.wait(lock, [&] { return inside == 2; });
    });
    EXPECT_EQ(inside, 2u);
}

}  // namespace
