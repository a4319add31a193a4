// The end of a pipe as a serial line.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <span>
#include <string_view>
#include <system_error>
#include <thread>

#include "sdk/net/pipe.h"
#include "sdk/net/serial_line.h"

using namespace vex;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds enough{10'000};

std::span<const std::uint8_t> bytes_of(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class PipeLine : public testing::Test {
protected:
    void SetUp() override
    {
        std::error_code accepted;
        std::thread accepting([&] { accepted = server->accept(enough); });
        line = net::SerialLine::over_pipe(server->name(), enough);
        accepting.join();
        ASSERT_FALSE(accepted);
    }
    void send(std::string_view text)
    {
        EXPECT_EQ(server->write(bytes_of(text), enough, error), text.size());
        EXPECT_FALSE(error);
    }
    /// So many bytes that come, fewer when none come any more.
    std::string read(std::size_t count)
    {
        std::string got(count, '\0');
        std::size_t held = 0;
        error = {};
        while (held < count && !error) {
            const auto rest = std::span(reinterpret_cast<std::uint8_t*>(got.data()), count).subspan(held);
            held += line->read(rest, enough, error);
        }
        got.resize(held);
        return got;
    }

    std::shared_ptr<net::PipeServer> server = net::PipeServer::serve(*net::PipeName::parse("tcp:0"));
    std::shared_ptr<net::SerialLine> line;
    std::error_code error;
};

}  // namespace

TEST_F(PipeLine, CarriesBytesBothWaysAtAnySettings)
{
    EXPECT_FALSE(line->configure({300, net::LineParity::odd, 5, 2}));
    send("to the line");
    EXPECT_EQ(read(11), "to the line");
    EXPECT_EQ(line->write(bytes_of("back"), enough, error), 4U);
    std::array<std::uint8_t, 4> back{};
    EXPECT_EQ(server->read(back, enough, error), 4U);
    EXPECT_EQ(back[0], 'b');
    EXPECT_FALSE(line->check());
    EXPECT_EQ(line->errors().framing, 0U);
}

TEST_F(PipeLine, ForgetsWhatHasComeWhenTold)
{
    send("old");
    EXPECT_EQ(read(1), "o");  // so the rest is here, too
    EXPECT_FALSE(line->discard_input());
    send("new");
    EXPECT_EQ(read(3), "new");
}

TEST_F(PipeLine, HasGoneWhenTheOtherProgramEnds)
{
    send("last");
    server->close();
    EXPECT_EQ(read(5), "last") << "what was sent before can be read";
    EXPECT_EQ(error, std::errc::no_such_device);
    EXPECT_EQ(line->discard_input(), std::errc::no_such_device);
}

TEST_F(PipeLine, IsClosedWhileItIsRead)
{
    std::thread closing([&] { line->close(); });
    EXPECT_EQ(read(1), "");
    closing.join();
    EXPECT_EQ(error, std::errc::operation_canceled);
    EXPECT_EQ(line->write(bytes_of("x"), enough, error), 0U);
    EXPECT_EQ(error, std::errc::operation_canceled);
}
