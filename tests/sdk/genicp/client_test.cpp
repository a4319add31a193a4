// The host's side of GenCP, over a line whose answers and whose time are the test's.
#include "sdk/genicp/client.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "sdk/wire/bytes.h"
#include "tests/sdk/genicp/scripted_port.h"
#include "tools/softlink/line_faults.h"

using namespace vex;
using namespace genicp_test;

namespace {

namespace gencp = wire::gencp;
using genicp::Client;
using genicp::Outcome;
using Kind = Outcome::Kind;

Bytes bytes_of(const gencp::Frame& frame) { return {frame.bytes().begin(), frame.bytes().end()}; }

class GencpClient : public testing::Test {
protected:
    /// The next written frames are answered by these, one after the other; nothing answers what comes then.
    void answer_with(std::vector<std::vector<Answer>> answers)
    {
        port.on_write = [answers = std::move(answers), at = std::size_t{0}](std::span<const std::uint8_t>) mutable {
            return at < answers.size() ? answers[at++] : std::vector<Answer>();
        };
    }
    Outcome read(std::uint64_t address = 0)
    {
        begin = clock.now();
        const Outcome outcome = client.read(address, word);
        took = clock.now() - begin;
        return outcome;
    }

    ManualClock clock;
    ScriptedPort port{clock};
    Client client{port, clock};
    std::array<std::uint8_t, 4> word{};
    net::Clock::time_point begin;
    net::Clock::duration took{};
    const Bytes good = bytes_of(gencp::read_memory_acknowledge(1, std::array<std::uint8_t, 4>{0, 1, 0, 2}));
};

}  // namespace

TEST_F(GencpClient, ReadsWithOneFrame)
{
    answer_with({{{milliseconds(3), good}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(wire::load_be32(word.data()), 0x00010002U);
    EXPECT_EQ(took, milliseconds(3)) << "it waits no longer than for the answer's last byte";
    ASSERT_EQ(port.written.size(), 1U);
    EXPECT_EQ(port.written[0], bytes_of(gencp::read_memory(1, {0, 4})));
}

TEST_F(GencpClient, SendsTheSameRequestAgainAndMarksIt)
{
    answer_with({{}, {}, {{milliseconds(1), good}}});
    const Outcome outcome = read();
    ASSERT_TRUE(outcome.ok());
    ASSERT_EQ(port.written.size(), 3U);
    gencp::Frame again = gencp::read_memory(1, {0, 4});
    again.mark_resent();
    EXPECT_EQ(port.written[1], bytes_of(again));
    EXPECT_EQ(port.written[2], bytes_of(again));
    EXPECT_EQ(took, milliseconds(2001));
    EXPECT_EQ(client.statistics().retries, 2U);
}

TEST_F(GencpClient, GivesUpAfterAllAttempts)
{
    const Outcome outcome = read(0x10000);
    EXPECT_EQ(outcome.kind, Kind::no_answer);
    EXPECT_EQ(port.written.size(), 4U);
    EXPECT_EQ(took, milliseconds(4000));
    const PvResult result = to_result(outcome, "COM3");
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(result.description(), "COM3: reading 4 bytes at 0x10000 failed: no answer (4 attempts, 4000 ms)");
    EXPECT_EQ(client.statistics().failures, 1U);
}

TEST_F(GencpClient, TakesTheAnswerToAnEarlierAttempt)
{
    answer_with({{{milliseconds(1500), good}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(took, milliseconds(1500));
    answer_with({{{{}, good}, {milliseconds(10), bytes_of(gencp::read_memory_acknowledge(2, Bytes{9, 9, 9, 9}))}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(word[0], 9) << "a late answer to the request before is none to this one";
    EXPECT_EQ(client.statistics().stale, 1U);
}

TEST_F(GencpClient, TakesNoAnswerToAnotherCommandOrOnAnotherChannel)
{
    Bytes elsewhere = bytes_of(gencp::read_memory_acknowledge(1, Bytes{9, 9, 9, 9}));
    elsewhere[7] = 1;  // the channel; both check sums count it
    for (const std::size_t sum : {2U, 4U}) {
        const auto counted = std::span(elsewhere).subspan(6, sum == 2 ? 10 : elsewhere.size() - 6);
        wire::store_be16(&elsewhere[sum], gencp::checksum(counted));
    }
    ASSERT_TRUE(gencp::decode_frame(elsewhere));
    answer_with({{{{}, elsewhere}, {{}, bytes_of(gencp::write_memory_acknowledge(1, 4))}, {milliseconds(1), good}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(wire::load_be32(word.data()), 0x00010002U);
    EXPECT_EQ(port.written.size(), 1U);
    EXPECT_EQ(client.statistics().stale, 2U);
}

TEST_F(GencpClient, StaleFramesDoNotProlongTheWait)
{
    port.on_write = [&](std::span<const std::uint8_t>) {
        std::vector<Answer> answers;
        for (int i = 0; i < 100; ++i) {
            answers.push_back({milliseconds(i * 100), bytes_of(gencp::pending_acknowledge(77, 5000))});
        }
        return answers;
    };
    EXPECT_EQ(read().kind, Kind::no_answer);
    EXPECT_EQ(took, milliseconds(4000));
}

TEST_F(GencpClient, GarbageDoesNotProlongTheWait)
{
    port.on_write = [&](std::span<const std::uint8_t>) {
        std::vector<Answer> answers;
        for (int i = 0; i < 1000; ++i) {
            answers.push_back({milliseconds(i * 5), Bytes{1, 0, 0xAA, 1}});
        }
        return answers;
    };
    EXPECT_EQ(read().kind, Kind::no_answer);
    EXPECT_EQ(took, milliseconds(4000));
    EXPECT_GT(client.statistics().passed_over, 1000U);
}

TEST_F(GencpClient, FindsTheAnswerBehindTheBeginningOfAFrame)
{
    Bytes begun = bytes_of(gencp::read_memory_acknowledge(9, Bytes(500, 0)));
    begun.resize(20);
    answer_with({{{milliseconds(1), begun}, {milliseconds(2), good}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(port.written.size(), 1U) << "it needs no second attempt, only the time of the first";
    EXPECT_EQ(took, milliseconds(1000));
}

TEST_F(GencpClient, WaitsForAsLongAsTheDeviceAsks)
{
    answer_with({{{milliseconds(900), bytes_of(gencp::pending_acknowledge(1, 5000))}, {milliseconds(5800), good}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(port.written.size(), 1U);
    EXPECT_EQ(took, milliseconds(5800));
    EXPECT_EQ(client.statistics().pendings, 1U);
}

TEST_F(GencpClient, DoesNotWaitForEver)
{
    std::vector<Answer> announced;
    for (int i = 0; i < 10; ++i) {
        announced.push_back({milliseconds(i * 20'000), bytes_of(gencp::pending_acknowledge(1, 60'000))});
    }
    answer_with({announced});
    EXPECT_FALSE(read().ok());
    EXPECT_LE(took, Client::pending_limit + 4 * milliseconds(1000));
}

TEST_F(GencpClient, TellsTheDevicesRefusal)
{
    answer_with({{{{}, bytes_of(gencp::refusal(gencp::Command::read_memory_ack, 1, gencp::Status::access_denied))}}});
    const Outcome outcome = read(0x10);
    EXPECT_EQ(outcome.kind, Kind::refused);
    EXPECT_EQ(port.written.size(), 1U);
    const PvResult result = to_result(outcome, "COM3");
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "COM3: reading 4 bytes at 0x10 failed: access denied (status 0x8006)");
}

TEST_F(GencpClient, SendsAgainWhatTheDeviceGotBroken)
{
    const Bytes broken = bytes_of(gencp::refusal(gencp::Command::read_memory_ack, 1, gencp::Status::invalid_header));
    answer_with({{{{}, broken}}, {{{}, good}}});
    ASSERT_TRUE(read().ok());
    EXPECT_EQ(port.written.size(), 2U);
}

TEST_F(GencpClient, DoesNotTakeDataOfAnotherLength)
{
    const Bytes longer = bytes_of(gencp::read_memory_acknowledge(1, Bytes(5, 0)));
    answer_with({{{{}, longer}}, {{{}, longer}}, {{{}, longer}}, {{{}, longer}}});
    const Outcome outcome = read();
    EXPECT_EQ(outcome.kind, Kind::malformed);
    EXPECT_EQ(to_result(outcome, "COM3").GetCode(), PvResult::NetworkError);
    EXPECT_EQ(client.statistics().malformed, 4U);
}

TEST_F(GencpClient, TakesTheWrittenLengthWhereItIsTold)
{
    std::uint16_t id = 0;
    for (const std::optional<std::uint16_t> told :
         {std::optional<std::uint16_t>(4), std::optional<std::uint16_t>(0), std::optional<std::uint16_t>()}) {
        answer_with({{{{}, bytes_of(gencp::write_memory_acknowledge(++id, told))}}});
        EXPECT_TRUE(client.write(0, word).ok()) << told.value_or(99);
    }
    const Bytes half = bytes_of(gencp::write_memory_acknowledge(++id, 2));
    answer_with({{{{}, half}}, {{{}, half}}, {{{}, half}}, {{{}, half}}});
    EXPECT_EQ(client.write(0, word).kind, Kind::malformed) << "a part of the bytes is not the bytes";
}

TEST_F(GencpClient, TellsWhatThePortReports)
{
    port.read_result = PvResult(PvResult::NotConnected, "The serial port COM3 has gone");
    EXPECT_EQ(to_result(read(), "COM3").GetCode(), PvResult::NotConnected);
    port.write_result = PvResult(PvResult::Timeout, "The serial port COM3 took nothing");
    EXPECT_EQ(read().kind, Kind::port_failed);
    EXPECT_EQ(took, milliseconds(0));
}

TEST_F(GencpClient, IsClosedWithOneLastWrite)
{
    client.close();
    EXPECT_EQ(read().kind, Kind::closed);
    EXPECT_TRUE(port.written.empty());
    EXPECT_EQ(client.close_with(0x204, word).kind, Kind::no_answer);
    EXPECT_EQ(port.written.size(), 1U);
    EXPECT_EQ(read().kind, Kind::closed);
    EXPECT_EQ(port.written.size(), 1U);
}

TEST_F(GencpClient, ClosingEndsTheExchangeUnderWay)
{
    port.on_write = [&](std::span<const std::uint8_t>) {
        client.close();
        return std::vector<Answer>();
    };
    EXPECT_EQ(read().kind, Kind::closed);
    EXPECT_LE(took, milliseconds(100));
    EXPECT_EQ(port.written.size(), 1U);
}

TEST_F(GencpClient, GivesTheLineItsTime)
{
    genicp::Timing timing;
    timing.answer_timeout = milliseconds(100);
    timing.attempts = 1;
    timing.baud_rate = 9600;
    client.set_timing(timing);
    std::array<std::uint8_t, 1008> block{};
    begin = clock.now();
    EXPECT_EQ(client.read(0, block).kind, Kind::no_answer);
    // 28 bytes there, 1024 back, 12 bits each
    EXPECT_EQ(clock.now() - begin, milliseconds(100 + 1315));
}

TEST(GencpRequestId, IsAnotherOneForEachClientToBeginBehind)
{
    const std::uint16_t first = genicp::some_request_id();
    EXPECT_NE(genicp::some_request_id(), first);
}

TEST_F(GencpClient, KeepsToMemory)
{
    EXPECT_EQ(client.read(~std::uint64_t{0}, word).kind, Kind::outside);
    EXPECT_EQ(client.write(~std::uint64_t{0} - 2, word).kind, Kind::outside);
    EXPECT_TRUE(port.written.empty());
    EXPECT_TRUE(client.read(~std::uint64_t{0}, {}).ok());
    EXPECT_EQ(client.read(~std::uint64_t{0} - 3, word).kind, Kind::no_answer) << "the last word of all";
}

TEST_F(GencpClient, LearnsHowMuchTheDeviceTakesAtOnce)
{
    softlink::DeviceOptions options;
    options.longest_access = 300;
    softlink::GencpDevice device(options, clock);
    port.on_write = [&](std::span<const std::uint8_t> bytes) { return device.receive(bytes); };
    Bytes block(4096, 0x5A);
    device.set_word(gencp::abrm::access_privilege, gencp::privilege::taken);
    ASSERT_TRUE(client.write(softlink::address::table, block).ok());
    EXPECT_EQ(client.block_size(), 252U);
    EXPECT_EQ(device.statistics().refused, 2U) << "1008 and 504 bytes";
    Bytes back(4096);
    ASSERT_TRUE(client.read(softlink::address::table, back).ok());
    EXPECT_EQ(back, block);
    EXPECT_EQ(device.statistics().refused, 2U) << "what was learned is kept";
}

TEST_F(GencpClient, MakesBlocksNoSmallerThanTheSmallest)
{
    softlink::DeviceOptions options;
    options.privilege = false;
    options.longest_access = 70;
    softlink::GencpDevice device(options, clock);
    port.on_write = [&](std::span<const std::uint8_t> bytes) { return device.receive(bytes); };
    const Bytes block(1008, 0x5A);
    ASSERT_TRUE(client.write(softlink::address::table, block).ok());
    EXPECT_EQ(client.block_size(), Client::smallest_block);

    options.longest_access = Client::smallest_block - 4;
    softlink::GencpDevice smaller(options, clock);
    port.on_write = [&](std::span<const std::uint8_t> bytes) { return smaller.receive(bytes); };
    EXPECT_EQ(client.write(softlink::address::table, block).kind, Kind::refused);
    EXPECT_EQ(smaller.statistics().refused, 1U);
}

TEST_F(GencpClient, ARefusalThatIsNotForTheLengthLeavesTheBlocks)
{
    port.on_write = [&](std::span<const std::uint8_t> bytes) {
        const auto command = gencp::decode_frame(bytes);
        return std::vector<Answer>{{{},
                                    bytes_of(gencp::refusal(gencp::Command::read_memory_ack, command->request_id,
                                                            gencp::Status::invalid_parameter))}};
    };
    Bytes block(2000);
    EXPECT_EQ(client.read(0, block).kind, Kind::refused);
    EXPECT_EQ(client.block_size(), gencp::largest_block);
}

TEST_F(GencpClient, CarriesOutAWriteOnceWhateverGetsLost)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    softlink::DeviceOptions options;
    options.privilege = false;
    softlink::GencpDevice device(options, clock);
    softlink::FaultRates rates;
    rates.seed = seed;
    rates.lost_commands = 20;
    rates.lost_answers = 50;
    rates.doubled = 50;
    rates.flipped = 50;
    rates.cut = 50;
    rates.garbage = 100;
    rates.pending = 50;
    softlink::FaultyDevice faulty(device, rates);
    port.on_write = [&](std::span<const std::uint8_t> bytes) { return faulty.receive(bytes); };
    genicp::Timing timing;
    timing.attempts = 30;
    client.set_timing(timing);
    wire::store_be32(word.data(), 1);
    constexpr std::uint32_t rounds = 500;
    for (std::uint32_t round = 1; round <= rounds; ++round) {
        ASSERT_TRUE(client.write(softlink::address::trigger, word).ok());
        ASSERT_EQ(device.word(softlink::address::trigger_count), round);
    }
    EXPECT_GT(faulty.faults(), 0U);
    EXPECT_EQ(client.statistics().failures, 0U);
}
