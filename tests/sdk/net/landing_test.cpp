// Datagrams whose data is put where it belongs at once. A model tells what each datagram must be: landed or not, it
// consists of the bytes that were sent.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <vector>

#include "sdk/net/receive_backends.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using net::Landing;
using net::UdpSocket;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t header = 8;
constexpr std::size_t data = 1000;
constexpr auto long_enough = 5s;

class Landed : public testing::TestWithParam<const char*> {
protected:
    void send(const Bytes& bytes) { ASSERT_FALSE(sender.send_to(socket.local(), bytes)); }

    /// Sends datagrams as the one system call that brings them as a train.
    void send_train(const std::vector<Bytes>& datagrams)
    {
        set_segment(static_cast<int>(datagrams.front().size()));
        Bytes all;
        for (const Bytes& one : datagrams) {
            all.insert(all.end(), one.begin(), one.end());
        }
        send(all);
        set_segment(0);
    }

    Bytes random_bytes(std::size_t size)
    {
        Bytes bytes(size);
        std::ranges::generate(bytes, [this] { return static_cast<std::uint8_t>(random()); });
        return bytes;
    }

    std::vector<Bytes> random_datagrams(std::size_t count, std::size_t size = header + data)
    {
        std::vector<Bytes> all(count);
        std::ranges::generate(all, [&] { return random_bytes(size); });
        return all;
    }

    struct Read {
        std::vector<Bytes> datagrams;
        std::vector<std::ptrdiff_t> places;  ///< -1 where it did not land
    };

    /// What the next read brings, as it was sent; checks that landed data is in the next place of the memory.
    Read read(std::size_t packets, std::size_t packet_data = data)
    {
        memory.assign(packets * packet_data + 64, 0xEE);
        const Landing landing{header, packet_data, std::span(memory).first(packets * packet_data)};
        EXPECT_TRUE(receiver->wait(long_enough));
        Read result;
        for (const net::Datagram& one : receiver->read(landing)) {
            Bytes bytes(one.data.begin(), one.data.end());
            std::ptrdiff_t place = -1;
            if (one.landed != nullptr) {
                place = (one.landed - memory.data()) / static_cast<std::ptrdiff_t>(packet_data);
                EXPECT_EQ((one.landed - memory.data()) % static_cast<std::ptrdiff_t>(packet_data), 0);
                EXPECT_EQ(bytes.size(), header + packet_data);
                std::copy_n(one.landed, packet_data, bytes.begin() + header);
            }
            result.datagrams.push_back(bytes);
            result.places.push_back(place);
        }
        EXPECT_TRUE(std::all_of(memory.end() - 64, memory.end(), [](std::uint8_t byte) { return byte == 0xEE; }));
        return result;
    }

    /// Makes the receiver expect trains.
    void bring_trains()
    {
        send_train(random_datagrams(3));
        EXPECT_EQ(read(0).datagrams.size(), 3U);
    }

    unsigned seed = std::random_device()();
    testing::ScopedTrace trace{__FILE__, __LINE__, "seed " + std::to_string(seed)};
    std::mt19937 random{seed};
    UdpSocket sender = UdpSocket::open({loopback_address, 0}, {.send_buffer_bytes = 1 << 20});
    UdpSocket socket = UdpSocket::open({loopback_address, 0}, {.receive_buffer_bytes = 4 << 20});
    std::unique_ptr<net::PacketReceiver> receiver = net::create_receiver({.socket = socket, .path = {}}, GetParam());
    Bytes memory;

private:
    void set_segment(int size)
    {
        ASSERT_EQ(::setsockopt(static_cast<int>(sender.handle()), IPPROTO_UDP, UDP_SEGMENT, &size, sizeof size), 0);
    }
};

using Places = std::vector<std::ptrdiff_t>;

INSTANTIATE_TEST_SUITE_P(Backends, Landed, testing::Values("coalescing", "plain"));

TEST_P(Landed, OneAfterTheOther)
{
    const std::vector<Bytes> sent = random_datagrams(5);
    for (const Bytes& one : sent) {
        send(one);
    }
    const Read result = read(10);
    EXPECT_EQ(result.datagrams, sent);
    EXPECT_EQ(result.places, (Places{0, 1, 2, 3, 4}));
}

TEST_P(Landed, OnlyAsFarAsThereArePlaces)
{
    const std::vector<Bytes> sent = random_datagrams(5);
    for (const Bytes& one : sent) {
        send(one);
    }
    const Read result = read(2);
    EXPECT_EQ(result.datagrams, sent);
    EXPECT_EQ(result.places, (Places{0, 1, -1, -1, -1}));
}

TEST_P(Landed, OnlyWhatHasTheExpectedSize)
{
    std::vector<Bytes> sent;
    for (const std::size_t size : {0U, 1U, 8U, 9U, 1007U, 1008U, 1009U, 3000U}) {
        sent.push_back(random_bytes(size));
        send(sent.back());
    }
    const Read result = read(10);
    EXPECT_EQ(result.datagrams, sent);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(result.places[i] >= 0, sent[i].size() == header + data) << i;
    }
}

/// More than one system call reads at once, with other sizes in between.
TEST_P(Landed, ManyOfMixedSizesOneByOne)
{
    for (int round = 0; round < 50; ++round) {
        std::vector<Bytes> sent;
        for (int i = 0; i < 60; ++i) {
            sent.push_back(random_bytes(random() % 4 == 0 ? 1 + random() % 1400 : header + data));
            send(sent.back());
        }
        const Read result = read(70);
        ASSERT_TRUE(result.datagrams == sent) << "round " << round;
        std::ptrdiff_t latest = -1;
        for (const std::ptrdiff_t place : result.places) {
            EXPECT_TRUE(place == -1 || place > latest);
            latest = std::max(latest, place);
        }
    }
}

TEST_P(Landed, NothingWithoutALanding)
{
    send(random_bytes(header + data));
    EXPECT_EQ(read(0).places, Places{-1});
}

TEST_P(Landed, IsRecalledWhereItWasNotExpected)
{
    const std::vector<Bytes> sent = random_datagrams(4);
    for (const Bytes& one : sent) {
        send(one);
    }
    memory.assign(10 * data, 0);
    ASSERT_TRUE(receiver->wait(long_enough));
    const auto datagrams = receiver->read({header, data, memory});
    ASSERT_EQ(datagrams.size(), 4U);
    receiver->recall(1);
    EXPECT_NE(datagrams[0].landed, nullptr);
    memory.assign(memory.size(), 0);
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(datagrams[i].landed, nullptr);
        EXPECT_EQ(Bytes(datagrams[i].data.begin(), datagrams[i].data.end()), sent[i]);
    }
}

TEST_P(Landed, WholeTrains)
{
    bring_trains();
    const std::vector<Bytes> sent = random_datagrams(40);
    send_train(sent);
    const Read result = read(100);
    EXPECT_EQ(result.datagrams, sent);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(result.places[i], static_cast<std::ptrdiff_t>(i));
    }
}

TEST_P(Landed, TrainsWithAShortEnd)
{
    bring_trains();
    for (const std::size_t end : {1U, 7U, 8U, 9U, 500U, 1007U}) {
        std::vector<Bytes> sent = random_datagrams(10);
        sent.push_back(random_bytes(end));
        send_train(sent);
        const Read result = read(50);
        EXPECT_EQ(result.datagrams, sent) << end;
        EXPECT_EQ(result.places.front(), 0);
        EXPECT_EQ(result.places.back(), -1);
    }
}

TEST_P(Landed, PartsOfTrains)
{
    for (const std::size_t places : {1U, 5U, 9U, 10U}) {
        bring_trains();
        const std::vector<Bytes> sent = random_datagrams(10);
        send_train(sent);
        const Read result = read(places);
        EXPECT_EQ(result.datagrams, sent) << places;
        EXPECT_EQ(std::ranges::count(result.places, -1), static_cast<std::ptrdiff_t>(10 - places));
    }
}

TEST_P(Landed, TrainsOfAnotherSizeDoNot)
{
    for (const std::size_t size : {100U, 1000U, 1009U, 1400U}) {
        bring_trains();
        const std::vector<Bytes> sent = random_datagrams(20, size);
        send_train(sent);
        const Read result = read(100);
        EXPECT_EQ(result.datagrams, sent) << size;
        EXPECT_EQ(std::ranges::count(result.places, -1), 20) << size;
    }
}

TEST_P(Landed, TrainsThatNobodyExpected)
{
    const std::vector<Bytes> sent = random_datagrams(10);
    send_train(sent);
    EXPECT_EQ(read(100).datagrams, sent);
}

/// Any mixture of sizes, trains and places: every datagram as it was sent, in order, and the n-th that landed in the
/// n-th place of its read.
TEST_P(Landed, AnyMixture)
{
    for (int round = 0; round < 300; ++round) {
        std::vector<Bytes> sent;
        const auto messages = 1 + random() % 6;
        for (unsigned message = 0; message < messages; ++message) {
            const std::size_t size = random() % 3 == 0 ? 1 + random() % 1400 : header + data;
            std::vector<Bytes> datagrams = random_datagrams(1 + random() % 45, size);
            if (random() % 2 == 0) {
                datagrams.back() = random_bytes(1 + random() % size);
                send_train(datagrams);
            } else {
                datagrams.resize(std::min<std::size_t>(datagrams.size(), 3));
                std::ranges::for_each(datagrams, [this](const Bytes& one) { send(one); });
            }
            sent.insert(sent.end(), datagrams.begin(), datagrams.end());
        }
        std::vector<Bytes> received;
        while (received.size() < sent.size()) {
            const Read result = read(random() % 80);
            ASSERT_FALSE(result.datagrams.empty());
            ASSERT_LE(result.datagrams.size(), 64U);
            received.insert(received.end(), result.datagrams.begin(), result.datagrams.end());
        }
        ASSERT_EQ(received.size(), sent.size());
        ASSERT_TRUE(received == sent) << "round " << round;
    }
}

}  // namespace
