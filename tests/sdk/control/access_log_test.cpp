// What an access log writes down of the accesses over a control channel.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "sdk/control/access_log.h"
#include "tests/sdk/control/control_channel_fixture.h"

namespace {

using namespace vex;
using control::AccessLog;
using device_test::Bytes;
using device_test::ControlChannelTest;
using device_test::hex;

class AccessLogTest : public ControlChannelTest {
protected:
    /// "R" or "W" with address and bytes, for each.
    static std::vector<std::string> texts(const std::vector<control::LoggedAccess>& accesses)
    {
        std::vector<std::string> all;
        for (const control::LoggedAccess& access : accesses) {
            std::string text = access.is_write ? "W" : "R";
            char digits[16];
            std::snprintf(digits, sizeof digits, "%04X", access.address);
            text += digits;
            for (const std::uint8_t byte : access.bytes) {
                std::snprintf(digits, sizeof digits, " %02X", byte);
                text += digits;
            }
            all.push_back(text);
        }
        return all;
    }
    using Texts = std::vector<std::string>;
};

TEST_F(AccessLogTest, HasRegistersInOrder)
{
    AccessLog log;
    answer_with("0000 0081 0004 0000 01020304");
    EXPECT_TRUE(channel.read_register(0xA000, value).ok());
    answer_with("0000 0083 0004 0000 00000001");
    EXPECT_TRUE(channel.write_register(0xA004, 5).ok());
    EXPECT_TRUE(channel.close_with({0xA008, 6}, {}).ok());
    EXPECT_EQ(texts(log.end()), (Texts{"RA000 01 02 03 04", "WA004 00 00 00 05", "WA008 00 00 00 06"}));
}

TEST_F(AccessLogTest, HasEachRegisterOfSeveralOnce)
{
    const std::uint32_t addresses[] = {0xA000, 0xA004};
    const control::RegisterWrite writes[] = {{0xA008, 7}, {0xA00C, 8}};
    std::uint32_t values[2] = {};
    for (const bool at_once : {false, true}) {
        SCOPED_TRACE(at_once);
        channel.set_concatenation(at_once);
        AccessLog log;
        answer_with(at_once ? "0000 0081 0008 0000 00000005 00000005" : "0000 0081 0004 0000 00000005");
        EXPECT_TRUE(channel.read_registers(addresses, values).ok());
        answer_with("0000 0083 0004 0000 00000002");
        EXPECT_TRUE(channel.write_registers(writes).ok());
        EXPECT_EQ(texts(log.end()),
                  (Texts{"RA000 00 00 00 05", "RA004 00 00 00 05", "WA008 00 00 00 07", "WA00C 00 00 00 08"}));
    }
}

TEST_F(AccessLogTest, HasMemoryAsItWasAskedFor)
{
    AccessLog log;
    Bytes bytes(2);
    answer_with("0000 0085 0008 0000 0000B000 0A0B0C0D");
    EXPECT_TRUE(channel.read_memory(0xB001, bytes).ok());
    answer_with("0000 0087 0004 0000 00000004");
    EXPECT_TRUE(channel.write_memory(0xB004, hex("01020304")).ok());
    channel.set_write_memory(false);
    answer_with("0000 0083 0004 0000 00000001");
    EXPECT_TRUE(channel.write_memory(0xB008, hex("05060708")).ok());
    EXPECT_EQ(texts(log.end()), (Texts{"RB001 0B 0C", "WB004 01 02 03 04", "WB008 05 06 07 08"}));
}

TEST_F(AccessLogTest, HasNothingThatFailed)
{
    AccessLog log;
    answer_with("8003 0081 0000 0000");
    EXPECT_FALSE(channel.read_register(0xA000, value).ok());
    EXPECT_FALSE(channel.read_registers(std::vector<std::uint32_t>{0xA000}, {&value, 1}).ok());
    answer_with("8003 0083 0000 0000");
    EXPECT_FALSE(channel.write_register(0xA000, 1).ok());
    answer_with("8003 0085 0000 0000");
    Bytes bytes(4);
    EXPECT_FALSE(channel.read_memory(0xA000, bytes).ok());
    EXPECT_TRUE(log.end().empty());
}

TEST_F(AccessLogTest, EndsAndIsOfItsThreadAlone)
{
    answer_with("0000 0081 0004 0000 00000005");
    const auto read = [&](std::uint32_t address) { EXPECT_TRUE(channel.read_register(address, value).ok()); };
    read(1);
    AccessLog outer;
    std::thread([&] { read(2); }).join();
    read(3);
    {
        AccessLog inner;
        read(4);
        EXPECT_EQ(inner.end().size(), 1U);
        read(5);
        const AccessLog another;
        read(6);
    }
    {
        const AccessLog unwanted(false);
        read(7);
    }
    EXPECT_EQ(texts(outer.end()), (Texts{"R0003 00 00 00 05", "R0005 00 00 00 05", "R0007 00 00 00 05"}));
    read(8);
    EXPECT_TRUE(outer.end().empty());
}

}  // namespace
