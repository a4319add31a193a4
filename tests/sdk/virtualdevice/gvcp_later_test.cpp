// What a device does later than it is told: scheduled actions and delayed answers to a search.
#include <set>

#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;
using namespace std::chrono_literals;

namespace {

Bytes be64(std::uint64_t value)
{
    return joined({be32(static_cast<std::uint32_t>(value >> 32)), be32(static_cast<std::uint32_t>(value))});
}

/// To device key 0xD0, group key 0x61, mask 1.
Bytes action_at(unsigned id, std::uint64_t time, std::uint32_t mask = 1)
{
    return command(0x0100, id, joined({be32(0xD0), be32(0x61), be32(mask), be64(time)}), 0x81);
}

constexpr unsigned action_late = 0x8016;
constexpr unsigned overflow = 0x8015;

}  // namespace

class ScheduledAction : public Responder {
protected:
    void SetUp() override
    {
        take_control();
        ASSERT_EQ(write(0x090C, 0xD0), status::success);
        for (const std::uint32_t signal : {0U, 1U}) {
            ASSERT_EQ(write(0x9800 + 0x10 * signal, 0x61), status::success);
            ASSERT_EQ(write(0x9804 + 0x10 * signal, 1U << signal), status::success);
        }
        ASSERT_EQ(write(0x0954, 0x40000), status::success);
        hooks.now = 1'000'000;
    }
};

TEST_F(ScheduledAction, IsOfferedWithItsQueue)
{
    EXPECT_NE(read(0x0934) & (1U << 17), 0U);
    EXPECT_EQ(read(0x0970), 16U);
}

TEST_F(ScheduledAction, HappensWhenTheDevicesOwnClockSaysSo)
{
    EXPECT_EQ(status_of(ask(action_at(1, 1'000'500))), status::success);
    tick();
    EXPECT_TRUE(hooks.actions.empty());
    hooks.now = 1'000'499;
    clock.advance(1h);  // which is nothing to the device's own
    tick();
    EXPECT_TRUE(hooks.actions.empty());
    hooks.now = 1'000'500;
    tick();
    tick();
    EXPECT_EQ(hooks.actions, std::vector<unsigned>{0});
}

TEST_F(ScheduledAction, TheyHappenInTheOrderOfTheirTimes)
{
    ask(action_at(1, 3'000'000, 2));
    ask(action_at(2, 2'000'000, 1));
    hooks.now = 4'000'000;
    tick();
    EXPECT_EQ(hooks.actions, (std::vector<unsigned>{0, 1}));
}

TEST_F(ScheduledAction, OneThatComesTooLateHappensAtOnceAndSaysSo)
{
    EXPECT_EQ(status_of(ask(action_at(1, 999'999))), action_late);
    EXPECT_EQ(hooks.actions, std::vector<unsigned>{0});
    ASSERT_EQ(write(0x0954, 0), status::success);
    EXPECT_EQ(status_of(ask(action_at(2, 999'999))), status::success) << "the newer codes are not enabled";
    EXPECT_EQ(hooks.actions.size(), 2U);
}

TEST_F(ScheduledAction, TooManyAreRefused)
{
    for (unsigned i = 0; i < 16; ++i) {
        EXPECT_EQ(status_of(ask(action_at(100 + i, 2'000'000 + i))), status::success);
    }
    EXPECT_EQ(status_of(ask(action_at(200, 2'500'000))), overflow);
    ASSERT_EQ(write(0x0954, 0), status::success);
    EXPECT_EQ(status_of(ask(action_at(201, 2'500'000))), status::busy);
    hooks.now = 2'000'000;
    tick();
    EXPECT_EQ(status_of(ask(action_at(202, 2'500'000))), status::success);
    hooks.now = 3'000'000;
    tick();
    EXPECT_EQ(hooks.actions.size(), 17U);
}

TEST_F(ScheduledAction, TheNextTurnIsWantedWhenTheNextIsDue)
{
    const auto nothing = [](const Endpoint&, std::span<const std::uint8_t>) {};
    const auto idle = responder.tick(nothing);
    ask(action_at(1, hooks.now + 7'000'000));
    EXPECT_EQ(responder.tick(nothing), 7ms);
    ask(action_at(2, hooks.now + 3'000'000));
    EXPECT_EQ(responder.tick(nothing), 3ms);
    hooks.now += 7'000'000;
    EXPECT_EQ(responder.tick(nothing), idle);
}

TEST_F(ScheduledAction, ARestartForgetsThem)
{
    ask(action_at(1, 2'000'000));
    responder.restart();
    hooks.now = 3'000'000;
    tick();
    EXPECT_TRUE(hooks.actions.empty());
}

TEST_F(ScheduledAction, ForAnotherDeviceIsNotKept)
{
    EXPECT_TRUE(answers(command(0x0100, 1, joined({be32(0xD1), be32(0x61), be32(1), be64(2'000'000)}), 0x81)).empty());
    hooks.now = 3'000'000;
    tick();
    EXPECT_TRUE(hooks.actions.empty());
}

using DelayedDiscovery = Responder;

TEST_F(DelayedDiscovery, AnswersAtOnceUnlessADelayIsSet)
{
    EXPECT_EQ(read(0x0950), 0U);
    EXPECT_NE(read(0x0934) & (1U << 24), 0U);
    EXPECT_NE(read(0x0934) & (1U << 23), 0U);
    EXPECT_EQ(answers(command(0x0002, 1, {})).size(), 1U);
    EXPECT_EQ(write(0x0950, 10), status::access_denied);
}

TEST_F(DelayedDiscovery, AnswersAtRandomTimesUpToTheDelay)
{
    take_control();
    ASSERT_EQ(write(0x0950, 100), status::success);
    std::set<int> times;
    for (unsigned id = 1; id <= 40; ++id) {
        ASSERT_TRUE(answers(command(0x0002, id, {}), other).empty());
        int ms = 0;
        std::vector<Bytes> sent = tick();
        for (; sent.empty() && ms < 100; ++ms) {
            clock.advance(1ms);
            sent = tick();
        }
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(u16_at(sent[0], 6), id);
        EXPECT_EQ(sent[0].size(), 256U);
        times.insert(ms);
    }
    EXPECT_GT(times.size(), 15U);
    EXPECT_GT(*times.rbegin(), 70);
    EXPECT_LT(*times.begin(), 30);
}

TEST_F(DelayedDiscovery, TheNextTurnIsWantedWhenAnAnswerIsDue)
{
    take_control();
    ASSERT_EQ(write(0x0950, 20), status::success);
    ASSERT_TRUE(answers(command(0x0002, 1, {}), other).empty());
    std::vector<Bytes> sent;
    const auto collect = [&](const Endpoint& to, std::span<const std::uint8_t> data) {
        EXPECT_EQ(to, other);
        sent.emplace_back(data.begin(), data.end());
    };
    const auto wait = responder.tick(collect);
    ASSERT_TRUE(sent.empty());
    EXPECT_LE(wait, 20ms);
    clock.advance(wait);
    responder.tick(collect);
    EXPECT_EQ(sent.size(), 1U);
}

TEST_F(DelayedDiscovery, IsNeverLongerThanASearch)
{
    take_control();
    ASSERT_EQ(write(0x0950, 60000), status::success);
    EXPECT_EQ(read(0x0950), 1000U);
}

TEST_F(DelayedDiscovery, OtherCommandsAreAnsweredAtOnce)
{
    take_control();
    ASSERT_EQ(write(0x0950, 1000), status::success);
    EXPECT_EQ(read(scratch), 0x11223344U);
}

using BroadcastAnswer = Responder;

TEST_F(BroadcastAnswer, GoesToApplicationsOfOtherSubnetsThatAllowIt)
{
    const Endpoint far{{0xC0A80005}, 40000};
    const auto destination = [&](const Bytes& datagram, const Endpoint& from) {
        Endpoint sent_to;
        responder.handle(datagram, from, [&](const Endpoint& to, std::span<const std::uint8_t>) { sent_to = to; });
        return sent_to;
    };
    const Endpoint everybody{{0xFFFFFFFF}, 40000};
    EXPECT_EQ(destination(command(0x0002, 1, {}, 0x11), far), everybody);
    EXPECT_EQ(destination(command(0x0002, 2, {}, 0x01), far), far);
    EXPECT_EQ(destination(command(0x0002, 3, {}, 0x11), host), host);
    Bytes force_ip(56);
    const Bytes mac = bytes_of({0x02, 0x11, 0x22, 0x33, 0x44, 0x55});
    std::copy(mac.begin(), mac.end(), force_ip.begin() + 2);
    EXPECT_EQ(destination(command(0x0004, 4, force_ip, 0x11), far), everybody);
    EXPECT_EQ(destination(command(0x0080, 5, be32(0), 0x11), far), far) << "a flag of searches only";
}
