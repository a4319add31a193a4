// A terminal's end of a serial port: bytes both ways, settings, a device that goes and comes, the end.
#include "sdk/terminal/session.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <optional>

#include "tests/sdk/bridge/fakes.h"

namespace {

using namespace bridge_test;
using vex::terminal::Session;
using vex::terminal::State;

class SessionTest : public testing::Test {
protected:
    void start()
    {
        session.emplace(camera, Session::Listener{[this](std::vector<std::uint8_t> bytes) {
                                                      const std::lock_guard lock(mutex);
                                                      received.insert(received.end(), bytes.begin(), bytes.end());
                                                      changed.notify_all();
                                                  },
                                                  [this](const State& now) {
                                                      const std::lock_guard lock(mutex);
                                                      state = now;
                                                      ++changes;
                                                      changed.notify_all();
                                                  }});
    }
    template <class Wanted>
    [[nodiscard]] bool await(Wanted wanted)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, wanted);
    }

    Seen seen;
    std::shared_ptr<FakeCamera> camera = std::make_shared<FakeCamera>(seen);
    std::mutex mutex;
    std::condition_variable changed;
    Bytes received;
    State state;
    int changes = 0;
    std::optional<Session> session;
};

TEST_F(SessionTest, CarriesBytesBothWays)
{
    start();
    EXPECT_TRUE(session->send(bytes_of("hello ")));
    EXPECT_TRUE(session->send(bytes_of("there")));
    EXPECT_EQ(camera->fake().sent(11), bytes_of("hello there"));
    EXPECT_TRUE(camera->fake().feed("and back"));
    EXPECT_TRUE(await([&] { return received == bytes_of("and back"); }));
    EXPECT_TRUE(await([&] { return state.is_up; }));
    EXPECT_TRUE(state.failure.IsOK());
}

TEST_F(SessionTest, TellsAndSetsTheLine)
{
    start();
    EXPECT_TRUE(await([&] { return state.baud_rates == std::vector<std::uint32_t>{9600, 115'200}; }));
    EXPECT_TRUE(await([&] { return state.line == PvSerialPortConfiguration{115'200, PvParityEven, 7, 2}; }));
    const PvSerialPortConfiguration other{57'600, PvParityOdd, 8, 1};
    session->configure(other);
    EXPECT_TRUE(session->send(bytes_of("x")));
    EXPECT_EQ(camera->fake().sent(1), bytes_of("x"));  // which comes behind
    EXPECT_EQ(seen.of_camera(), std::vector{other});
}

TEST_F(SessionTest, TellsWhatFailedUntilSomethingGoesWell)
{
    camera->set_result = PvResult(PvResult::NotSupported, "No such rate");
    start();
    session->configure({});
    EXPECT_TRUE(await([&] { return state.failure.GetCode() == PvResult::NotSupported; }));
    EXPECT_EQ(state.failure.description(), "No such rate");
    EXPECT_TRUE(session->send(bytes_of("x")));
    EXPECT_TRUE(await([&] { return state.failure.IsOK(); }));
}

TEST_F(SessionTest, TellsThatTheDeviceIsAwayAndBack)
{
    start();
    EXPECT_TRUE(await([&] { return state.is_up; }));
    camera->fake().set_away(true);
    EXPECT_TRUE(await([&] { return !state.is_up; }));
    EXPECT_TRUE(session->send(bytes_of("lost")));
    EXPECT_TRUE(await([&] { return state.failure.GetCode() == PvResult::NotConnected; }));
    camera->fake().set_away(false);
    EXPECT_TRUE(await([&] { return state.is_up; }));
    EXPECT_TRUE(camera->fake().feed("back"));
    EXPECT_TRUE(await([&] { return received == bytes_of("back"); }));
}

TEST_F(SessionTest, RefusesMoreThanItHolds)
{
    camera->fake().take(0);
    start();
    EXPECT_TRUE(session->send(Bytes(Session::most_waiting)));
    EXPECT_FALSE(session->send(bytes_of("x")));
}

TEST_F(SessionTest, SaysNothingAfterItsEnd)
{
    start();
    EXPECT_TRUE(await([&] { return state.is_up; }));
    session.reset();
    const std::lock_guard lock(mutex);
    const int before = changes;
    camera->fake().set_away(true);
    EXPECT_EQ(changes, before);
}

}  // namespace
