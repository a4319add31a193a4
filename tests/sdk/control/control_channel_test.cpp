#include "sdk/control/control_channel.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "sdk/wire/bootstrap.h"
#include "tests/sdk/control/scripted_transport.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using control::ControlOutcome;
using device_test::Bytes;
using device_test::hex;
using Kind = ControlOutcome::Kind;

std::uint16_t id_of(const Bytes& request) { return static_cast<std::uint16_t>(request[6] << 8 | request[7]); }

/// The bytes with the request ID put in.
Bytes with_id(Bytes acknowledge, std::uint16_t id)
{
    acknowledge[6] = static_cast<std::uint8_t>(id >> 8);
    acknowledge[7] = static_cast<std::uint8_t>(id);
    return acknowledge;
}

class ControlChannelTest : public testing::Test {
protected:
    /// Answers every request with these bytes, its request ID put in.
    void answer_with(std::string_view bytes, std::chrono::milliseconds delay = {})
    {
        transport.on_send = [this, reply = hex(bytes), delay](const Bytes& request) {
            transport.deliver(with_id(reply, id_of(request)), delay);
        };
    }

    [[nodiscard]] std::chrono::milliseconds elapsed() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - start);
    }

    static std::string text(const ControlOutcome& outcome)
    {
        return std::string(to_result(outcome, device_test::ScriptedTransport::camera).description());
    }

    device_test::ManualClock clock;
    net::Clock::time_point start = clock.now();
    device_test::ScriptedTransport transport{clock};
    control::ControlChannel channel{transport, clock};
    std::uint32_t value = 0;
};

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

TEST_F(ControlChannelTest, EndsAPendingStormAtItsLimit)
{
    transport.on_send = [this](const Bytes& request) {
        for (int i = 0; i < 1000; ++i) {
            transport.deliver(with_id(hex("0000 0089 0004 0000 0000 FFFF"), id_of(request)), i * 400ms);
        }
    };
    const auto outcome = channel.write_register(0xA000, 1);
    EXPECT_EQ(outcome.kind, Kind::pending_too_long);
    EXPECT_LE(elapsed(), 11s);
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
    EXPECT_EQ(channel.statistics().round_trip_last, 20ms);
    EXPECT_EQ(channel.statistics().round_trip_max, 20ms);
    channel.reset_statistics();
    EXPECT_EQ(counts(channel.statistics()), (std::array<std::uint64_t, 7>{}));
    EXPECT_EQ(channel.statistics().round_trip_last, 0ms);
    EXPECT_EQ(channel.statistics().round_trip_max, 0ms);
}

// ---- several registers ----

TEST_F(ControlChannelTest, ReadsSeveralRegistersSinglyUntilToldThatTheDeviceConcatenates)
{
    answer_with("0000 0081 0004 0000 00000005");
    const std::uint32_t addresses[] = {0x0904, 0x0934};
    std::uint32_t values[2] = {};
    EXPECT_TRUE(channel.read_registers(addresses, values).ok());
    EXPECT_EQ(transport.sent.size(), 2U);
    EXPECT_EQ(values[1], 5U);
}

TEST_F(ControlChannelTest, ReadsSeveralRegistersWithOneMessage)
{
    channel.set_concatenation(true);
    answer_with("0000 0081 0008 0000 00000005 00000006");
    const std::uint32_t addresses[] = {0x0904, 0x0934};
    std::uint32_t values[2] = {};
    EXPECT_TRUE(channel.read_registers(addresses, values).ok());
    EXPECT_EQ(transport.sent.size(), 1U);
    EXPECT_EQ(transport.sent[0], hex("42 01 0080 0008 0001 00000904 00000934"));
    EXPECT_EQ(values[0], 5U);
    EXPECT_EQ(values[1], 6U);
}

TEST_F(ControlChannelTest, GoesOnSinglyWhenADeviceAnswersOnlyTheFirstOfSeveral)
{
    channel.set_concatenation(true);
    answer_with("0000 0081 0004 0000 00000005");
    const std::uint32_t addresses[] = {0x0904, 0x0934, 0x0938};
    std::uint32_t values[3] = {};
    EXPECT_TRUE(channel.read_registers(addresses, values).ok());
    EXPECT_EQ(values[2], 5U);
    ASSERT_EQ(transport.sent.size(), 3U);
    EXPECT_EQ(transport.sent[1], hex("42 01 0080 0004 0002 00000934"));
}

TEST_F(ControlChannelTest, SplitsManyRegistersIntoMessagesThatEveryDeviceTakes)
{
    channel.set_concatenation(true);
    transport.on_send = [this](const Bytes& request) {
        Bytes reply = hex("0000 0081 0000 0000");
        reply.insert(reply.end(), request.begin() + 8, request.end());
        reply[4] = request[4];
        reply[5] = request[5];
        transport.deliver(with_id(reply, id_of(request)));
    };
    std::vector<std::uint32_t> addresses(300);
    for (std::uint32_t i = 0; i < addresses.size(); ++i) {
        addresses[i] = 0xA000 + i * 4;
    }
    std::vector<std::uint32_t> values(300);
    EXPECT_TRUE(channel.read_registers(addresses, values).ok());
    EXPECT_EQ(values, addresses);
    ASSERT_EQ(transport.sent.size(), 3U);
    EXPECT_EQ(transport.sent[0].size(), 548U);
}

TEST_F(ControlChannelTest, SplitsManyWritesIntoMessagesThatEveryDeviceTakes)
{
    channel.set_concatenation(true);
    transport.on_send = [this](const Bytes& request) {
        Bytes reply = hex("0000 0083 0004 0000 0000 0000");
        reply[11] = static_cast<std::uint8_t>((request.size() - 8) / 8);
        transport.deliver(with_id(reply, id_of(request)));
    };
    std::vector<control::RegisterWrite> writes(135);
    EXPECT_TRUE(channel.write_registers(writes).ok());
    ASSERT_EQ(transport.sent.size(), 3U);
    EXPECT_EQ(transport.sent[0].size(), 8U + 67U * 8U);  // 540 bytes of payload are the most
    EXPECT_EQ(transport.sent[2].size(), 8U + 1U * 8U);
}

TEST_F(ControlChannelTest, NamesTheWriteOfSeveralThatWasRefused)
{
    channel.set_concatenation(true);
    answer_with("8004 0083 0004 0000 0000 0001");
    const control::RegisterWrite writes[] = {{0xA000, 1}, {0xA004, 2}, {0xA008, 3}};
    const auto outcome = channel.write_registers(writes);
    EXPECT_EQ(outcome.kind, Kind::refused);
    EXPECT_EQ(outcome.address, 0xA004U);
    EXPECT_EQ(transport.sent.at(0), hex("42 01 0082 0018 0001 0000A000 00000001 0000A004 00000002 0000A008 00000003"));
}

TEST_F(ControlChannelTest, SeveralWritesOfWhichTheDeviceDidFewerAreNotDone)
{
    channel.set_concatenation(true);
    answer_with("0000 0083 0004 0000 0000 0001");
    const control::RegisterWrite writes[] = {{0xA000, 1}, {0xA004, 2}};
    EXPECT_EQ(channel.write_registers(writes).kind, Kind::malformed);
}

// ---- memory ----

/// Memory that answers READMEM and WRITEMEM as strictly as hardware does: whole words, at most 512 bytes.
class MemoryTest : public ControlChannelTest {
protected:
    MemoryTest() : memory(4096)
    {
        for (std::size_t i = 0; i < memory.size(); ++i) {
            memory[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
        }
        original = memory;
        transport.on_send = [this](const Bytes& request) {
            transport.deliver(with_id(answer(request), id_of(request)));
        };
    }

    static std::uint32_t word_at(const Bytes& bytes, std::size_t at)
    {
        return static_cast<std::uint32_t>(bytes[at]) << 24 | static_cast<std::uint32_t>(bytes[at + 1]) << 16 |
               static_cast<std::uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
    }

    Bytes answer(const Bytes& request)
    {
        const std::uint32_t address = word_at(request, 8);
        const std::size_t count = request[3] == 0x84 ? word_at(request, 12) : request.size() - 12;
        const bool read = request[3] == 0x84;
        if (request[3] == 0x82) {
            for (std::size_t at = 8; at < request.size(); at += 8) {
                std::copy_n(request.begin() + static_cast<std::ptrdiff_t>(at) + 4, 4,
                            memory.begin() + word_at(request, at));
            }
            return hex(request.size() > 16 ? "8002 0083 0000 0000" : "0000 0083 0004 0000 0000 0001");
        }
        if (address % 4 != 0 || count % 4 != 0) {
            return hex(read ? "8005 0085 0000 0000" : "8005 0087 0000 0000");
        }
        if (count > 512 || count == 0 || address + count > memory.size()) {
            return hex(read ? "8003 0085 0000 0000" : "8003 0087 0000 0000");
        }
        if (!read) {
            std::copy_n(request.begin() + 12, count, memory.begin() + address);
            return {0,
                    0,
                    0,
                    0x87,
                    0,
                    4,
                    0,
                    0,
                    0,
                    0,
                    static_cast<std::uint8_t>(count >> 8),
                    static_cast<std::uint8_t>(count)};
        }
        Bytes reply = {0, 0, 0, 0x85, static_cast<std::uint8_t>((count + 4) >> 8), static_cast<std::uint8_t>(count + 4),
                       0, 0};
        reply.insert(reply.end(), request.begin() + 8, request.begin() + 12);
        reply.insert(reply.end(), memory.begin() + address,
                     memory.begin() + address + static_cast<std::ptrdiff_t>(count));
        return reply;
    }

    Bytes memory;
    Bytes original;
};

TEST_F(MemoryTest, ReadsAndWritesEveryAddressAndLength)
{
    for (std::uint32_t address = 100; address < 106; ++address) {
        for (std::size_t length : {0, 1, 2, 3, 4, 5, 7, 8, 511, 512, 513, 515, 1024, 1030}) {
            Bytes read(length + 2, 0xEE);
            ASSERT_TRUE(channel.read_memory(address, std::span(read).subspan(1, length)).ok());
            EXPECT_TRUE(std::equal(read.begin() + 1, read.end() - 1, memory.begin() + address));
            EXPECT_EQ(read.front(), 0xEE);
            EXPECT_EQ(read.back(), 0xEE);

            Bytes expected = memory;
            Bytes data(length);
            for (std::size_t i = 0; i < length; ++i) {
                data[i] = static_cast<std::uint8_t>(~expected[address + i]);
            }
            std::copy(data.begin(), data.end(), expected.begin() + address);
            ASSERT_TRUE(channel.write_memory(address, data).ok());
            EXPECT_EQ(memory, expected) << address << " " << length;
        }
    }
}

TEST_F(MemoryTest, WritesRegisterByRegisterWhenTheDeviceHasNoWriteMem)
{
    channel.set_write_memory(false);
    Bytes data(1000, 0x5A);
    ASSERT_TRUE(channel.write_memory(8, data).ok());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), memory.begin() + 8));
    EXPECT_EQ(transport.sent.size(), 250U);
}

TEST_F(MemoryTest, UsesTheExpectedBytes)
{
    Bytes read(8);
    ASSERT_TRUE(channel.read_memory(0x200, read).ok());
    EXPECT_EQ(transport.sent.at(0), hex("42 01 0084 0008 0001 00000200 0000 0008"));
    ASSERT_TRUE(channel.write_memory(0x300, hex("01020304")).ok());
    EXPECT_EQ(transport.sent.at(1), hex("42 01 0086 0008 0002 00000300 01020304"));
}

TEST_F(MemoryTest, StopsAtTheBlockThatIsRefusedAndNamesIt)
{
    Bytes read(1024);
    const auto outcome = channel.read_memory(4096 - 512, read);
    EXPECT_EQ(outcome.kind, Kind::refused);
    EXPECT_EQ(outcome.address, 4096U);
    EXPECT_NE(text(outcome).find("reading 512 bytes at 0x1000 failed"), std::string::npos);
}

TEST_F(ControlChannelTest, AMemoryAnswerForAnotherAddressIsNoAnswer)
{
    answer_with("0000 0085 0008 0000 00000204 01020304");
    Bytes read(4, 0);
    EXPECT_EQ(channel.read_memory(0x200, read).kind, Kind::malformed);
    EXPECT_EQ(read, Bytes(4, 0));
}

TEST_F(ControlChannelTest, AMemoryAnswerWithFewerBytesIsNoAnswer)
{
    answer_with("0000 0085 0008 0000 00000200 01020304");
    Bytes read(8, 0);
    EXPECT_EQ(channel.read_memory(0x200, read).kind, Kind::malformed);
    EXPECT_EQ(read, Bytes(8, 0));
}

TEST_F(MemoryTest, GivesUpOnADeviceThatAnswersEveryBlockAtTheLastMoment)
{
    memory.resize(1 << 20);
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(answer(request), id_of(request)), 490ms);
    };
    Bytes read(1 << 20);
    const auto outcome = channel.read_memory(0, read);
    EXPECT_EQ(outcome.kind, Kind::too_slow);
    EXPECT_LE(elapsed(), 115s);
    EXPECT_NE(text(outcome).find("too slowly"), std::string::npos);
}

}  // namespace
