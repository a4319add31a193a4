// The stream over real sockets: a sender on an address of its own that writes its packets byte by byte.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/stream_core/packets.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using packets::Bytes;
using packets::picture;

/// Under Wine only sockets on 127.0.0.1 send from the address that they are bound to.
const Ipv4Address camera{under_wine() ? 0x7F000001U : 0x7F000028U};
const PvString camera_ip = camera.to_string();
constexpr Ipv4Address host{0x7F000001};
/// Long enough for a loaded machine; nothing waits for it when all is well.
constexpr std::uint32_t ample = 10'000;

class Stream : public PvStreamBase {
public:
    [[nodiscard]] stream::Counters counters() { return channel().statistics().counters; }
};

/// Waits until `condition` holds; a test that depends on it fails by its own check when it never does.
template <typename Condition>
void await(Condition condition)
{
    for (int i = 0; i < 2000 && !condition(); ++i) {
        std::this_thread::sleep_for(5ms);
    }
}

class Streaming : public testing::Test {
protected:
    void SetUp() override
    {
        const PvResult result = stream.Open(camera_ip, 0, 0, "127.0.0.1");
        ASSERT_TRUE(result.IsOK()) << result.description();
    }

    void send(const Bytes& packet, net::UdpSocket* from = nullptr)
    {
        net::UdpSocket& socket = from != nullptr ? *from : sender;
        ASSERT_FALSE(socket.send_to({host, stream.GetLocalPort()}, packet));
    }
    void send_image(std::uint64_t id, const Bytes& pixels)
    {
        for (const Bytes& packet : packets::image_block({.id = id}, {}, pixels, 20, id)) {
            send(packet);
        }
    }

    Stream stream;
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    PvBuffer* retrieved = nullptr;
    PvResult operation_result = PvResult::GenericError;
};

using RetrieveBuffer = Streaming;
using QueueBuffer = Streaming;
using AbortQueuedBuffers = Streaming;
using FlushPacketQueue = Streaming;
using Close = Streaming;

TEST(Open, TellsWhereItReceives)
{
    Stream stream;
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetLocalPort(), 0);
    EXPECT_EQ(stream.GetLocalIPAddress(), PvString());
    EXPECT_EQ(stream.GetMulticastIPAddress(), PvString());
    ASSERT_TRUE(stream.Open(camera_ip, 0, 2, "127.0.0.41").IsOK());
    EXPECT_TRUE(stream.IsOpen());
    EXPECT_NE(stream.GetLocalPort(), 0);
    EXPECT_EQ(stream.GetLocalIPAddress(), "127.0.0.41");
    EXPECT_EQ(stream.GetDeviceIPAddress(), camera_ip);
    EXPECT_EQ(stream.GetChannel(), 2);
    EXPECT_EQ(stream.GetMulticastIPAddress(), PvString());
    EXPECT_TRUE(stream.Close().IsOK());
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetLocalPort(), 0);
}

TEST(Open, FindsTheInterfaceTowardsTheDevice)
{
    Stream stream;
    ASSERT_TRUE(stream.Open(camera_ip).IsOK());
    EXPECT_EQ(stream.GetLocalIPAddress().view().substr(0, 4), "127.");
}

TEST(Open, RefusesWhatIsNoAddress)
{
    Stream stream;
    for (const char* address : {"", "camera", "127.0.0", "127.0.0.256", "0.0.0.0", "239.1.1.1"}) {
        EXPECT_EQ(stream.Open(address).GetCode(), PvResult::InvalidParameter) << address;
    }
    EXPECT_EQ(stream.Open(camera_ip, 0, 0, "here").GetCode(), PvResult::InvalidParameter);
    const PvResult result = stream.Open("127.0.0.999");
    EXPECT_EQ(result.description(), "the device address '127.0.0.999' is not an IPv4 address");
    EXPECT_FALSE(stream.IsOpen());
}

TEST(Open, ReportsAPortInUse)
{
    Stream first;
    Stream second;
    ASSERT_TRUE(first.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
    const PvResult result = second.Open(camera_ip, first.GetLocalPort(), 0, "127.0.0.1");
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_NE(result.description().find("127.0.0.1"), std::string_view::npos) << result.description();
    EXPECT_FALSE(second.IsOpen());
    // and nothing of the failure stays
    EXPECT_TRUE(second.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
}

TEST(Open, ReportsAnAddressThatIsNotThisHosts)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    Stream stream;
    EXPECT_EQ(stream.Open(camera_ip, 0, 0, "192.0.2.1").GetCode(), PvResult::NetworkError);
}

TEST_F(Streaming, OpensOnlyOnce)
{
    EXPECT_EQ(stream.Open(camera_ip).GetCode(), PvResult::StateError);
    EXPECT_TRUE(stream.IsOpen());
}

TEST_F(RetrieveBuffer, TimesOutWithNullBufferAndBothResults)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    retrieved = &buffer;
    const auto start = std::chrono::steady_clock::now();
    const PvResult result = stream.RetrieveBuffer(&retrieved, &operation_result, 50);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(operation_result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(retrieved, nullptr);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
}

TEST_F(RetrieveBuffer, TimesOutAlsoWithNothingQueued)
{
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 20).GetCode(), PvResult::Timeout);
}

TEST_F(RetrieveBuffer, ATimeoutTellsWhatHasCome)
{
    const auto text = [&] {
        const PvResult result = stream.RetrieveBuffer(&retrieved, &operation_result, 0);
        EXPECT_EQ(result.GetCode(), PvResult::Timeout);
        return std::string(result.description());
    };
    const std::string way = camera_ip.str() + " to 127.0.0.1, port " + std::to_string(stream.GetLocalPort());
    EXPECT_EQ(text(), "no block was completed within 0 ms: no packet has ever come from " + way);
    send(Bytes(5));
    await([&] { return stream.counters().of(stream::PacketFate::malformed) == 1; });
    EXPECT_EQ(text(), "no block was completed within 0 ms: what has come from " + way + " is not a stream");
    send(packets::image_leader({.id = 1}, {}, 1));
    await([&] { return stream.counters().blocks_begun == 1; });
    EXPECT_EQ(text(), "no block was completed within 0 ms");
}

TEST_F(RetrieveBuffer, NeedsPlacesForItsOutputs)
{
    EXPECT_EQ(stream.RetrieveBuffer(nullptr, &operation_result, 0).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, nullptr, 0).GetCode(), PvResult::InvalidParameter);
}

TEST_F(RetrieveBuffer, ReturnsTheClientsBuffersInTheirOrder)
{
    std::array<PvBuffer, 3> buffers;
    for (PvBuffer& buffer : buffers) {
        ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    }
    EXPECT_EQ(stream.GetQueuedBufferCount(), 3U);
    for (std::uint64_t id = 1; id <= 3; ++id) {
        send_image(id, picture(64, id));
    }
    for (std::uint64_t id = 1; id <= 3; ++id) {
        const PvResult result = stream.RetrieveBuffer(&retrieved, &operation_result, ample);
        ASSERT_TRUE(result.IsOK()) << result.description();
        EXPECT_TRUE(operation_result.IsOK());
        ASSERT_EQ(retrieved, &buffers[id - 1]);
        EXPECT_EQ(retrieved->GetBlockID(), id);
        const Bytes expected = picture(64, id);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), retrieved->GetDataPointer()));
        EXPECT_EQ(stream.GetQueuedBufferCount(), 3 - id);
    }
}

TEST_F(RetrieveBuffer, WakesWhenABlockArrives)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    std::thread camera_thread([this] { send_image(1, picture(64, 1)); });
    EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, PvStreamBase::wait_forever).IsOK());
    EXPECT_EQ(retrieved, &buffer);
    camera_thread.join();
}

TEST_F(RetrieveBuffer, GivesUpABlockThatLacksPackets)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    const std::vector<Bytes> block = packets::image_block({.id = 9}, {}, picture(64, 1), 20, 1);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U}) {
        send(block[i]);
    }
    EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(operation_result.GetCode(), PvResult::MissingPackets);
    EXPECT_EQ(operation_result.description(), "block 9: 1 of 6 packets did not arrive");
    ASSERT_EQ(retrieved, &buffer);
    EXPECT_EQ(buffer.GetLostPacketCount(), 1U);
}

TEST_F(RetrieveBuffer, ATimeoutTellsThatBlocksCameForWhichNoBufferWasQueued)
{
    std::atomic<bool> done{false};
    std::thread camera_thread([&] {
        for (std::uint64_t id = 1; !done; ++id) {
            send_image(id, picture(64, id));
            std::this_thread::sleep_for(2ms);
        }
    });
    const std::string_view reason = ": blocks arrived for which no buffer was queued";
    PvResult result;
    for (int i = 0; i < 50 && !result.description().ends_with(reason); ++i) {
        result = stream.RetrieveBuffer(&retrieved, &operation_result, 200);
        EXPECT_EQ(result.GetCode(), PvResult::Timeout);
        EXPECT_EQ(operation_result.GetCode(), PvResult::Timeout);
        EXPECT_EQ(retrieved, nullptr);
    }
    done = true;
    camera_thread.join();
    EXPECT_EQ(result.description(), "no block was completed within 200 ms" + std::string(reason));
}

TEST_F(RetrieveBuffer, HearsOnlyTheDevice)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    net::UdpSocket other = net::UdpSocket::open({Ipv4Address{camera.value + 1}, 0});
    for (const Bytes& packet : packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1)) {
        send(packet, &other);
    }
    await([&] { return stream.counters().of(stream::PacketFate::foreign) == 6; });
    const PvResult timeout = stream.RetrieveBuffer(&retrieved, &operation_result, 0);
    EXPECT_NE(timeout.description().find("other senders"), std::string_view::npos) << timeout.description();
    send_image(2, picture(64, 2));
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved->GetBlockID(), 2U);
    EXPECT_EQ(stream.counters().of(stream::PacketFate::foreign), 6U);
}

TEST_F(QueueBuffer, RefusesNullAndWhatIsQueuedAlready)
{
    EXPECT_EQ(stream.QueueBuffer(nullptr).GetCode(), PvResult::InvalidParameter);
    PvBuffer buffer;
    EXPECT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    EXPECT_EQ(stream.QueueBuffer(&buffer).GetCode(), PvResult::StateError);
    Stream other;
    ASSERT_TRUE(other.Open(camera_ip).IsOK());
    EXPECT_EQ(other.QueueBuffer(&buffer).GetCode(), PvResult::StateError);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
}

TEST_F(QueueBuffer, RefusesMoreThanTheMaximum)
{
    std::vector<std::unique_ptr<PvBuffer>> buffers;
    for (std::uint32_t i = 0; i < stream.GetQueuedBufferMaximum(); ++i) {
        buffers.push_back(std::make_unique<PvBuffer>());
        ASSERT_TRUE(stream.QueueBuffer(buffers.back().get()).IsOK());
    }
    PvBuffer one_more;
    EXPECT_EQ(stream.QueueBuffer(&one_more).GetCode(), PvResult::ErrOverflow);
    EXPECT_EQ(stream.GetQueuedBufferCount(), stream.GetQueuedBufferMaximum());
}

TEST(ClosedStream, RefusesToWork)
{
    Stream stream;
    PvBuffer buffer;
    PvBuffer* retrieved = &buffer;
    PvResult operation_result;
    EXPECT_EQ(stream.QueueBuffer(&buffer).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, ample).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(operation_result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(retrieved, nullptr);
    EXPECT_EQ(stream.AbortQueuedBuffers().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(stream.FlushPacketQueue().GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(stream.Close().IsOK());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
}

TEST_F(QueueBuffer, LosesBuffersThatAreDestroyed)
{
    auto first = std::make_unique<PvBuffer>();
    PvBuffer second;
    ASSERT_TRUE(stream.QueueBuffer(first.get()).IsOK());
    ASSERT_TRUE(stream.QueueBuffer(&second).IsOK());
    first.reset();
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
    send_image(1, picture(64, 1));
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &second);
}

TEST_F(QueueBuffer, SurvivesTheDestructionOfABufferThatIsBeingFilled)
{
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    auto buffer = std::make_unique<PvBuffer>();
    ASSERT_TRUE(stream.QueueBuffer(buffer.get()).IsOK());
    send(block[0]);
    send(block[1]);
    await([&] { return stream.counters().stored_bytes == 20; });
    buffer.reset();
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    for (std::size_t i = 2; i < block.size(); ++i) {
        send(block[i]);
    }
    PvBuffer next;
    ASSERT_TRUE(stream.QueueBuffer(&next).IsOK());
    send_image(2, picture(64, 2));
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &next);
    EXPECT_EQ(next.GetBlockID(), 2U);
}

TEST_F(AbortQueuedBuffers, HandsBackAllBuffersAsAborted)
{
    PvBuffer buffers[3];
    for (PvBuffer& buffer : buffers) {
        ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    }
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    send(block[0]);
    send(block[1]);
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 3U);
    for (PvBuffer& buffer : buffers) {
        ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, 0).IsOK());
        EXPECT_EQ(operation_result.GetCode(), PvResult::Aborted);
        EXPECT_EQ(retrieved, &buffer);
        EXPECT_EQ(retrieved->GetOperationResult().GetCode(), PvResult::Aborted);
    }
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    // and the buffers can be used again
    EXPECT_TRUE(stream.QueueBuffer(&buffers[0]).IsOK());
}

TEST_F(AbortQueuedBuffers, LeavesThePayloadTypeOfABufferThatWasNotFilled)
{
    PvBuffer buffer(PvPayloadTypeRawData);
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, 0).IsOK());
    EXPECT_EQ(retrieved->GetPayloadType(), PvPayloadTypeRawData);
    EXPECT_NE(retrieved->GetRawData(), nullptr);
}

TEST_F(AbortQueuedBuffers, LetsTheClientDeleteTheBuffersUnretrieved)
{
    auto buffer = std::make_unique<PvBuffer>();
    ASSERT_TRUE(stream.QueueBuffer(buffer.get()).IsOK());
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    buffer.reset();
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 0).GetCode(), PvResult::Timeout);
}

TEST_F(AbortQueuedBuffers, EndsAWaitingRetrieval)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    std::thread aborter([this] {
        std::this_thread::sleep_for(20ms);
        stream.AbortQueuedBuffers();
    });
    EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, PvStreamBase::wait_forever).IsOK());
    EXPECT_EQ(operation_result.GetCode(), PvResult::Aborted);
    EXPECT_EQ(retrieved, &buffer);
    aborter.join();
}

TEST_F(FlushPacketQueue, ForgetsBlocksInFlightAndKeepsTheirBuffersQueued)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    send(block[0]);
    send(block[1]);
    ASSERT_TRUE(stream.FlushPacketQueue().IsOK());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
    send_image(1, picture(64, 3));
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_TRUE(operation_result.IsOK()) << operation_result.description();
    const Bytes expected = picture(64, 3);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), retrieved->GetDataPointer()));
}

TEST_F(FlushPacketQueue, LeavesTheBufferOfABlockInFlightFirstInTheQueue)
{
    PvBuffer first;
    PvBuffer second;
    ASSERT_TRUE(stream.QueueBuffer(&first).IsOK());
    ASSERT_TRUE(stream.QueueBuffer(&second).IsOK());
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    send(block[0]);
    send(block[1]);
    await([&] { return stream.counters().stored_bytes == 20; });
    ASSERT_TRUE(stream.FlushPacketQueue().IsOK());
    for (const PvBuffer* expected : {&first, &second}) {
        send_image(1, picture(64, 1));
        ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
        EXPECT_EQ(retrieved, expected);
        ASSERT_TRUE(stream.FlushPacketQueue().IsOK());
    }
}

TEST_F(FlushPacketQueue, ReturnsWhileADeviceKeepsSending)
{
    std::atomic<bool> done{false};
    std::thread camera_thread([&] {
        for (std::uint64_t id = 1; !done; id = id % 60000 + 1) {
            send_image(id, picture(64, id));
        }
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(stream.FlushPacketQueue().IsOK());
    }
    done = true;
    camera_thread.join();
}

TEST_F(Close, GivesBuffersBack)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    EXPECT_TRUE(stream.Close().IsOK());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    EXPECT_EQ(buffer.GetOperationResult().GetCode(), PvResult::Aborted);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 0).GetCode(), PvResult::NotConnected);
    ASSERT_TRUE(stream.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
    EXPECT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    send_image(1, picture(64, 1));
    EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
}

TEST_F(Close, EndsWaitingRetrievals)
{
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    std::array<PvResult, 3> results;
    for (PvResult& result : results) {
        threads.emplace_back([&] {
            PvBuffer* none = nullptr;
            PvResult operation;
            ++waiting;
            result = stream.RetrieveBuffer(&none, &operation, PvStreamBase::wait_forever);
        });
    }
    await([&] { return waiting == 3; });
    stream.Close();
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const PvResult& result : results) {
        EXPECT_EQ(result.GetCode(), PvResult::NotConnected);
    }
}

TEST(Destructor, NeverHangsAndLetsGoOfBuffers)
{
    PvBuffer buffer;
    for (int i = 0; i < 20; ++i) {
        Stream stream;
        ASSERT_TRUE(stream.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
        ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    }
}

TEST(Destructor, EndsAStreamThatReceives)
{
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    std::atomic<std::uint16_t> port{0};
    std::atomic<bool> done{false};
    std::thread camera_thread([&] {
        for (std::uint64_t id = 1; !done; id = id % 60000 + 1) {
            for (const Bytes& packet : packets::image_block({.id = id}, {}, picture(64, id), 20, id)) {
                if (port != 0) {
                    sender.send_to({host, port}, packet);
                }
            }
        }
    });
    for (int i = 0; i < 10; ++i) {
        std::array<PvBuffer, 4> buffers;
        Stream stream;
        EXPECT_TRUE(stream.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
        for (PvBuffer& buffer : buffers) {
            EXPECT_TRUE(stream.QueueBuffer(&buffer).IsOK());
        }
        port = stream.GetLocalPort();
        PvBuffer* retrieved = nullptr;
        PvResult operation_result;
        EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    }
    done = true;
    camera_thread.join();
}

/// Every public call from several threads at once, while a device sends: nothing may hang, and the thread sanitizer
/// must stay silent.
TEST_F(Streaming, EndureManyThreads)
{
    std::atomic<bool> done{false};
    std::array<PvBuffer, 8> buffers;
    const std::uint16_t port = stream.GetLocalPort();
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (std::uint64_t id = 1; !done; id = id % 60000 + 1) {
            for (const Bytes& packet : packets::image_block({.id = id}, {}, picture(64, id), 20, id)) {
                sender.send_to({host, port}, packet);
            }
        }
    });
    std::atomic<int> received{0};
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                PvBuffer* buffer = nullptr;
                PvResult operation;
                if (stream.RetrieveBuffer(&buffer, &operation, 10).IsOK()) {
                    ++received;
                    stream.QueueBuffer(buffer);
                }
            }
        });
    }
    threads.emplace_back([&] {
        while (!done) {
            stream.AbortQueuedBuffers();
            stream.FlushPacketQueue();
            static_cast<void>(stream.GetQueuedBufferCount());
            static_cast<void>(stream.GetLocalIPAddress());
            // a slow machine must still get somewhere between two of these
            for (const int before = received; !done && received == before;) {
                std::this_thread::sleep_for(1ms);
            }
        }
    });
    for (PvBuffer& buffer : buffers) {
        stream.QueueBuffer(&buffer);
    }
    await([&] { return received >= 50; });
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(received, 50);
    stream.Close();
}

TEST(Multicast, ReceivesFromTheGroup)
{
    constexpr Ipv4Address group{0xEFC0282AU};  // 239.192.40.42
    Stream stream;
    EXPECT_EQ(stream.Open(camera_ip, "192.168.1.1", 5000, 0, "127.0.0.1").GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(stream.Open(camera_ip, "239.192.40.42", 0, 0, "127.0.0.1").GetCode(), PvResult::InvalidParameter);
    // a port of the system's choice that is free at this moment
    const std::uint16_t port = net::UdpSocket::open({any_address, 0}).local().port;
    const PvResult opened = stream.Open(camera_ip, "239.192.40.42", port, 0, "127.0.0.1");
    ASSERT_TRUE(opened.IsOK()) << opened.description();
    EXPECT_EQ(stream.GetMulticastIPAddress(), "239.192.40.42");
    EXPECT_EQ(stream.GetLocalPort(), port);
    EXPECT_EQ(stream.GetLocalIPAddress(), "127.0.0.1");
    Stream monitor;
    ASSERT_TRUE(monitor.Open(camera_ip, "239.192.40.42", port, 0, "127.0.0.1").IsOK());

    PvBuffer buffers[2];
    ASSERT_TRUE(stream.QueueBuffer(&buffers[0]).IsOK());
    ASSERT_TRUE(monitor.QueueBuffer(&buffers[1]).IsOK());
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    ASSERT_FALSE(sender.set_multicast_interface(host, 1));
    for (const Bytes& packet : packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1)) {
        ASSERT_FALSE(sender.send_to({group, port}, packet));
    }
    PvBuffer* retrieved = nullptr;
    PvResult operation_result;
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &buffers[0]);
    ASSERT_TRUE(monitor.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &buffers[1]);
}

TEST(IsDriverInstalled, TellsThatThereIsNone)
{
    bool installed = true;
    EXPECT_TRUE(PvStreamBase::IsDriverInstalled(camera_ip, installed).IsOK());
    EXPECT_FALSE(installed);
    EXPECT_EQ(PvStreamBase::IsDriverInstalled("camera", installed).GetCode(), PvResult::InvalidParameter);
}

}  // namespace
