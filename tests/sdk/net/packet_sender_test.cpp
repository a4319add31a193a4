// Which datagrams leave as trains, by a socket that notes what it is asked to send, and over loopback.
#include "sdk/net/packet_sender.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <deque>
#include <string>
#include <vector>

#include "sdk/net/interfaces.h"
#include "tests/sdk/net/wine.h"
#ifndef _WIN32
#include "tests/sdk/net/two_hosts.h"
#endif

using namespace vex;

namespace {

using namespace std::chrono_literals;
using net::PacketSender;
using net::Trains;
using net::UdpSocket;
using Bytes = std::vector<std::uint8_t>;

constexpr Endpoint somewhere{loopback_address, 9};

/// Datagrams of given sizes, each in two parts, with bytes that differ from one to the next.
class Datagrams {
public:
    explicit Datagrams(const std::vector<std::size_t>& sizes)
    {
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            Bytes& one = bytes_.emplace_back(sizes[i]);
            for (std::size_t at = 0; at < one.size(); ++at) {
                one[at] = static_cast<std::uint8_t>(i * 31 + at * 7);
            }
            const std::span<const std::uint8_t> whole(one);
            const std::size_t head = std::min<std::size_t>(8, one.size());
            list.push_back({whole.first(head), whole.subspan(head)});
        }
    }
    [[nodiscard]] const Bytes& operator[](std::size_t i) const { return bytes_[i]; }

    std::vector<net::OutgoingDatagram> list;

private:
    std::deque<Bytes> bytes_;
};

/// Notes what it is asked to send: "3" for three datagrams one by one, "T3" for a train of three.
class NotingSocket final : public net::SendingSocket {
public:
    std::size_t send_batch(const Endpoint&, std::span<const net::OutgoingDatagram> datagrams,
                           std::error_code& error) noexcept override
    {
        const std::size_t count = std::min(datagrams.size(), taken_before_failure);
        note(std::to_string(datagrams.size()), datagrams.first(count));
        error = count < datagrams.size() ? std::make_error_code(std::errc::network_down) : std::error_code{};
        return count;
    }
    std::error_code send_train(const Endpoint&, std::span<const net::OutgoingDatagram> train) noexcept override
    {
        note("T" + std::to_string(train.size()), train_error ? train.first(0) : train);
        return train_error;
    }
    [[nodiscard]] bool cuts_trains() const noexcept override { return cuts; }
    [[nodiscard]] bool reaches_device(const Endpoint&) const noexcept override { return device; }

    std::string calls;
    std::vector<Bytes> sent;
    bool cuts = true;
    bool device = true;
    std::error_code train_error;
    std::size_t taken_before_failure = 1000;

private:
    void note(const std::string& call, std::span<const net::OutgoingDatagram> datagrams)
    {
        calls += (calls.empty() ? "" : " ") + call;
        for (const auto& datagram : datagrams) {
            Bytes& one = sent.emplace_back(datagram.head.begin(), datagram.head.end());
            one.insert(one.end(), datagram.body.begin(), datagram.body.end());
        }
    }
};

class Sender : public testing::Test {
protected:
    /// What the socket is asked for, and that it gets every datagram once and in order.
    std::string calls_for(const std::vector<std::size_t>& sizes)
    {
        const Datagrams datagrams(sizes);
        socket.calls.clear();
        socket.sent.clear();
        std::error_code error;
        EXPECT_EQ(sender.send(somewhere, datagrams.list, error), sizes.size());
        EXPECT_FALSE(error);
        EXPECT_EQ(socket.sent.size(), sizes.size());
        for (std::size_t i = 0; i < socket.sent.size() && i < sizes.size(); ++i) {
            EXPECT_EQ(socket.sent[i], datagrams[i]) << "datagram " << i;
        }
        return socket.calls;
    }

    NotingSocket socket;
    PacketSender sender{socket};
};

std::vector<std::size_t> sizes(std::size_t count, std::size_t size) { return std::vector<std::size_t>(count, size); }

std::size_t length(const std::vector<std::size_t>& of) { return net::train_length(Datagrams(of).list); }

}  // namespace

TEST(TrainLength, TakesEqualDatagramsAndOneShorterAtTheEnd)
{
    EXPECT_EQ(length({}), 0U);
    EXPECT_EQ(length({100}), 1U);
    EXPECT_EQ(length({100, 100, 100}), 3U);
    EXPECT_EQ(length({100, 100, 60, 60}), 3U);
    EXPECT_EQ(length({100, 100, 101}), 2U);
    EXPECT_EQ(length({44, 1472, 1472}), 1U);
}

TEST(TrainLength, AnEmptyDatagramIsNoPartOfATrain)
{
    EXPECT_EQ(length({0, 0, 0}), 1U);
    EXPECT_EQ(length({100, 100, 0}), 2U);
}

TEST(TrainLength, EndsWhereTheSystemTakesNoMore)
{
    EXPECT_EQ(length(sizes(100, 100)), 64U);
    EXPECT_EQ(length(sizes(100, 1472)), 44U) << "64768 bytes";
    EXPECT_EQ(length(sizes(100, 8972)), 7U);
    EXPECT_EQ(length({32753, 32753}), 2U) << "65506 bytes";
    EXPECT_EQ(length({32754, 32753}), 2U) << "65507 bytes";
    EXPECT_EQ(length({32754, 32754}), 1U) << "65508 bytes";
}

TEST_F(Sender, SendsNoTrainsUnlessAsked)
{
    EXPECT_EQ(calls_for(sizes(10, 100)), "10");
    sender.prepare(somewhere, Trains::never);
    EXPECT_EQ(calls_for(sizes(10, 100)), "10");
    EXPECT_FALSE(sender.sends_trains());
}

TEST_F(Sender, AutomaticallyNeedsADeviceAndASystemThatCuts)
{
    sender.prepare(somewhere, Trains::automatic);
    EXPECT_EQ(calls_for(sizes(10, 100)), "T10");
    socket.device = false;
    sender.prepare(somewhere, Trains::automatic);
    EXPECT_EQ(calls_for(sizes(10, 100)), "10");
    sender.prepare(somewhere, Trains::always);
    EXPECT_EQ(calls_for(sizes(10, 100)), "T10");
    socket.cuts = false;
    sender.prepare(somewhere, Trains::always);
    EXPECT_EQ(calls_for(sizes(10, 100)), "10");
}

TEST_F(Sender, LeaderAndTrailerGoBesideTheTrain)
{
    sender.prepare(somewhere, Trains::always);
    EXPECT_EQ(calls_for({44, 1472, 1472, 1472, 1472, 700, 16}), "1 T5 1");
}

TEST_F(Sender, AFewDatagramsGoTogetherWithTheirNeighbours)
{
    sender.prepare(somewhere, Trains::always);
    EXPECT_EQ(calls_for({44, 1472, 700, 16}), "4") << "no train of two";
    EXPECT_EQ(calls_for({44, 1472, 1472, 700, 16}), "1 T3 1");
    EXPECT_EQ(calls_for({500, 400, 300, 200}), "4");
}

TEST_F(Sender, LongRunsBecomeSeveralTrains)
{
    sender.prepare(somewhere, Trains::always);
    EXPECT_EQ(calls_for(sizes(100, 1472)), "T44 T44 T12");
}

TEST_F(Sender, ARefusedTrainAndAllThatFollowGoOneByOne)
{
    for (const auto refusal : {std::errc::invalid_argument, std::errc::io_error, std::errc::message_size,
                               std::errc::operation_not_supported, std::errc::no_protocol_option}) {
        sender.prepare(somewhere, Trains::always);
        socket.train_error = std::make_error_code(refusal);
        EXPECT_EQ(calls_for(sizes(100, 1472)), "T44 44 56") << socket.train_error.message();
        EXPECT_FALSE(sender.sends_trains());
        EXPECT_EQ(calls_for(sizes(10, 100)), "10");
    }
    socket.train_error = {};
    sender.prepare(somewhere, Trains::always);
    EXPECT_EQ(calls_for(sizes(10, 100)), "T10") << "what was refused is forgotten";
}

TEST_F(Sender, AnErrorOfTheMomentEndsNoTrains)
{
    sender.prepare(somewhere, Trains::always);
    socket.train_error = std::make_error_code(std::errc::no_buffer_space);
    EXPECT_EQ(calls_for(sizes(50, 1472)), "T44 44 T6 6");
    EXPECT_TRUE(sender.sends_trains());
}

TEST_F(Sender, TellsHowManyLeftBeforeTheError)
{
    sender.prepare(somewhere, Trains::always);
    const Datagrams datagrams({44, 1472, 1472, 700, 800, 900, 1000, 1100});
    socket.taken_before_failure = 2;
    std::error_code error;
    EXPECT_EQ(sender.send(somewhere, datagrams.list, error), 6U);
    EXPECT_EQ(error, std::errc::network_down);
    EXPECT_EQ(socket.calls, "1 T3 4");

    socket.train_error = std::make_error_code(std::errc::invalid_argument);
    EXPECT_EQ(sender.send(somewhere, datagrams.list, error), 3U) << "two of the train's datagrams went by themselves";
    EXPECT_EQ(error, std::errc::network_down);
}

TEST(UdpTrains, ArriveAsTheSameDatagramsByteForByte)
{
    UdpSocket from = UdpSocket::open({loopback_address, 0}, {.send_buffer_bytes = 4 << 20});
    UdpSocket to = UdpSocket::open({loopback_address, 0}, {.receive_buffer_bytes = 8 << 20});
    if (!from.cuts_trains()) {
        GTEST_SKIP() << "this system cuts no trains";
    }
    net::UdpSendingSocket socket(from);
    PacketSender sender(socket);
    for (const Trains trains : {Trains::never, Trains::always}) {
        sender.prepare(to.local(), trains);
        std::vector<std::size_t> all{44};
        all.insert(all.end(), 100, 1472);
        all.insert(all.end(), {13, 16});
        all.insert(all.end(), 9, 8972);
        all.insert(all.end(), 70, 1);
        const Datagrams datagrams(all);
        std::error_code error;
        ASSERT_EQ(sender.send(to.local(), datagrams.list, error), all.size()) << error.message();
        EXPECT_EQ(sender.sends_trains(), trains == Trains::always) << "nothing was refused";
        for (std::size_t i = 0; i < all.size(); ++i) {
            Bytes buffer(65536);
            const auto received = to.receive(buffer, 5s);
            ASSERT_TRUE(received) << "datagram " << i;
            EXPECT_EQ(received->source, from.local());
            buffer.resize(received->size);
            ASSERT_EQ(buffer, datagrams[i]) << "datagram " << i;
        }
        Bytes buffer(65536);
        EXPECT_FALSE(to.receive(buffer, 0ms));
    }
}

TEST(UdpTrains, AreRefusedWhenEmptyOrTooLongOrClosed)
{
    UdpSocket socket = UdpSocket::open({loopback_address, 0});
    EXPECT_EQ(socket.send_train(somewhere, {}), std::errc::invalid_argument);
    const Datagrams datagrams(sizes(65, 10));
    EXPECT_EQ(socket.send_train(somewhere, datagrams.list), std::errc::invalid_argument);
    socket.close();
    EXPECT_FALSE(socket.cuts_trains());
    EXPECT_EQ(socket.send_train(somewhere, std::span(datagrams.list).first(3)), std::errc::bad_file_descriptor);
}

TEST(ReachesDevice, IsFalseForWhatStaysOnTheHost)
{
    EXPECT_FALSE(net::reaches_device(loopback_address, loopback_address));
    EXPECT_FALSE(net::reaches_device(any_address, loopback_address));
    for (const net::Interface& one : net::list_interfaces()) {
        EXPECT_FALSE(net::reaches_device(one.address, one.address)) << one.id;
    }
    EXPECT_FALSE(net::reaches_device(Ipv4Address::parse("192.0.2.1").value(), Ipv4Address::parse("192.0.2.2").value()))
        << "no such local address";
}

#ifndef _WIN32
TEST(ReachesDevice, IsFalseOverAVirtualCable)
{
    TwoHosts hosts;
    if (!hosts.ready()) {
        GTEST_SKIP() << "this process may not make networks";
    }
    ASSERT_TRUE(hosts.go_here());
    EXPECT_FALSE(net::reaches_device(Ipv4Address::parse("10.9.0.1").value(), Ipv4Address::parse("10.9.0.2").value()));
    EXPECT_FALSE(net::reaches_device(any_address, Ipv4Address::parse("10.9.0.2").value()));
}
#endif
