#include "sdk/device/event_sinks.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace vex;

namespace {

using namespace std::chrono_literals;

class Recorder : public PvDeviceEventSink {
public:
    Recorder(std::vector<int>& its_log, int its_number) : log(its_log), number(its_number) {}
    void OnLinkDisconnected(PvDevice*) override
    {
        log.push_back(number);
        if (action) {
            action();
        }
    }

    std::vector<int>& log;
    int number;
    std::function<void()> action;
};

class EventSinksTest : public testing::Test {
protected:
    void notify()
    {
        sinks.notify([](PvDeviceEventSink& sink) { sink.OnLinkDisconnected(nullptr); });
    }

    std::vector<int> log;
    Recorder first{log, 1};
    Recorder second{log, 2};
    Recorder third{log, 3};
    device::EventSinks sinks;
};

TEST_F(EventSinksTest, CallsInTheOrderOfRegistration)
{
    EXPECT_TRUE(sinks.empty());
    EXPECT_TRUE(sinks.add(&second).IsOK());
    EXPECT_TRUE(sinks.add(&first).IsOK());
    EXPECT_FALSE(sinks.empty());
    notify();
    EXPECT_EQ(log, (std::vector{2, 1}));
}

TEST_F(EventSinksTest, RefusesNullAndTheSameSinkTwice)
{
    EXPECT_EQ(sinks.add(nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(sinks.remove(&first, 0ms).GetCode(), PvResult::NotFound);
    EXPECT_TRUE(sinks.add(&first).IsOK());
    EXPECT_EQ(sinks.add(&first).GetCode(), PvResult::StateError);
    EXPECT_TRUE(sinks.remove(&first, 0ms).IsOK());
    EXPECT_TRUE(sinks.empty());
}

TEST_F(EventSinksTest, ASinkMayRemoveItselfAndOthersAndAddOnes)
{
    sinks.add(&first);
    sinks.add(&second);
    first.action = [&] {
        sinks.remove(&first, 1s);
        sinks.remove(&second, 1s);
        sinks.add(&third);
    };
    notify();
    EXPECT_EQ(log, (std::vector{1, 3}));
}

TEST_F(EventSinksTest, DropsWhatASinkThrows)
{
    sinks.add(&first);
    sinks.add(&second);
    first.action = [] { throw std::runtime_error("from the application"); };
    notify();
    EXPECT_EQ(log, (std::vector{1, 2}));
}

TEST_F(EventSinksTest, RemovingWaitsForACallOnAnotherThread)
{
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    first.action = [&] {
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    sinks.add(&first);
    std::thread caller([&] { notify(); });
    entered.get_future().wait();
    auto removed = std::async(std::launch::async, [&] {
        sinks.remove(&first, 10s);
        return left.load();
    });
    EXPECT_EQ(removed.wait_for(20ms), std::future_status::timeout);
    leave.set_value();
    EXPECT_TRUE(removed.get());
    caller.join();
}

TEST_F(EventSinksTest, RemovingGivesUpOnACallThatDoesNotEnd)
{
    std::promise<void> entered;
    std::promise<void> leave;
    first.action = [&] {
        entered.set_value();
        leave.get_future().wait();
    };
    sinks.add(&first);
    std::thread caller([&] { notify(); });
    entered.get_future().wait();
    sinks.remove(&first, 10ms);  // returns
    leave.set_value();
    caller.join();
}

TEST_F(EventSinksTest, CallsNobodyOnceClosed)
{
    sinks.add(&first);
    sinks.add(&second);
    first.action = [&] { sinks.close(1s); };
    notify();
    EXPECT_EQ(log, std::vector{1});
    sinks.add(&third);
    notify();
    EXPECT_EQ(log, std::vector{1});
}

}  // namespace
