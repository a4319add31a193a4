// Who may do what, for how long, and what a repeated command does.
#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;

using namespace std::chrono_literals;

using GvcpPrivilege = Responder;
using GvcpHeartbeat = Responder;
using GvcpRetry = Responder;

TEST_F(GvcpPrivilege, WithoutControlNothingCanBeWritten)
{
    EXPECT_EQ(write(scratch, 1), status::access_denied);
    EXPECT_EQ(status_of(ask(write_memory(1, 0xE8, be32(0)))), status::access_denied);
    EXPECT_EQ(read(scratch), 0x11223344U);
    EXPECT_EQ(responder.statistics().denied, 2U);
}

TEST_F(GvcpPrivilege, ControlIsTakenByWritingTheRegisterAndGivenBackByZero)
{
    EXPECT_EQ(write(0x0A00, 2), status::success);
    EXPECT_EQ(read(0x0A00), 2U);
    EXPECT_EQ(read(0x0A04), 50000U);
    EXPECT_EQ(read(0x0A14), 0x0A010164U);
    EXPECT_EQ(write(scratch, 5), status::success);

    EXPECT_EQ(write(0x0A00, 0), status::success);
    EXPECT_EQ(read(0x0A00), 0U);
    EXPECT_EQ(read(0x0A04), 0U);
    EXPECT_EQ(read(0x0A14), 0U);
    EXPECT_EQ(write(scratch, 6), status::access_denied);
    EXPECT_EQ(hooks.control_changes, (std::vector<bool>{true, false}));
}

TEST_F(GvcpPrivilege, OthersAreDeniedControlButMayRead)
{
    take_control();
    EXPECT_EQ(status_of(ask(write_register(1, 0x0A00, 2), other)), status::access_denied);
    EXPECT_EQ(status_of(ask(write_register(2, 0x0A00, 0), other)), status::access_denied);
    EXPECT_EQ(status_of(ask(write_register(3, scratch, 0), other)), status::access_denied);
    EXPECT_EQ(u32_at(ask(read_register(4, scratch), other), 8), 0x11223344U);
    EXPECT_EQ(u32_at(ask(read_register(5, 0x0A14), other), 8), 0x0A010164U);
}

TEST_F(GvcpPrivilege, AnotherPortOfTheSameHostIsAnotherApplication)
{
    take_control();
    const Endpoint neighbour{host.address, static_cast<std::uint16_t>(host.port + 1)};
    EXPECT_EQ(status_of(ask(write_register(1, scratch, 0), neighbour)), status::access_denied);
}

TEST_F(GvcpPrivilege, ExclusiveAccessKeepsOthersFromReadingToo)
{
    ASSERT_EQ(write(0x0A00, 1), status::success);
    EXPECT_EQ(read(0x0A00), 1U);
    EXPECT_EQ(status_of(ask(read_register(1, scratch), other)), status::access_denied);
    EXPECT_EQ(status_of(ask(read_memory(2, table, 8), other)), status::access_denied);
    EXPECT_EQ(read(scratch), 0x11223344U);
}

TEST_F(GvcpPrivilege, WhoIsRefusedByExclusiveAccessLearnsWhoHasIt)
{
    ASSERT_EQ(write(0x0A00, 3), status::success);
    EXPECT_EQ(u32_at(ask(read_register(1, 0x0A00), other), 8), 3U);
    EXPECT_EQ(u32_at(ask(read_register(2, 0x0A04), other), 8), 50000U);
    EXPECT_EQ(u32_at(ask(read_register(3, 0x0A14), other), 8), 0x0A010164U);
    EXPECT_EQ(ask(command(0x0002, 4, {}), other).size(), 256U) << "discovery is for everybody";
}

TEST_F(GvcpPrivilege, WhoIsRefusedByExclusiveAccessLearnsNothingBeyond)
{
    ASSERT_EQ(write(0x0A00, 3), status::success);
    unsigned id = 0;
    for (const std::uint32_t address : {0x0A00U, 0x0A04U, 0x0A14U}) {
        SCOPED_TRACE(address);
        EXPECT_EQ(status_of(ask(read_memory(++id, address, 4), other)), status::success);
        EXPECT_EQ(status_of(ask(read_memory(++id, address, 8), other)), status::access_denied);
    }
    EXPECT_EQ(responder.statistics().denied, 3U);
}

TEST_F(GvcpPrivilege, ControlCanBecomeExclusiveAndBack)
{
    take_control();
    EXPECT_EQ(write(0x0A00, 1), status::success);
    EXPECT_EQ(status_of(ask(read_register(1, scratch), other)), status::access_denied);
    EXPECT_EQ(write(0x0A00, 2), status::success);
    EXPECT_EQ(status_of(ask(read_register(2, scratch), other)), status::success);
    EXPECT_EQ(hooks.control_changes, std::vector<bool>{true}) << "control itself never changed hands";
}

TEST_F(GvcpPrivilege, LosingControlClosesTheChannels)
{
    take_control();
    ASSERT_EQ(write(0x0D18, 0x0A010164), status::success);
    ASSERT_EQ(write(0x0D00, 40000), status::success);
    ASSERT_EQ(write(0x0B00, 40001), status::success);
    EXPECT_TRUE(hooks.channel.is_open());

    ASSERT_EQ(write(0x0A00, 0), status::success);
    EXPECT_EQ(read(0x0D00), 0U);
    EXPECT_EQ(read(0x0B00), 0U);
    EXPECT_FALSE(hooks.channel.is_open());
}

TEST_F(GvcpHeartbeat, SilenceBeyondTheTimeoutEndsControl)
{
    take_control();
    clock.advance(3000ms);
    tick();
    EXPECT_EQ(read(0x0A00), 2U) << "the timeout itself is not yet too long";

    clock.advance(3001ms);
    tick();
    EXPECT_EQ(hooks.control_changes, (std::vector<bool>{true, false}));
    EXPECT_EQ(read(0x0A00), 0U);
    EXPECT_EQ(responder.statistics().heartbeat_expired, 1U);
}

TEST_F(GvcpHeartbeat, AnyCommandOfTheControllerKeepsItAlive)
{
    take_control();
    for (int i = 0; i < 20; ++i) {
        clock.advance(2900ms);
        tick();
        EXPECT_EQ(read(0x0938), 3000U);
    }
    EXPECT_EQ(hooks.control_changes, std::vector<bool>{true});
}

TEST_F(GvcpHeartbeat, CommandsOfOthersDoNot)
{
    take_control();
    for (int i = 0; i < 4; ++i) {
        clock.advance(1000ms);
        ask(read_register(static_cast<unsigned>(i + 1), scratch), other);
    }
    EXPECT_EQ(read(0x0A00), 0U);
}

TEST_F(GvcpHeartbeat, ExpiryIsNoticedEvenWhenTheLateCommandComesFirst)
{
    take_control();
    clock.advance(3001ms);
    EXPECT_EQ(write(scratch, 1), status::access_denied);
}

TEST_F(GvcpHeartbeat, AnotherApplicationTakesOverAfterwards)
{
    take_control();
    clock.advance(4s);
    EXPECT_EQ(status_of(ask(write_register(1, 0x0A00, 2), other)), status::success);
    EXPECT_EQ(write(scratch, 1), status::access_denied);
}

TEST_F(GvcpHeartbeat, TheTimeoutIsWritableButNotBelowHalfASecond)
{
    take_control();
    EXPECT_EQ(write(0x0938, 10), status::success);
    EXPECT_EQ(read(0x0938), 500U);
    EXPECT_EQ(write(0x0938, 60000), status::success);
    clock.advance(59s);
    tick();
    EXPECT_EQ(read(0x0A00), 2U);
}

TEST_F(GvcpHeartbeat, DisablingItKeepsControlForever)
{
    take_control();
    ASSERT_EQ(write(0x0954, 1), status::success);
    clock.advance(24h);
    tick();
    EXPECT_EQ(read(0x0A00), 2U);
}

TEST_F(GvcpRetry, TheSameRequestAgainIsAnsweredButNotExecutedAgain)
{
    take_control();
    const Bytes request = write_register(0x1234, counted, 1);
    const Bytes first = ask(request);
    const Bytes second = ask(request);
    EXPECT_EQ(first, second);
    EXPECT_EQ(status_of(first), status::success);
    EXPECT_EQ(executions, 1);
    EXPECT_EQ(responder.statistics().repeated, 1U);
}

TEST_F(GvcpRetry, WhoWantsNoAcknowledgeSendsNothingAgain)
{
    take_control();
    const Bytes request = command(0x0082, 0x1234, joined({be32(counted), be32(1)}), 0x00);
    EXPECT_TRUE(answers(request).empty());
    EXPECT_TRUE(answers(request).empty());
    EXPECT_EQ(executions, 2);
}

TEST_F(GvcpRetry, IsOneForAFewSecondsOnly)
{
    take_control();
    const Bytes request = write_register(0x1234, counted, 1);
    ask(request);
    clock.advance(2900ms);
    ask(request);
    EXPECT_EQ(executions, 1);
    clock.advance(200ms);
    ask(request);
    EXPECT_EQ(executions, 2);
}

TEST_F(GvcpRetry, OfAReadTellsThePresentValue)
{
    for (const Bytes& request : {read_register(1, scratch), read_memory(1, scratch, 4)}) {
        for (const std::uint32_t value : {1U, 2U}) {
            responder.registers().set_value(scratch, value);
            const Bytes answer = ask(request);
            EXPECT_EQ(u32_at(answer, answer.size() - 4), value);
        }
    }
}

TEST_F(GvcpRetry, IsKnownThoughReadsCameBetween)
{
    take_control();
    const Bytes request = write_register(0x1234, counted, 1);
    ask(request);
    ask(read_register(0x1235, scratch));
    ask(request);
    EXPECT_EQ(executions, 1);
}

TEST_F(GvcpRetry, AFreshIdIsAFreshCommand)
{
    take_control();
    ask(write_register(0x1234, counted, 1));
    ask(write_register(0x1235, counted, 1));
    EXPECT_EQ(executions, 2);
}

TEST_F(GvcpRetry, TheSameIdWithAnotherCommandIsAnotherCommand)
{
    take_control();
    ask(write_register(0x1234, counted, 1));
    ask(write_register(0x1234, counted, 2));
    EXPECT_EQ(executions, 2);
}

TEST_F(GvcpRetry, TheSameIdOfAnotherApplicationIsAnotherCommand)
{
    const Bytes request = read_register(0x1234, scratch);
    ask(request);
    ask(request, other);
    EXPECT_EQ(responder.statistics().executed, 2U);
    EXPECT_EQ(responder.statistics().repeated, 0U);
}

TEST_F(GvcpRetry, ARetryIsRememberedBesideOtherApplications)
{
    take_control();
    const Bytes request = write_register(0x1234, counted, 1);
    ask(request);
    for (unsigned i = 1; i < 8; ++i) {
        ask(write_register(i, scratch, 1), {other.address, static_cast<std::uint16_t>(i)});
    }
    ask(request);
    EXPECT_EQ(executions, 1);
}

TEST_F(GvcpRetry, DiscoveryAlwaysTellsThePresentState)
{
    const Bytes request = command(0x0002, 1, {});
    ask(request);
    take_control();
    ASSERT_EQ(status_of(ask(write_memory(2, 0xE8, be32(0x41424344)))), status::success);
    EXPECT_EQ(ask(request)[8 + 232], 'A');
}

class GvcpSwitchover : public Responder {
protected:
    static constexpr std::uint32_t ccp = 0x0A00;
    static constexpr std::uint32_t key = 0x095C;

    unsigned write_from(const Endpoint& from, std::uint32_t address, std::uint32_t value)
    {
        return status_of(ask(write_register(next_id(), address, value), from));
    }
};

TEST_F(GvcpSwitchover, IsOffered) { EXPECT_NE(read(0x0934) & (1U << 21), 0U); }

TEST_F(GvcpSwitchover, HandsControlToWhoKnowsTheKey)
{
    take_control();
    ASSERT_EQ(write(0x0D18, 0x0A010164), status::success);
    ASSERT_EQ(write(0x0D00, 40000), status::success);
    ASSERT_EQ(write(key, 0xBEEF), status::success);
    ASSERT_EQ(write(ccp, 6), status::success);
    EXPECT_EQ(read(ccp), 6U);

    EXPECT_EQ(write_from(other, ccp, 0xBEEF0002), status::success);
    EXPECT_EQ(read(ccp), 2U) << "the key is not read back";
    EXPECT_EQ(read(0x0A14), other.address.value);
    EXPECT_EQ(write(scratch, 1), status::access_denied);
    EXPECT_EQ(write_from(other, scratch, 1), status::success);
    EXPECT_EQ(hooks.control_changes, std::vector<bool>{true});
    EXPECT_TRUE(hooks.channel.is_open()) << "the pictures go on";
}

TEST_F(GvcpSwitchover, IsRefusedWithAnotherKeyOrWithoutLeave)
{
    take_control();
    ASSERT_EQ(write(key, 0xBEEF), status::success);
    EXPECT_EQ(write_from(other, ccp, 0xBEEF0002), status::access_denied) << "not enabled";
    ASSERT_EQ(write(ccp, 6), status::success);
    EXPECT_EQ(write_from(other, ccp, 0xBEEE0002), status::access_denied);
    EXPECT_EQ(write_from(other, ccp, 2), status::access_denied);
    EXPECT_EQ(write_from(other, ccp, 0xBEEF0000), status::access_denied) << "asks for nothing";
    EXPECT_EQ(write_from(other, ccp, 0xBEEF0004), status::access_denied);
    EXPECT_EQ(write(scratch, 1), status::success);
}

TEST_F(GvcpSwitchover, IsNotGivenByWhoHasTheDeviceAlone)
{
    take_control();
    ASSERT_EQ(write(key, 7), status::success);
    ASSERT_EQ(write(ccp, 7), status::success);
    EXPECT_EQ(read(ccp), 3U);
    EXPECT_EQ(write_from(other, ccp, 0x00070002), status::access_denied);
}

TEST_F(GvcpSwitchover, TheKeyIsForTheApplicationInControlOnlyAndUnreadable)
{
    EXPECT_EQ(write(key, 7), status::access_denied);
    take_control();
    EXPECT_EQ(write_from(other, key, 7), status::access_denied);
    EXPECT_EQ(write(key, 7), status::success);
    EXPECT_EQ(status_of(ask(read_register(next_id(), key))), status::access_denied);
}

TEST_F(GvcpSwitchover, TheKeyAndTheLeaveEndWithControl)
{
    take_control();
    ASSERT_EQ(write(key, 0xBEEF), status::success);
    ASSERT_EQ(write(ccp, 6), status::success);
    ASSERT_EQ(write(ccp, 0), status::success);
    take_control();
    EXPECT_EQ(write_from(other, ccp, 0xBEEF0002), status::access_denied);
    ASSERT_EQ(write(ccp, 6), status::success);
    EXPECT_EQ(write_from(other, ccp, 0xBEEF0002), status::access_denied);
}

TEST_F(GvcpSwitchover, TheNewApplicationsHeartbeatCountsFromThen)
{
    take_control();
    ASSERT_EQ(write(ccp, 6), status::success);
    clock.advance(2900ms);
    ASSERT_EQ(write_from(other, ccp, 2), status::success);
    clock.advance(2900ms);
    tick();
    EXPECT_EQ(read(ccp), 2U);
    clock.advance(101ms);
    tick();
    EXPECT_EQ(read(ccp), 0U);
}

TEST_F(GvcpHeartbeat, ACommandThatTakesLongIsNotTheApplicationsSilence)
{
    {
        const auto guard = responder.lock();
        responder.registers().add_register(0x00010100, virtual_device::Access::read_write, 0,
                                           {.refresh = {}, .accept = [this](std::uint32_t&) {
                                                clock.advance(8s);
                                                return virtual_device::Status::success;
                                            }});
    }
    take_control();
    EXPECT_EQ(write(0x00010100, 1), status::success);
    EXPECT_EQ(write(scratch, 1), status::success);
}

using GvcpRestart = Responder;

TEST_F(GvcpRestart, EndsControlAndForgetsTheLastRequests)
{
    const Bytes request = write_register(77, counted, 5);
    take_control();
    ASSERT_EQ(write(0x0938, 9000), status::success);
    ASSERT_EQ(status_of(ask(request)), status::success);
    {
        const auto guard = responder.lock();
        responder.registers().set_value(scratch, 0x11223344);
        responder.registers().set_value(0x0938, 3000);
        responder.remember_power_on();
        responder.registers().set_value(scratch, 1);
        responder.registers().set_value(0x0938, 9000);
    }
    responder.restart();
    EXPECT_EQ(hooks.control_changes, (std::vector<bool>{true, false}));
    EXPECT_EQ(read(scratch), 0x11223344U);
    EXPECT_EQ(read(0x0938), 3000U);
    EXPECT_EQ(read(0x0024), 0x0A010203U) << "the address stays";
    EXPECT_EQ(status_of(ask(request)), status::access_denied) << "answered as before the restart";
    EXPECT_EQ(executions, 1);
}
