#include "sdk/control/control_channel.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "sdk/wire/bootstrap.h"
#include "tests/sdk/control/control_channel_fixture.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::ControlChannelTest;
using device_test::hex;
using device_test::id_of;
using device_test::with_id;
using Kind = control::ControlOutcome::Kind;

TEST_F(ControlChannelTest, ReadsARegisterWithTheExpectedBytes)
{
    answer_with("0000 0081 0004 0000 DEADBEEF");
    EXPECT_TRUE(channel.read_register(0x0A00, value).ok());
    EXPECT_EQ(value, 0xDEADBEEF);
    ASSERT_EQ(transport.sent.size(), 1U);
    EXPECT_EQ(transport.sent[0], hex("42 01 0080 0004 0001 00000A00"));
}

TEST_F(ControlChannelTest, WritesARegisterWithTheExpectedBytes)
{
    answer_with("0000 0083 0004 0000 0000 0001");
    EXPECT_TRUE(channel.write_register(0x0938, 3000).ok());
    EXPECT_EQ(transport.sent.at(0), hex("42 01 0082 0008 0001 00000938 00000BB8"));
}

TEST_F(ControlChannelTest, CountsRequestIdsUpAndNeverUsesZero)
{
    answer_with("0000 0081 0004 0000 00000000");
    for (int i = 0; i < 65536; ++i) {
        ASSERT_TRUE(channel.read_register(0, value).ok());
    }
    EXPECT_EQ(id_of(transport.sent[65534]), 0xFFFF);
    EXPECT_EQ(id_of(transport.sent[65535]), 1);
}

TEST_F(ControlChannelTest, RetriesWithTheSameRequestIdAndGivesUpInBoundedTime)
{
    const auto outcome = channel.read_register(0x0938, value);
    EXPECT_EQ(outcome.kind, Kind::no_answer);
    ASSERT_EQ(transport.sent.size(), 4U);
    for (const Bytes& request : transport.sent) {
        EXPECT_EQ(request, transport.sent[0]);
    }
    EXPECT_EQ(elapsed(), 2000ms);
    EXPECT_EQ(channel.statistics().retries, 3U);
    EXPECT_EQ(channel.statistics().failures, 1U);
    EXPECT_EQ(to_result(outcome, transport.camera).GetCode(), PvResult::Timeout);
    EXPECT_EQ(text(outcome), "192.168.1.2: reading register 0x0938 (" + std::string(wire::bootstrap::name_of(0x0938)) +
                                 ") failed: no answer (4 attempts, 2000 ms)");
}

TEST_F(ControlChannelTest, TakesTheAnswerToARetry)
{
    transport.on_send = [this](const Bytes& request) {
        if (transport.sent.size() == 3) {
            transport.deliver(with_id(hex("0000 0081 0004 0000 00000007"), id_of(request)), 10ms);
        }
    };
    EXPECT_TRUE(channel.read_register(0, value).ok());
    EXPECT_EQ(value, 7U);
    EXPECT_EQ(elapsed(), 1010ms);
}

TEST_F(ControlChannelTest, TakesALateAnswerToTheFirstSendingAfterTheRetryWasSent)
{
    transport.on_send = [this](const Bytes& request) {
        if (transport.sent.size() == 1) {
            transport.deliver(with_id(hex("0000 0081 0004 0000 00000007"), id_of(request)), 700ms);
        }
    };
    EXPECT_TRUE(channel.read_register(0, value).ok());
    EXPECT_EQ(transport.sent.size(), 2U);
}

TEST_F(ControlChannelTest, IgnoresAFloodOfStaleAcknowledgesUpToTheDeadline)
{
    transport.on_send = [this](const Bytes& request) {
        const auto stale = static_cast<std::uint16_t>(id_of(request) + 0x1000);
        for (int i = 0; i < 500; ++i) {
            transport.deliver(with_id(hex("0000 0081 0004 0000 00000BAD"), stale), std::chrono::milliseconds(i));
        }
    };
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::no_answer);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(elapsed(), 2000ms);
    EXPECT_EQ(channel.statistics().stale, 2000U);
}

TEST_F(ControlChannelTest, IgnoresTheAcknowledgeOfAnotherCommandWithTheSameId)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0083 0004 0000 00000001"), id_of(request)));
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000002"), id_of(request)), 1ms);
    };
    EXPECT_TRUE(channel.read_register(0, value).ok());
    EXPECT_EQ(value, 2U);
    EXPECT_EQ(channel.statistics().stale, 1U);
}

TEST_F(ControlChannelTest, IgnoresAnswersFromAnotherSource)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000BAD"), id_of(request)), 0ms, transport.stranger);
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000BAD"), id_of(request)), 0ms,
                          {transport.camera.address, 4000});
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000002"), id_of(request)), 1ms);
    };
    EXPECT_TRUE(channel.read_register(0, value).ok());
    EXPECT_EQ(value, 2U);
    EXPECT_EQ(channel.statistics().foreign, 2U);
}

TEST_F(ControlChannelTest, WaitsAsLongAsAPendingAcknowledgeAsksWithoutResending)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0089 0004 0000 0000 0BB8"), id_of(request)), 100ms);
        transport.deliver(with_id(hex("0000 0083 0004 0000 0000 0001"), id_of(request)), 3000ms);
    };
    EXPECT_TRUE(channel.write_register(0xA000, 1).ok());
    EXPECT_EQ(transport.sent.size(), 1U);
    EXPECT_EQ(elapsed(), 3000ms);
    EXPECT_EQ(channel.statistics().pendings, 1U);
}

TEST_F(ControlChannelTest, GivesTheAnswerItsUsualTimeAfterAPendingTime)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0089 0004 0000 0000 0BB8"), id_of(request)), 100ms);
        transport.deliver(with_id(hex("0000 0083 0004 0000 0000 0001"), id_of(request)), 100ms + 3000ms + 499ms);
    };
    EXPECT_TRUE(channel.write_register(0xA000, 1).ok());
    EXPECT_EQ(transport.sent.size(), 1U);
    EXPECT_EQ(elapsed(), 3599ms);
}

TEST_F(ControlChannelTest, WaitsTheLongestTimeThatAPendingAcknowledgeCanAskFor)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0089 0004 0000 0000 FFFF"), id_of(request)), 100ms);
        transport.deliver(with_id(hex("0000 0083 0004 0000 0000 0001"), id_of(request)), 65'600ms);
    };
    EXPECT_TRUE(channel.write_register(0xA000, 1).ok());
    EXPECT_EQ(transport.sent.size(), 1U);
    EXPECT_EQ(elapsed(), 65'600ms);
}

TEST_F(ControlChannelTest, EndsAPendingStormAtItsLimit)
{
    transport.on_send = [this](const Bytes& request) {
        for (int i = 0; i < 1000; ++i) {
            transport.deliver(with_id(hex("0000 0089 0004 0000 0000 FFFF"), id_of(request)), i * 4s);
        }
    };
    const auto outcome = channel.write_register(0xA000, 1);
    EXPECT_EQ(outcome.kind, Kind::pending_too_long);
    EXPECT_GT(elapsed(), 65s);
    EXPECT_LE(elapsed(), 70s);
    // it asked to the end, so it is there
    EXPECT_GT(channel.last_answer(), start + 60s);
    EXPECT_EQ(transport.sent.size(), 1U);
    EXPECT_NE(text(outcome).find("writing register 0xA000 failed: the device kept asking for more time"),
              std::string::npos);
}

TEST_F(ControlChannelTest, EndsAStormOfQuickPendings)
{
    transport.on_send = [this](const Bytes& request) {
        for (int i = 0; i < 1000; ++i) {
            transport.deliver(with_id(hex("0000 0089 0004 0000 0000 FFFF"), id_of(request)));
        }
    };
    EXPECT_EQ(channel.write_register(0xA000, 1).kind, Kind::pending_too_long);
    EXPECT_EQ(channel.statistics().pendings, 101U);
}

TEST_F(ControlChannelTest, APendingAcknowledgeOfAnotherRequestExtendsNothing)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(
            with_id(hex("0000 0089 0004 0000 0000 FFFF"), static_cast<std::uint16_t>(id_of(request) + 1)));
    };
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::no_answer);
    EXPECT_EQ(elapsed(), 2000ms);
}

TEST_F(ControlChannelTest, TellsTheStatusOfARefusalInWords)
{
    answer_with("8006 0083 0004 0000 0000 0000");
    const auto outcome = channel.write_register(0x0A00, 2);
    EXPECT_EQ(outcome.kind, Kind::refused);
    EXPECT_EQ(outcome.status, wire::gvcp::Status::access_denied);
    EXPECT_EQ(transport.sent.size(), 1U);
    EXPECT_EQ(to_result(outcome, transport.camera).GetCode(), PvResult::StateError);
    EXPECT_NE(text(outcome).find("writing register 0x0A00"), std::string::npos);
    EXPECT_NE(text(outcome).find(wire::gvcp::text_of(wire::gvcp::Status::access_denied)), std::string::npos);
}

TEST_F(ControlChannelTest, RefusalWithoutPayloadIsARefusal)
{
    answer_with("8003 0081 0000 0000");
    const auto outcome = channel.read_register(0xFFFFFFFC, value);
    EXPECT_EQ(outcome.kind, Kind::refused);
    EXPECT_EQ(to_result(outcome, transport.camera).GetCode(), PvResult::InvalidParameter);
}

struct BrokenAnswer {
    const char* name;
    const char* bytes;
};

class BrokenAnswers : public ControlChannelTest, public testing::WithParamInterface<BrokenAnswer> {};

TEST_P(BrokenAnswers, AreDroppedAndTold)
{
    answer_with(GetParam().bytes);
    const auto outcome = channel.read_register(0x0A00, value);
    EXPECT_EQ(outcome.kind, Kind::malformed);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(channel.statistics().malformed, 4U);
    EXPECT_EQ(elapsed(), 2000ms);
    EXPECT_NE(text(outcome).find("malformed"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(ReadRegister, BrokenAnswers,
                         testing::Values(BrokenAnswer{"NoPayload", "0000 0081 0000 0000"},
                                         BrokenAnswer{"ShortPayload", "0000 0081 0003 0000 010203"},
                                         BrokenAnswer{"LengthBeyondTheDatagram", "0000 0081 0008 0000 01020304"},
                                         BrokenAnswer{"LargestLength", "0000 0081 FFFF 0000 01020304"},
                                         BrokenAnswer{"PendingWithoutTime", "0000 0089 0000 0000"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(ControlChannelTest, DropsAHeaderCutShort)
{
    transport.on_send = [this](const Bytes&) { transport.deliver(hex("0000 0081 00")); };
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::malformed);
}

TEST_F(ControlChannelTest, DropsADatagramLongerThanAnyAcknowledge)
{
    transport.on_send = [this](const Bytes& request) {
        Bytes huge = with_id(hex("0000 0081 0004 0000 00000001"), id_of(request));
        huge.resize(9000);
        transport.deliver(huge);
    };
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::malformed);
}

TEST_F(ControlChannelTest, ABrokenAnswerDoesNotHideAGoodOne)
{
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0081 0002 0000 0102"), id_of(request)));
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000009"), id_of(request)), 1ms);
    };
    EXPECT_TRUE(channel.read_register(0, value).ok());
    EXPECT_EQ(value, 9U);
}

TEST_F(ControlChannelTest, TellsWhyItCouldNotSend)
{
    transport.send_error = std::make_error_code(std::errc::network_unreachable);
    const auto outcome = channel.read_register(0, value);
    EXPECT_EQ(outcome.kind, Kind::send_failed);
    EXPECT_EQ(transport.sent.size(), 4U);
    EXPECT_NE(text(outcome).find(transport.send_error.message()), std::string::npos);
}

TEST_F(ControlChannelTest, AsksAtLeastOnceAndForAtLeastAMillisecond)
{
    channel.set_retry_policy({0ms, 0});
    EXPECT_EQ(channel.retry_policy().answer_timeout, 1ms);
    answer_with("0000 0081 0004 0000 00000007");
    EXPECT_TRUE(channel.read_register(0, value).ok());
    EXPECT_EQ(transport.sent.size(), 1U);
    channel.set_retry_policy({std::chrono::hours(1000), 1});
    EXPECT_EQ(channel.retry_policy().answer_timeout, 1h);
}

TEST_F(ControlChannelTest, AClosedChannelFailsWithoutSending)
{
    channel.close();
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::closed);
    EXPECT_TRUE(transport.sent.empty());
}

TEST_F(ControlChannelTest, ClosingEndsAnExchangeUnderWay)
{
    transport.on_send = [this](const Bytes&) { channel.close(); };
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::closed);
    EXPECT_EQ(elapsed(), 0ms);
}

TEST_F(ControlChannelTest, ForgetsEveryCountOnReset)
{
    transport.on_send = [this](const Bytes& request) {
        if (transport.sent.size() < 2) {
            return;  // lost
        }
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000001"), id_of(request)), 1ms, transport.stranger);
        transport.deliver(with_id(hex("0000 0081 0002 0000 0102"), id_of(request)), 2ms);
        transport.deliver(with_id(hex("0000 0081 0004 0000 00000001"), 0x7777), 3ms);
        transport.deliver(with_id(hex("0000 0089 0004 0000 0000 0064"), id_of(request)), 4ms);
        transport.deliver(with_id(hex("8003 0081 0000 0000"), id_of(request)), 5ms);
    };
    EXPECT_EQ(channel.read_register(0, value).kind, Kind::refused);
    answer_with("0000 0081 0004 0000 00000001", 20ms);
    EXPECT_TRUE(channel.read_register(0, value).ok());
    const auto counts = [](const control::ControlStatistics& all) {
        return std::array<std::uint64_t, 7>{all.requests, all.retries, all.failures, all.pendings,
                                            all.stale,    all.foreign, all.malformed};
    };
    EXPECT_EQ(counts(channel.statistics()), (std::array<std::uint64_t, 7>{2, 1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(channel.statistics().round_trips.last, 20ms);
    EXPECT_EQ(channel.statistics().round_trips.largest, 20ms);
    channel.reset_statistics();
    EXPECT_EQ(counts(channel.statistics()), (std::array<std::uint64_t, 7>{}));
    EXPECT_EQ(channel.statistics().round_trips.last, 0ms);
    EXPECT_EQ(channel.statistics().round_trips.largest, 0ms);
}

}  // namespace
