// UARTs and what hangs on them: rates, FIFOs, overruns, flow control, faults from a seed.
#include "sdk/peripherals/uart.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "tests/sdk/virtualdevice/manual_clock.h"

using namespace vex::peripherals;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr UartModel real_line = {.receive_size = 16, .transmit_size = 8, .real_rate = true, .flow_control = false};
constexpr UartModel instant = {.receive_size = 16, .transmit_size = 8};

Bytes counting(std::size_t count)
{
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

class UartTest : public testing::Test {
protected:
    void make(const UartModel& model, std::unique_ptr<SerialDevice> far_end = std::make_unique<Loopback>())
    {
        uart = std::make_unique<Uart>(model, std::move(far_end), clock);
    }
    /// What it holds, which is taken.
    Bytes take()
    {
        uart->update();
        Bytes bytes(uart->held());
        EXPECT_EQ(uart->peek(bytes), bytes.size());
        EXPECT_TRUE(uart->take_until(uart->position() + static_cast<std::uint32_t>(bytes.size())));
        return bytes;
    }
    std::string say(const std::string& text)
    {
        EXPECT_EQ(uart->transmit(bytes_of(text)), text.size());
        const Bytes answer = take();
        return {answer.begin(), answer.end()};
    }

    ManualClock clock;
    std::unique_ptr<Uart> uart;
};

TEST(UartSettings, GiveTheTimeOfACharacter)
{
    EXPECT_EQ((UartSettings{.baud_rate = 1000}).character_time(), 10ms);
    EXPECT_EQ((UartSettings{.baud_rate = 1000, .parity = 1}).character_time(), 11ms);
    EXPECT_EQ((UartSettings{.baud_rate = 1000, .parity = 2, .byte_size = 7, .stop_bits = 2}).character_time(), 11ms);
    EXPECT_EQ((UartSettings{.baud_rate = 1000, .byte_size = 5}).character_time(), 7ms);
}

TEST_F(UartTest, LoopsBytesBackWithoutTime)
{
    make(instant);
    EXPECT_EQ(uart->transmit(counting(5)), 5U);
    EXPECT_EQ(take(), counting(5));
    EXPECT_EQ(uart->position(), 5U);
    EXPECT_FALSE(uart->next());
}

TEST_F(UartTest, BringsBytesAsFastAsTheRateAllows)
{
    make(real_line);
    uart->configure({.baud_rate = 1000});  // 10 ms a character
    EXPECT_EQ(uart->transmit(counting(3)), 3U);
    EXPECT_EQ(uart->held(), 0U);
    // out after 10 ms, back after another 10
    clock.advance(19ms);
    uart->update();
    EXPECT_EQ(uart->held(), 0U);
    EXPECT_EQ(uart->next(), clock.now() + 1ms);
    clock.advance(1ms);
    uart->update();
    EXPECT_EQ(uart->held(), 1U);
    clock.advance(10ms);
    uart->update();
    EXPECT_EQ(uart->held(), 2U);
    clock.advance(1s);
    EXPECT_EQ(take(), counting(3));
}

TEST_F(UartTest, DoesTheSameInOneStepAsInMany)
{
    make(real_line);
    uart->configure({.baud_rate = 1000});
    EXPECT_EQ(uart->transmit(counting(8)), 8U);
    clock.advance(45ms);
    uart->update();
    EXPECT_EQ(uart->held(), 3U);  // at 20, 30 and 40 ms
    EXPECT_EQ(uart->room(), 4U);  // out at 10, 20, 30 and 40 ms
}

TEST_F(UartTest, TakesAsMuchAsThereIsRoomFor)
{
    make(real_line);
    EXPECT_EQ(uart->room(), 8U);
    EXPECT_EQ(uart->transmit(counting(20)), 8U);
    EXPECT_EQ(uart->room(), 0U);
    uart->flush_transmit();
    EXPECT_EQ(uart->room(), 8U);
}

TEST_F(UartTest, CountsWhatItHasNoRoomFor)
{
    make(real_line);
    uart->configure({.baud_rate = 1000});
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(uart->transmit(counting(8)), 8U);
        clock.advance(1s);
        uart->update();
    }
    EXPECT_EQ(uart->held(), 16U);
    EXPECT_EQ(uart->overruns(), 8U);
}

TEST_F(UartTest, HoldsTheLineWithFlowControl)
{
    make({.receive_size = 4, .transmit_size = 8});
    EXPECT_EQ(uart->transmit(counting(8)), 8U);
    EXPECT_EQ(uart->held(), 4U);
    EXPECT_EQ(take(), counting(4));
    EXPECT_EQ(take(), (Bytes{4, 5, 6, 7}));
    EXPECT_EQ(uart->overruns(), 0U);
}

TEST_F(UartTest, TakesByPosition)
{
    make(instant);
    (void)uart->transmit(counting(6));
    EXPECT_TRUE(uart->take_until(2));
    EXPECT_TRUE(uart->take_until(2));  // a repeated request changes nothing
    EXPECT_FALSE(uart->take_until(7));
    EXPECT_FALSE(uart->take_until(1));
    EXPECT_EQ(take(), (Bytes{2, 3, 4, 5}));
}

TEST_F(UartTest, FlushesWhatItHolds)
{
    make({.receive_size = 4, .transmit_size = 8});
    (void)uart->transmit(counting(8));
    uart->flush_receive();
    EXPECT_EQ(take(), Bytes());
    EXPECT_EQ(uart->position(), 4U);
}

TEST_F(UartTest, BeginsAnewAfterPowerOn)
{
    make(instant);
    (void)uart->transmit(counting(6));
    uart->power_on();
    EXPECT_EQ(uart->held(), 0U);
    EXPECT_EQ(uart->position(), 0U);
}

TEST_F(UartTest, LosesTheSameBytesForTheSameSeed)
{
    const auto received = [this](const UartFaults& faults) {
        make({.receive_size = 4096, .transmit_size = 1024});
        uart->set_faults(faults);
        (void)uart->transmit(Bytes(1000, 1));
        return std::pair(uart->held(), uart->overruns());
    };
    const auto first = received({.lost = 100, .overruns = 50, .seed = 7});
    EXPECT_LT(first.first, 950U);
    EXPECT_GT(first.first, 700U);
    EXPECT_GT(first.second, 10U);
    EXPECT_EQ(received({.lost = 100, .overruns = 50, .seed = 7}), first);
    EXPECT_NE(received({.lost = 100, .overruns = 50, .seed = 8}), first);
}

// ---- the command line device ----

TEST_F(UartTest, AnswersLines)
{
    make({}, std::make_unique<CommandLineDevice>("a camera"));
    EXPECT_EQ(say("?\r"), "commands: ? id temp\r\n");
    EXPECT_EQ(say("id\r\n"), "a camera\r\n");
    EXPECT_EQ(say("temp\n"), "temp 38.5\r\n");
    EXPECT_EQ(say("te"), "");
    EXPECT_EQ(say("mp\r"), "temp 38.5\r\n");
    EXPECT_EQ(say("reboot\r"), "unknown command\r\n");
    EXPECT_EQ(say("\r\n\r\n"), "");
}

TEST_F(UartTest, DoesNotGrowByALineWithoutEnd)
{
    make({}, std::make_unique<CommandLineDevice>("a camera"));
    for (int n = 0; n < 100; ++n) {
        EXPECT_EQ(say(std::string(1000, 'x')), "");
    }
    EXPECT_EQ(say("\r"), "unknown command\r\n");
    EXPECT_EQ(say("id\r"), "a camera\r\n");
}

}  // namespace
