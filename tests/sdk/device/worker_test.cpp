#include "sdk/control/worker.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <future>
#include <string>

#include "sdk/base/application_call.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;

TEST(Worker, IsWokenOnceByOneWake)
{
    std::promise<std::chrono::steady_clock::duration> second_pause;
    control::Worker worker("pv-test", [&](control::Worker::Signals& signals) {
        EXPECT_TRUE(signals.pause(1h));
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(signals.pause(20ms));
        second_pause.set_value(std::chrono::steady_clock::now() - begin);
    });
    worker.wake();
    auto took = second_pause.get_future();
    ASSERT_EQ(took.wait_for(10s), std::future_status::ready);
    EXPECT_GE(took.get(), 20ms);
}

TEST(Worker, HasANameForDebuggers)
{
    std::promise<std::string> told;
    const control::Worker worker("pv-fifteen-long", [&](control::Worker::Signals&) {
        char name[16] = {};
        ::pthread_getname_np(::pthread_self(), name, sizeof name);
        told.set_value(name);
    });
    EXPECT_EQ(told.get_future().get(), "pv-fifteen-long");
}

TEST(Worker, RemembersAWakeThatCameBeforeItsPause)
{
    std::promise<void> may_pause;
    std::promise<bool> paused;
    control::Worker worker("pv-test", [&](control::Worker::Signals& signals) {
        may_pause.get_future().wait();
        paused.set_value(signals.pause(1h));
    });
    worker.wake();
    may_pause.set_value();
    auto result = paused.get_future();
    ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
    EXPECT_TRUE(result.get());
}

TEST(Worker, WaitsForACallOfTheApplicationThatEndsSoon)
{
    std::promise<void> inside;
    bool ended = false;
    control::Worker worker("pv-test", [&](control::Worker::Signals& signals) {
        const ApplicationCall call;
        inside.set_value();
        EXPECT_FALSE(signals.pause(1h));
        ended = true;
    });
    inside.get_future().wait();
    worker.stop(10s);
    EXPECT_TRUE(ended);
}

}  // namespace
