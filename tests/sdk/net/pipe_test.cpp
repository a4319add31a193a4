// Pipes between programs, by name and by TCP port: the same tests for both.
#include "sdk/net/pipe.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

using namespace std::chrono_literals;
using vex::Endpoint;
using vex::Ipv4Address;
using vex::net::Pipe;
using vex::net::PipeName;
using vex::net::PipeServer;

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::chrono::milliseconds patience{30'000};

/// A name that no other process and no other test of this one has.
std::string own_name()
{
    static std::atomic<int> count{0};
#ifdef _WIN32
    const auto process = ::GetCurrentProcessId();
#else
    const auto process = ::getpid();
#endif
    return "test-" + std::to_string(process) + "-" + std::to_string(++count);
}

template <class Call>
std::error_code error_of(Call&& call)
{
    try {
        (void)call();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

// ---- names ----

TEST(PipeNames, AreNamesOrTcpPorts)
{
    const auto parsed = [](const char* text) {
        const auto name = PipeName::parse(text);
        return name ? name->to_string() : std::string();
    };
    EXPECT_EQ(parsed("camera"), "pipe:camera");
    EXPECT_EQ(parsed("Pipe:Camera-1.2_3"), "pipe:Camera-1.2_3");
    EXPECT_EQ(parsed("tcp:4000"), "tcp:4000");
    EXPECT_EQ(parsed("TCP:127.0.0.1:4000"), "tcp:4000");
    EXPECT_EQ(parsed("tcp:0.0.0.0:65535"), "tcp:0.0.0.0:65535");
    for (const char* const bad : {"", "pipe:", "tcp:", "tcp:65536", "tcp:-1", "tcp:4000 ", "tcp:host:4000",
                                  "tcp:1.2.3:4", "a/b", "a\\b", "a b", "..", ".", "pty:x", "pipe:pipe:x"}) {
        EXPECT_EQ(parsed(bad), "") << bad;
    }
    EXPECT_EQ(parsed(std::string(64, 'n').c_str()), "pipe:" + std::string(64, 'n'));
    EXPECT_EQ(parsed(std::string(65, 'n').c_str()), "");
}

TEST(PipeNames, OfTcpPortsAreOnLoopbackUnlessTheySayOtherwise)
{
    EXPECT_EQ(PipeName::parse("tcp:4000")->tcp, (Endpoint{vex::loopback_address, 4000}));
    EXPECT_EQ(PipeName::parse("tcp:10.0.0.1:4000")->tcp, (Endpoint{*Ipv4Address::parse("10.0.0.1"), 4000}));
    EXPECT_EQ(PipeName::parse("camera")->tcp, std::nullopt);
}

TEST(PipeNames, TellWhereOtherProgramsFindThem)
{
#ifdef _WIN32
    EXPECT_EQ(PipeName::parse("camera")->path(), R"(\\.\pipe\camera)");
#else
    ::setenv("XDG_RUNTIME_DIR", "/somewhere", 1);
    EXPECT_EQ(PipeName::parse("camera")->path(), "/somewhere/vex-camera.sock");
    ::unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(PipeName::parse("camera")->path(), "/tmp/vex-" + std::to_string(::getuid()) + "-camera.sock");
#endif
}

// ---- pipes ----

class Pipes : public testing::TestWithParam<bool> {
protected:
    Pipes() : server(PipeServer::serve(*PipeName::parse(GetParam() ? "tcp:0" : own_name()))) {}

    [[nodiscard]] std::shared_ptr<Pipe> connect() const { return Pipe::connect(server->name(), patience); }
    /// Connected and accepted.
    std::shared_ptr<Pipe> meet()
    {
        auto accepted = std::async(std::launch::async, [this] { return server->accept(patience); });
        std::shared_ptr<Pipe> client = connect();
        EXPECT_FALSE(accepted.get());
        return client;
    }

    template <class End>
    Bytes read(End& end, std::size_t size)
    {
        Bytes bytes(size);
        std::size_t count = 0;
        error = {};
        while (count < size && !error) {
            count += end.read(std::span(bytes).subspan(count), patience, error);
        }
        bytes.resize(count);
        return bytes;
    }
    template <class End>
    std::size_t write(End& end, const Bytes& bytes)
    {
        return end.write(bytes, patience, error);
    }

    std::shared_ptr<PipeServer> server;
    std::error_code error;
};

INSTANTIATE_TEST_SUITE_P(, Pipes, testing::Bool(), [](const auto& chosen) { return chosen.param ? "Tcp" : "Named"; });

TEST_P(Pipes, CarryBytesBothWays)
{
    const auto client = meet();
    EXPECT_EQ(write(*client, {1, 2, 3}), 3U);
    EXPECT_EQ(read(*server, 3), (Bytes{1, 2, 3}));
    EXPECT_EQ(write(*server, {4, 5}), 2U);
    EXPECT_EQ(read(*client, 2), (Bytes{4, 5}));
    EXPECT_FALSE(error);
}

TEST_P(Pipes, CarryManyBytesBothWaysAtTheSameTime)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Bytes there(2'000'003);
    Bytes back(2'000'003);
    for (std::size_t i = 0; i < there.size(); ++i) {
        there[i] = static_cast<std::uint8_t>(random());
        back[i] = static_cast<std::uint8_t>(random());
    }
    const auto client = meet();
    const auto send = [](auto& end, const Bytes& bytes) {
        std::error_code failed;
        return end.write(bytes, patience, failed);
    };
    const auto receive = [](auto& end, std::size_t size) {
        Bytes bytes(size);
        std::size_t count = 0;
        std::error_code failed;
        while (count < size && !failed) {
            count += end.read(std::span(bytes).subspan(count), patience, failed);
        }
        bytes.resize(count);
        return bytes;
    };
    auto sent = std::async(std::launch::async, [&] { return send(*client, there); });
    auto answered = std::async(std::launch::async, [&] { return send(*server, back); });
    auto got = std::async(std::launch::async, [&] { return receive(*client, back.size()); });
    EXPECT_TRUE(receive(*server, there.size()) == there);
    EXPECT_TRUE(got.get() == back);
    EXPECT_EQ(sent.get(), there.size());
    EXPECT_EQ(answered.get(), back.size());
}

TEST_P(Pipes, WaitForBytesOnlySoLong)
{
    const auto client = meet();
    Bytes bytes(10);
    EXPECT_EQ(server->read(bytes, 0ms, error), 0U);
    EXPECT_EQ(error, std::errc::timed_out);
    EXPECT_EQ(client->read(bytes, 20ms, error), 0U);
    EXPECT_EQ(error, std::errc::timed_out);
    EXPECT_EQ(client->read({}, 20ms, error), 0U);
    EXPECT_FALSE(error);
    write(*server, {7});
    EXPECT_EQ(read(*client, 1), Bytes{7}) << "after a read that timed out";
}

TEST_P(Pipes, HoldTheirWriterWhileNobodyReadsAndLoseNothing)
{
    const auto client = meet();
    Bytes all;
    std::size_t taken = 0;
    std::uint8_t next = 0;
    for (error = {}; !error;) {
        Bytes block(4000);
        for (std::uint8_t& each : block) {
            each = next;
            next = static_cast<std::uint8_t>(next * 5 + 1);
        }
        all.insert(all.end(), block.begin(), block.end());
        taken += server->write(block, 50ms, error);
        ASSERT_LT(all.size(), 100'000'000U);
    }
    EXPECT_EQ(error, std::errc::timed_out);
    const std::span left = std::span(all).subspan(taken);
    auto rest = std::async(std::launch::async, [&] {
        std::error_code failed;
        return server->write(left, patience, failed);
    });
    EXPECT_TRUE(read(*client, all.size()) == all);
    EXPECT_EQ(rest.get(), left.size());
}

TEST_P(Pipes, TellThatTheOtherProgramHasGoneAfterWhatItSent)
{
    auto client = meet();
    write(*client, {1, 2});
    client.reset();
    EXPECT_EQ(read(*server, 3), (Bytes{1, 2}));
    EXPECT_EQ(error, std::errc::connection_reset);
    error = {};
    for (int i = 0; i < 1000 && !error; ++i) {
        server->write(Bytes(1000), patience, error);
    }
    EXPECT_EQ(error, std::errc::connection_reset);
}

TEST_P(Pipes, TellTheClientThatTheServerHasGone)
{
    const auto client = meet();
    write(*server, {9});
    EXPECT_EQ(read(*client, 1), Bytes{9});
    server->close();
    EXPECT_EQ(read(*client, 1), Bytes());
    EXPECT_EQ(error, std::errc::connection_reset);
}

TEST_P(Pipes, ServeOneProgramAfterTheOther)
{
    Bytes none(1);
    EXPECT_EQ(server->read(none, patience, error), 0U);
    EXPECT_EQ(error, std::errc::not_connected);
    EXPECT_EQ(server->write(none, patience, error), 0U);
    EXPECT_EQ(error, std::errc::not_connected);
    EXPECT_EQ(server->accept(10ms), std::errc::timed_out);
    for (std::uint8_t i = 0; i < 5; ++i) {
        auto client = meet();
        write(*client, {i});
        EXPECT_EQ(read(*server, 1), Bytes{i});
        client.reset();
        EXPECT_EQ(read(*server, 1), Bytes());
        EXPECT_EQ(error, std::errc::connection_reset);
    }
}

TEST_P(Pipes, TakeTheNextProgramBeforeTheEndOfTheLastIsNoticed)
{
    auto first = meet();
    first.reset();
    auto coming = std::async(std::launch::async, [this] { return connect(); });
    (void)coming.wait_for(50ms);  // time enough to be refused
    EXPECT_EQ(read(*server, 1), Bytes());
    EXPECT_EQ(error, std::errc::connection_reset);
    ASSERT_FALSE(server->accept(patience));
    const auto second = coming.get();
    write(*second, {7});
    EXPECT_EQ(read(*server, 1), Bytes{7});
}

TEST_P(Pipes, KeepWhatOneProgramWasSentFromTheNext)
{
    const auto first = meet();
    write(*server, {1, 2, 3});
    server->part();
    Bytes bytes(1);
    EXPECT_EQ(server->read(bytes, patience, error), 0U);
    EXPECT_EQ(error, std::errc::connection_reset);
    EXPECT_EQ(server->write(bytes, patience, error), 0U);
    EXPECT_EQ(error, std::errc::connection_reset);
    const auto second = meet();
    ASSERT_NE(second, nullptr);
    write(*server, {4});
    EXPECT_EQ(read(*second, 1), Bytes{4});
}

TEST_P(Pipes, TurnASecondProgramAway)
{
    const auto first = meet();
    auto reading = std::async(std::launch::async, [&] { return read(*server, 1); });
    std::shared_ptr<Pipe> second;
    const std::error_code refused = error_of([&] { return second = connect(); });
    if (second != nullptr) {
        Bytes bytes(1);
        std::error_code ended;
        EXPECT_EQ(second->read(bytes, patience, ended), 0U);
        EXPECT_EQ(ended, std::errc::connection_reset);
    } else {
        EXPECT_EQ(refused, std::errc::device_or_resource_busy);
    }
    std::error_code failed;  // another thread has the test's
    first->write(Bytes{1}, patience, failed);
    EXPECT_EQ(reading.get(), Bytes{1});
}

TEST_P(Pipes, EndWaitsOfOtherThreadsWhenClosed)
{
    const auto client = meet();
    const auto reading = [](auto& end) {
        return std::async(std::launch::async, [&end] {
            Bytes bytes(1);
            std::error_code failed;
            end.read(bytes, patience, failed);
            return failed;
        });
    };
    auto of_client = reading(*client);
    auto writing = std::async(std::launch::async, [&] {
        std::error_code failed;
        while (!failed) {
            server->write(Bytes(4096), patience, failed);
        }
        return failed;
    });
    client->close();
    const std::error_code ended = of_client.get();
    EXPECT_TRUE(!ended || ended == std::errc::operation_canceled) << ended.message();
    EXPECT_EQ(writing.get(), std::errc::connection_reset);
    auto accepting = std::async(std::launch::async, [&] { return server->accept(patience); });
    server->close();
    EXPECT_EQ(accepting.get(), std::errc::operation_canceled);
    Bytes bytes(1);
    client->read(bytes, patience, error);
    EXPECT_EQ(error, std::errc::operation_canceled);
    server->close();
}

TEST_P(Pipes, EndAWriteThatNobodyReadsWhenClosed)
{
    const auto client = meet();
    std::atomic<bool> stuck{false};
    auto writing = std::async(std::launch::async, [&] {
        std::error_code failed;
        while (!failed || failed == std::errc::timed_out) {
            stuck = failed == std::errc::timed_out;
            server->write(Bytes(4096), stuck ? patience : 20ms, failed);
        }
        return failed;
    });
    while (!stuck) {
        std::this_thread::yield();
    }
    server->close();
    EXPECT_EQ(writing.get(), std::errc::operation_canceled);
}

TEST_P(Pipes, HaveOneServer)
{
    EXPECT_EQ(error_of([&] { return PipeServer::serve(server->name()); }), std::errc::address_in_use);
    const PipeName name = server->name();
    server->close();
    EXPECT_NE(PipeServer::serve(name), nullptr) << "as soon as the first has gone";
}

TEST_P(Pipes, WithoutAServerAreRefused)
{
    const PipeName name = server->name();
    server->close();
    const std::error_code refused = error_of([&] { return Pipe::connect(name, patience); });
    EXPECT_TRUE(refused == std::errc::no_such_file_or_directory || refused == std::errc::connection_refused)
        << refused.message();
}

#ifndef _WIN32
TEST(PipeFiles, LeftByAProgramThatCrashedAreNoHindrance)
{
    const PipeName name{own_name(), {}};
    std::ofstream(name.path()) << "left";
    auto server = PipeServer::serve(name);
    auto client = Pipe::connect(name, patience);
    EXPECT_FALSE(server->accept(patience));
    server.reset();
    EXPECT_NE(::access(name.path().c_str(), F_OK), 0) << "it goes with its server";
    ::unlink((name.path() + ".lock").c_str());
}
#endif

}  // namespace
