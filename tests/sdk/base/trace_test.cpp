#include "sdk/base/trace.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/sdk/eventually.h"
#include "tests/sdk/flag.h"

using namespace vex;
using trace::Category;
using trace::Level;

namespace {

class Trace : public testing::Test {
protected:
    ~Trace() override { trace::stop_listening(); }

    void listen(Level level)
    {
        trace::listen(level, [this](const trace::Record& record) {
            const std::lock_guard lock(mutex_);
            lines_.push_back(std::string(trace::name_of(record.category)) + " " + trace::name_of(record.level) + " " +
                             std::string(record.text));
        });
    }
    std::vector<std::string> lines()
    {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

TEST_F(Trace, MakesNoTextWhileNobodyListens)
{
    bool was_made = false;
    trace::write(Category::control, Level::error, [&] {
        was_made = true;
        return std::string();
    });
    EXPECT_FALSE(was_made);
    EXPECT_FALSE(trace::is_wanted(Level::error));
}

TEST_F(Trace, TellsWhatIsGraveEnough)
{
    listen(Level::warning);
    bool was_made = false;
    trace::write(Category::control, Level::error, [] { return std::string("first"); });
    trace::write(Category::stream, Level::warning, [] { return std::string("second"); });
    trace::write(Category::stream, Level::info, [&] {
        was_made = true;
        return std::string("third");
    });
    EXPECT_EQ(lines(), (std::vector<std::string>{"control error first", "stream warning second"}));
    EXPECT_FALSE(was_made);
}

TEST_F(Trace, TellsNobodyWhoHasStopped)
{
    listen(Level::debug);
    trace::stop_listening();
    trace::write(Category::control, Level::error, [] { return std::string("late"); });
    EXPECT_TRUE(lines().empty());
}

TEST_F(Trace, DoesNotTellWhatTheListenerDoes)
{
    int calls = 0;
    trace::listen(Level::debug, [&](const trace::Record&) {
        ++calls;
        trace::write(Category::control, Level::error, [] { return std::string("from within"); });
    });
    trace::write(Category::control, Level::error, [] { return std::string("from outside"); });
    EXPECT_EQ(calls, 1);
}

TEST_F(Trace, SurvivesWhatListenersThrow)
{
    trace::listen(Level::debug, [](const trace::Record&) { throw 1; });
    trace::write(Category::control, Level::error, [] { return std::string("text"); });
    listen(Level::debug);
    trace::write(Category::control, Level::error, [] { return std::string("again"); });
    EXPECT_EQ(lines().size(), 1U);
}

TEST_F(Trace, SurvivesTextsThatCannotBeMade)
{
    listen(Level::debug);
    trace::write(Category::control, Level::error, []() -> std::string { throw 1; });
    trace::write(Category::control, Level::error, [] { return std::string("again"); });
    EXPECT_EQ(lines(), std::vector<std::string>{"control error again"});
}

TEST_F(Trace, HoldsNothingWhileATextIsMade)
{
    listen(Level::debug);
    std::atomic<bool> was_replaced = false;
    std::thread replacer;
    trace::write(Category::control, Level::error, [&] {
        replacer = std::thread([&] {
            listen(Level::info);
            was_replaced = true;
        });
        EXPECT_TRUE(eventually([&] { return was_replaced.load(); }));
        return std::string("for the new one");
    });
    replacer.join();
    EXPECT_EQ(lines(), std::vector<std::string>{"control error for the new one"});
}

TEST_F(Trace, StoppingWaitsForTheCallUnderWay)
{
    sdk_test::Flag is_inside;
    sdk_test::Flag may_leave;
    std::atomic<bool> has_left = false;
    trace::listen(Level::debug, [&](const trace::Record&) {
        is_inside.raise();
        may_leave.await();
        has_left = true;
    });
    std::thread teller([] { trace::write(Category::control, Level::info, [] { return std::string("slow"); }); });
    is_inside.await();
    std::thread releaser([&] {
        // stopping has begun, or will find the listener gone; either way it may not return before the call has
        while (trace::is_wanted(Level::error)) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(has_left);
        may_leave.raise();
    });
    trace::stop_listening();
    EXPECT_TRUE(has_left);
    teller.join();
    releaser.join();
}

TEST_F(Trace, ListenersChangeWhileOthersTell)
{
    constexpr int changes = 200;
    std::atomic<bool> stop = false;
    std::vector<std::thread> tellers;
    for (int i = 0; i < 3; ++i) {
        tellers.emplace_back([&] {
            while (!stop) {
                trace::write(Category::stream, Level::debug, [] { return std::string("something"); });
            }
        });
    }
    for (int i = 0; i < changes; ++i) {
        // not synchronised: the listener may not be in a call when it is gone
        auto heard = std::make_unique<std::atomic<int>>(0);
        trace::listen(Level::debug, [heard = heard.get()](const trace::Record&) { ++*heard; });
        if (i % 2 == 0) {
            trace::stop_listening();
        } else {
            listen(Level::error);
        }
        heard.reset();
    }
    stop = true;
    for (std::thread& teller : tellers) {
        teller.join();
    }
    trace::write(Category::stream, Level::error, [] { return std::string("the end"); });
    EXPECT_EQ(lines(), std::vector<std::string>{"stream error the end"});
}

}  // namespace
