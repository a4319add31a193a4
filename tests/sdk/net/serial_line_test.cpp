// Serial lines of this computer, on pseudo terminals: natively and, as COM ports, under Wine.
//
// Only natively tested: exclusive use (Wine lets a port be opened twice), what is set on the line. On neither side:
// real framing, breaks and line errors, which pseudo terminals do not have; serial_settings_test.cpp has how they are
// counted.
#include "sdk/net/serial_line.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/sdk/net/serial_wire.h"
#include "tests/sdk/net/wine.h"

#ifndef _WIN32
#include <sys/file.h>
#include <sys/ioctl.h>

#include "sdk/net/serial_settings_linux.h"
#endif

using namespace std::chrono_literals;
using vex::net::SerialLine;
using vex::net::SerialSettings;

namespace {

using Bytes = SerialWire::Bytes;

/// Why a line cannot be opened.
std::error_code refusal(const std::string& name, const SerialSettings& settings = {})
{
    try {
        (void)SerialLine::open(name, settings);
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

class SerialLines : public testing::Test {
protected:
    void SetUp() override
    {
        SKIP_WITHOUT_WIRE();
        wire = std::make_unique<SerialWire>();
        line = SerialLine::open(wire->name(), {115'200});
    }

    std::string read(std::size_t size, std::chrono::milliseconds time = SerialWire::patience)
    {
        Bytes bytes(size);
        std::size_t count = 0;
        while (count < size && !error) {
            count += line->read(std::span(bytes).subspan(count), time, error);
        }
        return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
    }
    std::size_t write(const std::string& text)
    {
        return line->write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, SerialWire::patience,
                           error);
    }

    std::unique_ptr<SerialWire> wire;
    std::shared_ptr<SerialLine> line;
    std::error_code error;
};

TEST_F(SerialLines, CarryEveryByteBothWays)
{
    Bytes all(256);
    for (std::size_t at = 0; at < all.size(); ++at) {
        all[at] = static_cast<std::uint8_t>(at);  // ^C, XON, XOFF, newlines, 0xFF: nothing has a meaning
    }
    wire->send(all);
    EXPECT_EQ(read(256), std::string(all.begin(), all.end()));
    EXPECT_EQ(write(std::string(all.begin(), all.end())), 256u);
    EXPECT_FALSE(error) << error.message();
    EXPECT_EQ(wire->receive(256), all);
}

TEST_F(SerialLines, EchoNothing)
{
    wire->send("ping\r\n");
    EXPECT_EQ(read(6), "ping\r\n");
    write("x");
    EXPECT_EQ(wire->receive(1), Bytes{'x'}) << "the first that comes back is what was written";
}

TEST_F(SerialLines, GiveWhatIsThereWithoutWaitingForMore)
{
    wire->send("abc");
    std::string got;
    Bytes bytes(100);
    while (got.size() < 3) {
        const std::size_t count = line->read(bytes, SerialWire::patience, error);
        ASSERT_FALSE(error) << error.message();
        got.append(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_EQ(got, "abc");
}

TEST_F(SerialLines, EndAReadAtItsTime)
{
    Bytes bytes(4);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(line->read(bytes, 40ms, error), 0u);
    EXPECT_EQ(error, std::errc::timed_out);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 40ms);
    EXPECT_EQ(line->read(bytes, 0ms, error), 0u);
    EXPECT_EQ(error, std::errc::timed_out);
    error = {};
    wire->send("late");
    EXPECT_EQ(read(4), "late") << "a read that was given up takes nothing away";
}

TEST_F(SerialLines, EndAWriteThatNobodyReads)
{
    const Bytes much(1024 * 1024, 'x');
    const std::size_t taken = line->write(much, 50ms, error);
    EXPECT_EQ(error, std::errc::timed_out);
    EXPECT_LT(taken, much.size());
}

TEST_F(SerialLines, ReadBesideWriting)
{
    auto reader = std::async(std::launch::async, [this] {
        Bytes bytes(1);
        std::error_code failed;
        return line->read(bytes, SerialWire::patience, failed) == 1 ? bytes[0] : 0;
    });
    for (const char each : {'a', 'b', 'c'}) {
        EXPECT_EQ(write(std::string(1, each)), 1u);
        EXPECT_EQ(wire->receive(1), Bytes(1, static_cast<std::uint8_t>(each)));
    }
    wire->send("!");
    EXPECT_EQ(reader.get(), '!');
}

TEST_F(SerialLines, CarryMuchBothWaysAtOnce)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Bytes out(100'000);
    Bytes in(100'000);
    std::generate(out.begin(), out.end(), [&] { return static_cast<std::uint8_t>(random()); });
    std::generate(in.begin(), in.end(), [&] { return static_cast<std::uint8_t>(random()); });
    auto sender = std::async(std::launch::async, [&] { wire->send(in); });
    auto writer = std::async(std::launch::async, [&] {
        std::error_code failed;
        return line->write(out, SerialWire::patience, failed);
    });
    auto reader = std::async(std::launch::async, [&] { return read(in.size()); });
    EXPECT_TRUE(wire->receive(out.size()) == out);
    EXPECT_TRUE(reader.get() == std::string(in.begin(), in.end()));
    EXPECT_EQ(writer.get(), out.size());
}

TEST_F(SerialLines, EndAReadWhenTheyAreClosed)
{
    std::promise<void> begun;
    auto reader = std::async(std::launch::async, [&] {
        Bytes bytes(4);
        std::error_code failed;
        begun.set_value();
        line->read(bytes, 10min, failed);
        return failed;
    });
    begun.get_future().wait();
    line->close();
    EXPECT_EQ(reader.get(), std::errc::operation_canceled);
}

TEST_F(SerialLines, EndAWriteWhenTheyAreClosed)
{
    std::promise<void> begun;
    auto writer = std::async(std::launch::async, [&] {
        const Bytes much(1024 * 1024, 'x');
        std::error_code failed;
        begun.set_value();
        line->write(much, 10min, failed);
        return failed;
    });
    begun.get_future().wait();
    line->close();
    EXPECT_EQ(writer.get(), std::errc::operation_canceled);
}

TEST_F(SerialLines, RefuseEverythingOnceTheyAreClosed)
{
    line->close();
    line->close();
    Bytes bytes(4);
    EXPECT_EQ(line->read(bytes, 10min, error), 0u);
    EXPECT_EQ(error, std::errc::operation_canceled);
    EXPECT_EQ(line->write(bytes, 10min, error), 0u);
    EXPECT_EQ(error, std::errc::operation_canceled);
    EXPECT_EQ(line->check(), std::errc::operation_canceled);
    EXPECT_EQ(line->configure({}), std::errc::operation_canceled);
    EXPECT_EQ(line->discard_input(), std::errc::operation_canceled);
}

TEST_F(SerialLines, AreOpenedAgainAfterClosing)
{
    line->close();
    line = SerialLine::open(wire->name(), {9600});
    wire->send("again");
    EXPECT_EQ(read(5), "again");
}

TEST_F(SerialLines, NoticeThatTheyAreGone)
{
    EXPECT_FALSE(line->check());
    auto reader = std::async(std::launch::async, [&] {
        Bytes bytes(4);
        std::error_code failed;
        line->read(bytes, 10min, failed);
        return failed;
    });
    wire->unplug();
    EXPECT_EQ(reader.get(), std::errc::no_such_device);
    EXPECT_EQ(line->check(), std::errc::no_such_device);
    write("x");
    EXPECT_EQ(error, std::errc::no_such_device);
}

TEST_F(SerialLines, ThrowAwayWhatHasCome)
{
    wire->send("old");
    Bytes one(1);
    ASSERT_EQ(line->read(one, SerialWire::patience, error), 1u);
    EXPECT_FALSE(line->discard_input());
    wire->send("N");
    std::string rest = read(1);
    while (rest.back() != 'N') {  // through the wire of two ports the rest may have come later
        rest = read(1);
    }
    EXPECT_EQ(rest, "N");
}

TEST_F(SerialLines, TakeOtherSettingsWhileTheyAreOpen)
{
    for (const std::uint32_t baud_rate : {300u, 9600u, 115'200u, 921'600u}) {
        EXPECT_FALSE(line->configure({baud_rate})) << baud_rate;
    }
    wire->send("ok");
    EXPECT_EQ(read(2), "ok");
}

TEST_F(SerialLines, RefuseSettingsThatThereAreNot)
{
    for (const SerialSettings& settings : {SerialSettings{0}, SerialSettings{9600, {}, 4}, SerialSettings{9600, {}, 9},
                                           SerialSettings{9600, {}, 8, 0}, SerialSettings{9600, {}, 8, 3}}) {
        EXPECT_EQ(line->configure(settings), std::errc::not_supported);
    }
    line->close();
    EXPECT_EQ(refusal(wire->name(), {0}), std::errc::not_supported);
    EXPECT_FALSE(refusal(wire->name())) << "and it is free again";
}

TEST_F(SerialLines, CountNoErrorsWhereThereAreNone)
{
    wire->send("abc");
    EXPECT_EQ(read(3), "abc");
    const vex::net::LineErrors errors = line->errors();
    EXPECT_EQ(errors.breaks + errors.parity + errors.framing + errors.overruns, 0u);
}

TEST(SerialLineNames, ThatAreNone)
{
    EXPECT_EQ(refusal(""), std::errc::invalid_argument);
#ifdef _WIN32
    for (const char* name : {R"(\\.\)", "COM1:", R"(C:\COM1)", R"(..\COM1)", "COM 1", "COM/1"}) {
        EXPECT_EQ(refusal(name), std::errc::invalid_argument) << name;
    }
    EXPECT_EQ(refusal("COM99"), std::errc::no_such_device);
    EXPECT_EQ(refusal(R"(\\.\COM99)"), std::errc::no_such_device);
#else
    EXPECT_EQ(refusal(std::string("tty\0S0", 6)), std::errc::invalid_argument);
    EXPECT_EQ(refusal("/dev/ttyNoSuchLine"), std::errc::no_such_device);
    EXPECT_EQ(refusal("ttyNoSuchLine"), std::errc::no_such_device);
    EXPECT_EQ(refusal("/dev/null/x"), std::errc::no_such_device);
    EXPECT_EQ(refusal("/dev/null"), std::errc::inappropriate_io_control_operation);
    EXPECT_EQ(refusal("/dev"), std::errc::inappropriate_io_control_operation);
#endif
}

#ifdef _WIN32

TEST_F(SerialLines, AreOpenedByTheLongNameToo)
{
    line->close();
    line = SerialLine::open(R"(\\.\)" + wire->name(), {9600});
    wire->send("long");
    EXPECT_EQ(read(4), "long");
}

TEST_F(SerialLines, AreForOneAlone)
{
    if (under_wine()) {
        GTEST_SKIP() << "Wine opens a port twice";
    }
    EXPECT_EQ(refusal(wire->name()), std::errc::device_or_resource_busy);
}

#else

TEST_F(SerialLines, AreForOneAlone)
{
    EXPECT_EQ(refusal(wire->name()), std::errc::device_or_resource_busy);
    wire->send("still");
    EXPECT_EQ(read(5), "still") << "who has it keeps it";
    line->close();
    EXPECT_FALSE(refusal(wire->name()));
}

/// The line as another program sees it.
class Onlooker {
public:
    explicit Onlooker(const std::string& name) : descriptor_(::open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
    Onlooker(const Onlooker&) = delete;
    Onlooker& operator=(const Onlooker&) = delete;
    ~Onlooker() { ::close(descriptor_); }
    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] termios2 settings() const
    {
        termios2 found{};
        EXPECT_EQ(::ioctl(descriptor_, TCGETS2, &found), 0);
        return found;
    }

private:
    int descriptor_;
};

TEST_F(SerialLines, AreKeptFromThoseWhoAskTheSystem)
{
    line->close();
    const Onlooker before(wire->name());  // opened while it was free
    line = SerialLine::open(wire->name(), {9600});
    EXPECT_NE(::flock(before.get(), LOCK_EX | LOCK_NB), 0);
    int exclusive = 0;
    EXPECT_EQ(::ioctl(before.get(), TIOCGEXCL, &exclusive), 0);
    EXPECT_NE(exclusive, 0);
    line->close();
    EXPECT_EQ(::ioctl(before.get(), TIOCGEXCL, &exclusive), 0);
    EXPECT_EQ(exclusive, 0);
}

TEST_F(SerialLines, AreSetToRawAndPutBack)
{
    line->close();
    const Onlooker onlooker(wire->name());
    const termios2 before = onlooker.settings();
    EXPECT_NE(before.c_lflag & (ICANON | ECHO | ISIG), 0u);
    line = SerialLine::open(wire->name(), {9600});
    const termios2 during = onlooker.settings();
    EXPECT_EQ(during.c_lflag, 0u);
    EXPECT_EQ(during.c_iflag, 0u);
    EXPECT_EQ(during.c_oflag, 0u);
    EXPECT_NE(during.c_cflag & CLOCAL, 0u);
    EXPECT_NE(during.c_cflag & CREAD, 0u);
    EXPECT_EQ(during.c_cflag & CRTSCTS, 0u);
    EXPECT_EQ(during.c_ospeed, 9600u);
    EXPECT_FALSE(line->configure({1'234'567, vex::net::LineParity::odd, 8, 2}));
    EXPECT_EQ(onlooker.settings().c_ospeed, 1'234'567u) << "any baud rate, not only the system's own";
    EXPECT_NE(onlooker.settings().c_cflag & CSTOPB, 0u);
    line->close();
    const termios2 after = onlooker.settings();
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_cflag, before.c_cflag);
    EXPECT_EQ(after.c_ospeed, before.c_ospeed);
}

#endif

}  // namespace
