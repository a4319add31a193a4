// The buffers of a stream: queued, aborted, flushed, and handed back when the stream closes or ends.
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
#include "tests/sdk/stream_core/stream_fixture.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using packets::Bytes;
using packets::picture;
using stream_test::ample;
using stream_test::await;
using stream_test::camera;
using stream_test::camera_ip;
using stream_test::host;
using stream_test::Stream;
using stream_test::Streaming;

using QueueBuffer = Streaming;
using AbortQueuedBuffers = Streaming;
using FlushPacketQueue = Streaming;
using Close = Streaming;

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

}  // namespace
