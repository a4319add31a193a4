// Several registers at a time, and memory, over a control channel.
#include <gtest/gtest.h>

#include <string>

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

TEST_F(ControlChannelTest, NamesTheReadOfSeveralThatWasRefused)
{
    channel.set_concatenation(true);
    const std::uint32_t addresses[] = {0xA000, 0xA004, 0xA008};
    std::uint32_t values[3] = {};
    answer_with("8003 0081 0008 0000 00000005 00000006");
    const auto third = channel.read_registers(addresses, values);
    EXPECT_EQ(third.kind, Kind::refused);
    EXPECT_EQ(third.address, 0xA008U);
    answer_with("8003 0081 0000 0000");
    EXPECT_EQ(channel.read_registers(addresses, values).address, 0xA000U);
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

TEST_F(ControlChannelTest, AWriteThatWasAcknowledgedIsNeverSentAgain)
{
    channel.set_concatenation(true);
    const control::RegisterWrite writes[] = {{0xA000, 1}, {0xA004, 2}};
    // the index is not what it should be, or missing
    for (const char* payload : {"0004 0000 0000 0001", "0004 0000 0000 0000", "0004 0000 0000 0007", "0000 0000"}) {
        SCOPED_TRACE(payload);
        transport.sent.clear();
        answer_with(std::string("0000 0083 ") + payload);
        EXPECT_TRUE(channel.write_registers(writes).ok());
        EXPECT_TRUE(channel.write_register(0xA000, 1).ok());
        answer_with(std::string("0000 0087 ") + payload);
        const std::uint8_t word[4] = {};
        EXPECT_TRUE(channel.write_memory(0xA000, word).ok());
        EXPECT_EQ(transport.sent.size(), 3U);
    }
}

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

TEST_F(MemoryTest, DoesNotCountTheTimeThatTheDeviceHasAskedFor)
{
    memory.resize(16 * 512);
    transport.on_send = [this](const Bytes& request) {
        transport.deliver(with_id(hex("0000 0089 0004 0000 0000 0BB8"), id_of(request)), 100ms);
        transport.deliver(with_id(answer(request), id_of(request)), 3000ms);
    };
    Bytes read(memory.size());
    const auto begin = clock.now();
    EXPECT_TRUE(channel.read_memory(0, read).ok());
    EXPECT_EQ(clock.now() - begin, 16 * 3000ms);
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
