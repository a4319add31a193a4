// Ports of this computer, on pseudo terminals: natively and, as COM ports, under Wine. Only natively tested: a port
// that somebody else has, because Wine lets a port be opened twice.
#include "sdk/serial_port/host_serial_port.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/serial_port/line_settings.h"
#include "tests/sdk/net/serial_wire.h"

using vex::serial_port::HostSerialPort;

namespace {

using Bytes = SerialWire::Bytes;

constexpr std::uint32_t patience = 30'000;
constexpr std::uint32_t forever = 0xFFFFFFFF;
const PvSerialPortConfiguration fast{921'600, PvParityNone, 8, 1};

class HostSerialPorts : public testing::Test {
protected:
    void SetUp() override
    {
        SKIP_WITHOUT_WIRE();
        wire = std::make_unique<SerialWire>();
        const PvResult opened = port.open(PvString(wire->name()), fast);
        ASSERT_TRUE(opened.IsOK()) << opened.description();
    }

    PvResult read(std::string& into, std::uint32_t size, std::uint32_t time = patience)
    {
        Bytes bytes(size);
        std::uint32_t got = 77;
        PvResult result = port.Read(bytes.data(), size, got, time);
        into.assign(bytes.begin(), bytes.begin() + got);
        return result;
    }
    PvResult write(const std::string& from, std::uint32_t& written)
    {
        return port.Write(reinterpret_cast<const std::uint8_t*>(from.data()), static_cast<std::uint32_t>(from.size()),
                          written);
    }
    std::uint32_t ready()
    {
        std::uint32_t bytes = 77;
        EXPECT_TRUE(port.GetRxBytesReady(bytes).IsOK());
        return bytes;
    }
    template <class Condition>
    void await(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + SerialWire::patience;
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(condition());
    }
    std::string about(const std::string& before, const std::string& after) { return before + wire->name() + after; }

    std::unique_ptr<SerialWire> wire;
    HostSerialPort port;
    std::string text;
    std::uint32_t count = 77;
};

TEST_F(HostSerialPorts, CarryBytesBothWays)
{
    EXPECT_TRUE(port.IsOpened());
    EXPECT_TRUE(write("hello", count).IsOK());
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(wire->receive(5), (Bytes{'h', 'e', 'l', 'l', 'o'}));
    wire->send("world");
    EXPECT_TRUE(read(text, 5).IsOK());
    EXPECT_EQ(text, "world");
    EXPECT_TRUE(write("", count).IsOK());
    EXPECT_EQ(count, 0u);
}

TEST_F(HostSerialPorts, ReceiveWhileNobodyReads)
{
    wire->send("abcdef");
    await([&] { return ready() == 6; });
    EXPECT_TRUE(read(text, 4, 0).IsOK());
    EXPECT_EQ(text, "abcd");
    EXPECT_EQ(ready(), 2u);
    EXPECT_TRUE(port.FlushRxBuffer().IsOK());
    EXPECT_EQ(ready(), 0u);
    EXPECT_EQ(read(text, 4, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(text, "");
}

TEST_F(HostSerialPorts, GiveWhatIsThereAtTheEndOfTheTime)
{
    wire->send("ab");
    await([&] { return ready() == 2; });
    EXPECT_TRUE(read(text, 4, 20).IsOK());
    EXPECT_EQ(text, "ab");
    const PvResult late = read(text, 4, 20);
    EXPECT_EQ(late.GetCode(), PvResult::Timeout);
    EXPECT_EQ(late.description(), "Nothing was received within 20 ms");
}

TEST_F(HostSerialPorts, RefuseNullBuffers)
{
    EXPECT_EQ(port.Read(nullptr, 4, count, 0).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(port.Write(nullptr, 4, count).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(port.Write(nullptr, 0, count).IsOK());
    EXPECT_TRUE(port.Read(nullptr, 0, count, 0).IsOK());
}

TEST_F(HostSerialPorts, HoldTheSenderBackWhileTheBufferIsFull)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    ASSERT_TRUE(port.SetRxBufferSize(100).IsOK());
    Bytes sent(200'000);
    std::generate(sent.begin(), sent.end(), [&] { return static_cast<std::uint8_t>(random()); });
    auto sender = std::async(std::launch::async, [&] { wire->send(sent); });
    await([&] { return ready() == 100; });
    Bytes got(sent.size());
    EXPECT_TRUE(port.Read(got.data(), static_cast<std::uint32_t>(got.size()), count, patience).IsOK());
    EXPECT_EQ(count, sent.size());
    EXPECT_TRUE(got == sent);
    EXPECT_EQ(port.dropped_bytes(), 0u);
}

TEST_F(HostSerialPorts, LoseNothingOfAReadThatBeganWithALargerBuffer)
{
    wire->send("x");
    ASSERT_TRUE(read(text, 1).IsOK());  // and the next read is under way
    ASSERT_TRUE(port.SetRxBufferSize(4).IsOK());
    wire->send("abcdefgh");
    await([&] { return ready() == 4; });
    EXPECT_TRUE(read(text, 8).IsOK());
    EXPECT_EQ(text, "abcdefgh");
    EXPECT_EQ(port.dropped_bytes(), 0u);
}

TEST_F(HostSerialPorts, EndAReadWhenTheyAreClosed)
{
    std::promise<void> begun;
    auto reader = std::async(std::launch::async, [&] {
        begun.set_value();
        return read(text, 4, forever);
    });
    begun.get_future().wait();
    EXPECT_TRUE(port.Close().IsOK());
    const PvResult ended = reader.get();
    // or it began after closing
    EXPECT_TRUE(ended.GetCode() == PvResult::Aborted || ended.GetCode() == PvResult::NotConnected);
    EXPECT_TRUE(ended.description() == about("The serial port ", " was closed") ||
                ended.description() == "The serial port is not open");
    EXPECT_FALSE(port.IsOpened());
}

TEST_F(HostSerialPorts, EndAWriteWhenTheyAreClosed)
{
    std::promise<void> begun;
    auto writer = std::async(std::launch::async, [&] {
        const Bytes much(16 * 1024 * 1024, 'x');  // its time is minutes
        std::uint32_t written = 0;
        begun.set_value();
        return port.Write(much.data(), static_cast<std::uint32_t>(much.size()), written);
    });
    begun.get_future().wait();
    EXPECT_TRUE(port.Close().IsOK());
    const PvResult::Code code = writer.get().GetCode();
    EXPECT_TRUE(code == PvResult::Aborted || code == PvResult::NotConnected) << code;
}

TEST_F(HostSerialPorts, TellHowMuchOfAWriteWasTaken)
{
    ASSERT_TRUE(port.Close().IsOK());
    ASSERT_TRUE(port.open(PvString(wire->name()), {300, PvParityNone, 8, 1}).IsOK());
    ASSERT_TRUE(port.configure(fast).IsOK());  // which is what the time is for
    const Bytes much(40'000, 'x');
    const PvResult late = port.Write(much.data(), static_cast<std::uint32_t>(much.size()), count);
    EXPECT_EQ(late.GetCode(), PvResult::Timeout);
    EXPECT_LT(count, much.size());
    EXPECT_EQ(late.description(),
              about("The serial port ", " took " + std::to_string(count) + " of 40000 bytes within 2041 ms"));
}

TEST_F(HostSerialPorts, AnswerThatTheyAreNotOpen)
{
    EXPECT_TRUE(port.Close().IsOK());
    EXPECT_TRUE(port.Close().IsOK());
    for (const PvResult& answer : {read(text, 4, forever), write("x", count), port.GetRxBytesReady(count),
                                   port.FlushRxBuffer(), port.configure(fast)}) {
        EXPECT_EQ(answer.GetCode(), PvResult::NotConnected);
        EXPECT_EQ(answer.description(), "The serial port is not open");
    }
    EXPECT_TRUE(port.SetRxBufferSize(12).IsOK()) << "the buffer's size needs no line";
    EXPECT_TRUE(port.GetRxBufferSize(count).IsOK());
    EXPECT_EQ(count, 12u);
}

TEST_F(HostSerialPorts, AreOpenedAgain)
{
    const PvResult twice = port.open(PvString(wire->name()), fast);
    EXPECT_EQ(twice.GetCode(), PvResult::StateError);
    EXPECT_EQ(twice.description(), about("The serial port ", " is open already"));
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(port.Close().IsOK());
        ASSERT_TRUE(port.open(PvString(wire->name()), {}).IsOK());
        wire->send("again");
        EXPECT_TRUE(read(text, 5).IsOK());
        EXPECT_EQ(text, "again");
    }
}

TEST_F(HostSerialPorts, NoticeThatTheLineHasGone)
{
    wire->send("last words");
    await([&] { return ready() == 10; });
    wire->unplug();
    await([&] { return !port.IsOpened(); });
    EXPECT_TRUE(read(text, 100, forever).IsOK()) << "what came before can be read";
    EXPECT_EQ(text, "last words");
    for (const PvResult& answer : {read(text, 4, forever), write("x", count), port.configure(fast)}) {
        EXPECT_EQ(answer.GetCode(), PvResult::NotConnected);
        EXPECT_EQ(answer.description(), about("The serial port ", " has gone"));
    }
    EXPECT_TRUE(port.Close().IsOK());
    EXPECT_EQ(read(text, 4, forever).description(), "The serial port is not open");
}

TEST_F(HostSerialPorts, NoticeThatTheLineHasGoneWhileTheBufferIsFull)
{
    ASSERT_TRUE(port.SetRxBufferSize(4).IsOK());
    wire->send("more than that");
    await([&] { return ready() == 4; });
    wire->unplug();
    await([&] { return !port.IsOpened(); });
    EXPECT_TRUE(read(text, 100).IsOK());
    EXPECT_EQ(text, "more") << "the system throws away what it held";
    EXPECT_EQ(read(text, 100).description(), about("The serial port ", " has gone"));
}

TEST_F(HostSerialPorts, TakeAnotherConfigurationWhileTheyAreOpen)
{
    EXPECT_TRUE(port.configure({9600, PvParityNone, 8, 1}).IsOK());
    const PvResult invalid = port.configure({9600, PvParityInvalid, 8, 1});
    EXPECT_EQ(invalid.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(invalid.description(), "The parity -1 is not none (0), even (1) or odd (2)");
    wire->send("ok");
    EXPECT_TRUE(read(text, 2).IsOK());
}

TEST_F(HostSerialPorts, GoWhileTheyAreOpen)
{
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(port.Close().IsOK());
        HostSerialPort other;
        ASSERT_TRUE(other.open(PvString(wire->name()), fast).IsOK());
        wire->send("x");
    }
}

TEST(HostSerialPort, SetsItsLineToItsConfiguration)
{
    using vex::net::LineParity;
    using vex::serial_port::to_line;
    EXPECT_EQ(to_line({9600, PvParityNone, 8, 1}), (vex::net::SerialSettings{9600, LineParity::none, 8, 1}));
    EXPECT_EQ(to_line({1200, PvParityEven, 7, 2}), (vex::net::SerialSettings{1200, LineParity::even, 7, 2}));
    EXPECT_EQ(to_line({300, PvParityOdd, 5, 1}), (vex::net::SerialSettings{300, LineParity::odd, 5, 1}));
}

TEST(HostSerialPort, SaysWhyItCannotBeOpened)
{
    HostSerialPort port;
    const PvResult invalid = port.open("COM99", {0, PvParityNone, 8, 1});
    EXPECT_EQ(invalid.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(invalid.description(), "The baud rate 0 is not one of 1 to 4000000");
    const PvResult nameless = port.open("", {});
    EXPECT_EQ(nameless.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(nameless.description(), "'' cannot be the name of a serial port");
    const PvResult missing = port.open("COM99", {});
    EXPECT_EQ(missing.GetCode(), PvResult::NotFound);
    EXPECT_EQ(missing.description(), "There is no serial port COM99");
    EXPECT_FALSE(port.IsOpened());
#ifndef _WIN32
    const PvResult other = port.open("/dev/null", {});
    EXPECT_EQ(other.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(other.description(), "/dev/null is not a serial port");
    SerialWire wire;
    HostSerialPort first;
    ASSERT_TRUE(first.open(PvString(wire.name()), {}).IsOK());
    const PvResult busy = port.open(PvString(wire.name()), {});
    EXPECT_EQ(busy.GetCode(), PvResult::StateError);
    EXPECT_EQ(busy.description(), "The serial port " + wire.name() + " is in use by another program");
#endif
}

}  // namespace
