// The receive backends of this system over loopback.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "sdk/net/receive_backends.h"

#ifndef _WIN32
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#endif

using namespace vex;

namespace {

using namespace std::chrono_literals;
using net::PacketReceiver;
using net::UdpSocket;
using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

constexpr auto long_enough = 5s;

/// A datagram of `size` bytes that says its number.
Bytes numbered(unsigned number, std::size_t size)
{
    Bytes bytes(size, static_cast<std::uint8_t>(number * 31));
    bytes[0] = static_cast<std::uint8_t>(number >> 8);
    bytes[1] = static_cast<std::uint8_t>(number);
    return bytes;
}

class Receiver : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        if (receiver_of(socket, 1, 1) == nullptr) {
            GTEST_SKIP() << "this process may not receive so here";
        }
    }

    /// A receiver of the backend under test; null where this process may not have it.
    std::unique_ptr<PacketReceiver> receiver_of(UdpSocket& where, std::size_t largest_packet, std::size_t batch) const
    {
        try {
            return net::create_receiver({.socket = where,
                                         .path = {sender.local().address, loopback_address},
                                         .largest_packet = largest_packet,
                                         .batch = batch},
                                        GetParam());
        } catch (const std::system_error&) {
            return nullptr;
        }
    }

    /// Receives until `count` datagrams are there, checking that each batch keeps to its limit.
    std::vector<Bytes> collect(PacketReceiver& receiver, std::size_t count, std::size_t batch)
    {
        std::vector<Bytes> all;
        while (all.size() < count) {
            const auto datagrams = receiver.receive(long_enough);
            if (datagrams.empty()) {
                ADD_FAILURE() << "nothing after " << all.size() << " of " << count;
                break;
            }
            EXPECT_LE(datagrams.size(), batch);
            for (const net::Datagram& one : datagrams) {
                EXPECT_EQ(one.source, sender.local());
                all.emplace_back(one.data.begin(), one.data.end());
            }
        }
        return all;
    }

    UdpSocket sender = UdpSocket::open({loopback_address, 0}, {.send_buffer_bytes = 1 << 20});
    UdpSocket socket = UdpSocket::open({loopback_address, 0}, {.receive_buffer_bytes = 4 << 20});
};

/// The backends that read the socket itself.
class SocketReceiver : public Receiver {};

std::vector<std::string> backends(bool of_the_socket_only)
{
    std::vector<std::string> names;
    for (const net::SharedBackend& backend : net::receive_backends()) {
        if (!of_the_socket_only || !backend->privileged()) {
            names.emplace_back(backend->name());
        }
    }
    return names;
}

std::string test_name(const testing::TestParamInfo<std::string>& info)
{
    std::string name = info.param;
    std::erase(name, '-');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Backends, Receiver, testing::ValuesIn(backends(false)), test_name);
INSTANTIATE_TEST_SUITE_P(Backends, SocketReceiver, testing::ValuesIn(backends(true)), test_name);

TEST_P(Receiver, HandsOutWhatArrivedInOrder)
{
    const auto receiver = receiver_of(socket, 1500, 16);
    std::vector<Bytes> sent;
    for (unsigned i = 0; i < 100; ++i) {
        sent.push_back(numbered(i, 2 + i * 14));
        ASSERT_FALSE(sender.send_to(socket.local(), sent.back()));
    }
    EXPECT_TRUE(collect(*receiver, sent.size(), 16) == sent);
    EXPECT_TRUE(receiver->receive(0ms).empty());
}

TEST_P(Receiver, GoesOnWhenTheThreadThatReadFirstHasEnded)
{
    const auto receiver = receiver_of(socket, 100, 4);
    std::thread([&] { EXPECT_TRUE(receiver->receive(0ms).empty()); }).join();
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(1, 50)));
    EXPECT_EQ(collect(*receiver, 1, 4), std::vector<Bytes>{numbered(1, 50)});
}

TEST_P(Receiver, TakesNothingFromTheOneAfterIt)
{
    EXPECT_TRUE(receiver_of(socket, 100, 4)->receive(0ms).empty());
    const auto receiver = receiver_of(socket, 100, 4);
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(1, 50)));
    EXPECT_EQ(collect(*receiver, 1, 4), std::vector<Bytes>{numbered(1, 50)});
}

TEST_P(SocketReceiver, TakesSeveralDatagramsWithOneCall)
{
    const auto receiver = receiver_of(socket, 100, 8);
    for (unsigned i = 0; i < 8; ++i) {
        ASSERT_FALSE(sender.send_to(socket.local(), numbered(i, 50)));
    }
    EXPECT_EQ(receiver->receive(long_enough).size(), 8U);
}

TEST_P(SocketReceiver, KeepsABatchReadableUntilTheNextCall)
{
    const auto receiver = receiver_of(socket, 100, 4);
    for (unsigned i = 0; i < 8; ++i) {
        ASSERT_FALSE(sender.send_to(socket.local(), numbered(i, 50)));
    }
    const auto batch = receiver->receive(long_enough);
    ASSERT_EQ(batch.size(), 4U);
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_EQ(Bytes(batch[i].data.begin(), batch[i].data.end()), numbered(i, 50));
    }
    EXPECT_EQ(receiver->receive(long_enough).size(), 4U);
}

TEST_P(Receiver, DropsDatagramsLongerThanTheLargestPacket)
{
    const auto receiver = receiver_of(socket, 100, 8);
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(0, 100)));
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(1, 101)));
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(2, 9000)));
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(3, 99)));
    EXPECT_TRUE(collect(*receiver, 2, 8) == (std::vector<Bytes>{numbered(0, 100), numbered(3, 99)}));
    EXPECT_TRUE(receiver->receive(0ms).empty());
}

TEST_P(Receiver, OnlyDroppedDatagramsCountAsNone)
{
    const auto receiver = receiver_of(socket, 10, 8);
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(0, 11)));
    EXPECT_TRUE(receiver->receive(20ms).empty());
}

TEST_P(Receiver, TakesTheLargestDatagramsOfUdp)
{
    const auto receiver = receiver_of(socket, 65507, 2);
    const std::vector<Bytes> sent{numbered(0, 65507), numbered(1, 65507), numbered(2, 8192)};
    for (const Bytes& one : sent) {
        ASSERT_FALSE(sender.send_to(socket.local(), one));
    }
    EXPECT_TRUE(collect(*receiver, sent.size(), 2) == sent);
}

TEST_P(Receiver, HandsOutEmptyDatagramsToo)
{
    const auto receiver = receiver_of(socket, 100, 2);
    ASSERT_FALSE(sender.send_to(socket.local(), {}));
    const auto batch = receiver->receive(long_enough);
    ASSERT_EQ(batch.size(), 1U);
    EXPECT_TRUE(batch[0].data.empty());
}

TEST_P(Receiver, WakesWithinItsTimeout)
{
    const auto receiver = receiver_of(socket, 100, 8);
    for (const auto timeout : {0ms, 1ms, 30ms, 120ms}) {
        const auto start = Clock::now();
        EXPECT_TRUE(receiver->receive(timeout).empty());
        const auto took = Clock::now() - start;
        EXPECT_GE(took, timeout);
        EXPECT_LT(took, timeout + 2s);
    }
}

TEST_P(Receiver, HasTheSystemThrowAwayWhatComesWhenTold)
{
    const auto receiver = receiver_of(socket, 1500, 64);
    std::size_t kept = 0;
    std::size_t sent = 0;
    const auto send_until = [&](auto condition) {
        const Clock::time_point end = Clock::now() + long_enough;
        while (!condition() && Clock::now() < end) {
            ASSERT_FALSE(sender.send_to(socket.local(), numbered(7, 100)));
            ++sent;
        }
    };
    const auto dropped = [&] { return receiver->dropped_by_system().value_or(0); };
    const auto read_all = [&] {
        while (const std::size_t count = receiver->read({}).size()) {
            kept += count;
        }
        return kept + dropped() == sent;
    };
    send_until([&] { return sent == 10; });
    ASSERT_TRUE(receiver->wait(long_enough));
    if (!receiver->refuse_new(true)) {
        GTEST_SKIP() << "this system cannot be told";
    }
    send_until([&] { return dropped() != 0; });
    for (const auto end = Clock::now() + long_enough; !read_all() && Clock::now() < end;)
        ;
    EXPECT_EQ(kept + dropped(), sent);
    EXPECT_GE(kept, 1U) << "what had arrived before";
    EXPECT_TRUE(receiver->drained());
    EXPECT_TRUE(receiver->read({}).empty());

    EXPECT_TRUE(receiver->refuse_new(false));
    const std::uint64_t before = dropped();
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(8, 100)));
    EXPECT_TRUE(collect(*receiver, 1, 64) == std::vector<Bytes>{numbered(8, 100)});
    EXPECT_EQ(dropped(), before);
}

TEST_P(Receiver, EndsWithTheSocketOpenToWhatComes)
{
    auto receiver = receiver_of(socket, 1500, 64);
    static_cast<void>(receiver->refuse_new(true));
    receiver.reset();
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(1, 100)));
    Bytes buffer(200);
    EXPECT_TRUE(socket.receive(buffer, long_enough).has_value());
}

TEST_P(Receiver, GivesNothingOnceTheSocketIsClosed)
{
    const auto receiver = receiver_of(socket, 100, 8);
    socket.close();
    const auto start = Clock::now();
    EXPECT_TRUE(receiver->receive(60s).empty());
    EXPECT_LT(Clock::now() - start, 30s);
}

TEST_P(Receiver, OddLimitsStillReceive)
{
    const auto receiver = receiver_of(socket, 0, 0);
    ASSERT_FALSE(sender.send_to(socket.local(), Bytes{1}));
    EXPECT_EQ(receiver->receive(long_enough).size(), 1U);
}

TEST_P(Receiver, LeavesTheSocketUsableAfterItself)
{
    {
        const auto receiver = receiver_of(socket, 100, 8);
        EXPECT_TRUE(receiver->receive(0ms).empty());
    }
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(1, 50)));
    Bytes buffer(100);
    const auto received = socket.receive(buffer, long_enough);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->size, 50U);
}

TEST_P(SocketReceiver, IsDrainedOnceEverythingThatArrivedIsHandedOut)
{
    const auto receiver = receiver_of(socket, 100, 8);
    EXPECT_TRUE(receiver->drained());
    for (unsigned i = 0; i < 20; ++i) {
        ASSERT_FALSE(sender.send_to(socket.local(), numbered(i, 50)));
    }
    EXPECT_EQ(receiver->receive(long_enough).size(), 8U);
    EXPECT_FALSE(receiver->drained());
    EXPECT_EQ(receiver->receive(long_enough).size(), 8U);
    EXPECT_FALSE(receiver->drained());
    EXPECT_EQ(receiver->receive(long_enough).size(), 4U);
    EXPECT_TRUE(receiver->drained());
    EXPECT_TRUE(receiver->receive(0ms).empty());
    EXPECT_TRUE(receiver->drained());
}

TEST_P(SocketReceiver, IsDrainedAfterAnEmptyReadThatFollowsAFullOne)
{
    const auto receiver = receiver_of(socket, 100, 8);
    for (unsigned i = 0; i < 8; ++i) {
        ASSERT_FALSE(sender.send_to(socket.local(), numbered(i, 50)));
    }
    EXPECT_EQ(receiver->receive(long_enough).size(), 8U);
    // the slots are full: whether there is more shows with the next read only
    EXPECT_FALSE(receiver->drained());
    EXPECT_TRUE(receiver->receive(0ms).empty());
    EXPECT_TRUE(receiver->drained());
}

TEST_P(SocketReceiver, TellsTheBufferThatTheSystemGave)
{
    const auto receiver = receiver_of(socket, 100, 8);
    EXPECT_EQ(receiver->buffer_bytes(), socket.receive_buffer_bytes());
    EXPECT_GT(receiver->buffer_bytes(), 0U);
    const UdpSocket small = UdpSocket::open({loopback_address, 0}, {.receive_buffer_bytes = 100'000});
    EXPECT_EQ(small.receive_buffer_bytes(), 100'000U);
    EXPECT_EQ(UdpSocket().receive_buffer_bytes(), 0U);
}

#ifndef _WIN32
TEST_P(SocketReceiver, CountsWhatTheSystemDropped)
{
    UdpSocket narrow = UdpSocket::open({loopback_address, 0}, {.receive_buffer_bytes = 20'000});
    constexpr unsigned sent = 200;
    const auto flood = [&] {
        for (unsigned i = 0; i < sent; ++i) {
            ASSERT_FALSE(sender.send_to(narrow.local(), numbered(i, 1000)));
        }
    };
    // drops of before the receiver was there are not its own
    flood();
    const auto receiver = receiver_of(narrow, 1000, 16);
    EXPECT_EQ(receiver->dropped_by_system(), 0U);
    while (!receiver->receive(0ms).empty())
        ;
    flood();
    std::uint64_t received = 0;
    for (auto batch = receiver->receive(0ms); !batch.empty(); batch = receiver->receive(0ms)) {
        received += batch.size();
    }
    EXPECT_LT(received, sent);
    EXPECT_EQ(receiver->dropped_by_system(), sent - received);
    narrow.close();
    EXPECT_FALSE(receiver->dropped_by_system().has_value());
}

TEST_P(SocketReceiver, IsNotDrainedWithinACoalescedBlock)
{
    const auto receiver = receiver_of(socket, 1000, 16);
    const int segment = 1000;
    ASSERT_EQ(::setsockopt(static_cast<int>(sender.handle()), IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment), 0);
    ASSERT_FALSE(sender.send_to(socket.local(), Bytes(20'000)));
    EXPECT_EQ(receiver->receive(long_enough).size(), 16U);
    EXPECT_FALSE(receiver->drained());
    EXPECT_EQ(receiver->receive(long_enough).size(), 4U);
    EXPECT_TRUE(receiver->drained());
}

TEST_P(Receiver, TellsCoalescedDatagramsApart)
{
    const auto receiver = receiver_of(socket, 1000, 16);
    // one send that the kernel carries as one block of 40 datagrams, the last of them shorter
    const int segment = 1000;
    ASSERT_EQ(::setsockopt(static_cast<int>(sender.handle()), IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment), 0);
    Bytes block;
    std::vector<Bytes> expected;
    for (unsigned i = 0; i < 40; ++i) {
        expected.push_back(numbered(i, i < 39 ? 1000 : 123));
        block.insert(block.end(), expected.back().begin(), expected.back().end());
    }
    ASSERT_FALSE(sender.send_to(socket.local(), block));
    EXPECT_TRUE(collect(*receiver, expected.size(), 16) == expected);
}

TEST_P(SocketReceiver, LeavesNoDatagramsJoinedAfterItself)
{
    receiver_of(socket, 1000, 16).reset();
    const int segment = 1000;
    ASSERT_EQ(::setsockopt(static_cast<int>(sender.handle()), IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment), 0);
    ASSERT_FALSE(sender.send_to(socket.local(), numbered(1, 2500)));
    Bytes buffer(4000);
    for (const std::size_t size : {1000U, 1000U, 500U}) {
        const auto received = socket.receive(buffer, long_enough);
        ASSERT_TRUE(received);
        EXPECT_EQ(received->size, size);
    }
}
#endif

}  // namespace
