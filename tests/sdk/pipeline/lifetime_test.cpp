// Streams and pipelines that stop, close and go in any order, on any thread.
#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "tests/sdk/pipeline/pipeline_fixture.h"

namespace {

using namespace pipeline_test;

class PipelineLifetime : public Pipelining {
protected:
    /// Runs `work` while another thread waits for a block, and gives what that wait ended with.
    template <typename Work>
    PvResult::Code ended_by(Work work)
    {
        std::atomic<bool> waiting{false};
        PvResult::Code ended = PvResult::OK;
        std::thread waiter([&] {
            PvBuffer* buffer = nullptr;
            PvResult operation;
            waiting = true;
            ended = pipeline.RetrieveNextBuffer(&buffer, PvPipeline::wait_forever, &operation).GetCode();
        });
        await([&] { return waiting.load(); });
        work();
        waiter.join();
        return ended;
    }
};

TEST_F(PipelineLifetime, StopEndsAWait)
{
    start();
    EXPECT_EQ(ended_by([&] { EXPECT_TRUE(pipeline.Stop().IsOK()); }), PvResult::StateError);
}

TEST_F(PipelineLifetime, AClosedStreamEndsTheRunAtOnceAndAWaitWithIt)
{
    start();
    const PvResult::Code ended = ended_by([&] {
        EXPECT_TRUE(stream.Close().IsOK());
        EXPECT_FALSE(pipeline.IsStarted());
    });
    EXPECT_EQ(ended, PvResult::NotConnected);
    EXPECT_EQ(next(0), PvResult::NotConnected);
    EXPECT_FALSE(operation_result.description().empty());
    EXPECT_EQ(pipeline.Start().GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(pipeline.Stop().IsOK());
    EXPECT_EQ(next(0), PvResult::StateError);
}

TEST_F(PipelineLifetime, StartsAgainOnAStreamThatWasOpenedAgain)
{
    for (int round = 0; round < 3; ++round) {
        start(2);
        send_block(1);
        ASSERT_EQ(next(), PvResult::OK);
        ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
        ASSERT_TRUE(stream.Close().IsOK());
        ASSERT_TRUE(stream.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
        EXPECT_FALSE(pipeline.IsStarted());
        EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    }
}

TEST_F(PipelineLifetime, LeavesAReopenedStreamToOthers)
{
    start(2);
    ASSERT_TRUE(stream.Close().IsOK());
    ASSERT_TRUE(stream.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    ASSERT_TRUE(pipeline.Stop().IsOK());  // of the run on the earlier opening
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
    send_block(1);
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &buffer);
}

TEST_F(PipelineLifetime, BlocksInTheOutputQueueOutliveTheStream)
{
    start(3);
    send_blocks(1, 2);
    ASSERT_TRUE(stream.Close().IsOK());
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 1U);
    EXPECT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(next(0), PvResult::NotConnected);
}

TEST_F(PipelineLifetime, AnOverflowOfTheOutputQueueIsHarmlessWhenTheStreamIsClosed)
{
    start(3);
    send_blocks(1, 3);
    ASSERT_TRUE(stream.Close().IsOK());
    EXPECT_TRUE(pipeline.SetOutputQueueMaxSize(1).IsOK());
    EXPECT_EQ(pipeline.GetBlocksDropped(), 2U);
    EXPECT_TRUE(pipeline.SetBufferCount(1).IsOK());
}

/// With a stream that can go.
class MortalStream : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(stream->Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
        pipeline->SetBufferSize(image_bytes);
        ASSERT_TRUE(pipeline->SetBufferCount(3).IsOK());
    }
    void send_block(std::uint64_t id)
    {
        for (const auto& packet : packets::image_block({.id = id}, {}, packets::Bytes(image_bytes, 1), 20, id)) {
            static_cast<void>(sender.send_to({host, port}, packet));
        }
    }

    std::unique_ptr<Stream> stream = std::make_unique<Stream>();
    std::optional<PvPipeline> pipeline{stream.get()};
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    std::uint16_t port = 0;
    PvBuffer* buffer = nullptr;
    PvResult operation;
};

TEST_F(MortalStream, MayGoBeforeAPipelineThatNeverStarted)
{
    stream.reset();
    EXPECT_EQ(pipeline->Start().GetCode(), PvResult::NotConnected);
    EXPECT_FALSE(pipeline->IsStarted());
    EXPECT_TRUE(pipeline->Stop().IsOK());
}

TEST_F(MortalStream, MayGoBeforeAPipelineThatRuns)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    stream.reset();
    EXPECT_FALSE(pipeline->IsStarted());
    EXPECT_EQ(pipeline->RetrieveNextBuffer(&buffer, ample, &operation).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(pipeline->Start().GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(pipeline->Reset().IsOK());
}

TEST_F(MortalStream, MayGoWithoutAnythingBeingAskedOfThePipelineAfterwards)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    stream.reset();
    pipeline.reset();
}

TEST_F(MortalStream, MayGoBeforeABufferComesBackFromTheClient)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    port = stream->GetLocalPort();
    send_block(1);
    ASSERT_EQ(pipeline->RetrieveNextBuffer(&buffer, ample, &operation).GetCode(), PvResult::OK);
    stream.reset();
    EXPECT_EQ(buffer->GetBlockID(), 1U);
    EXPECT_TRUE(pipeline->ReleaseBuffer(buffer).IsOK());
}

TEST_F(MortalStream, GetsItsBuffersTakenAwayByAPipelineThatGoes)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    ASSERT_EQ(stream->GetQueuedBufferCount(), 3U);
    pipeline.reset();
    EXPECT_EQ(stream->GetQueuedBufferCount(), 0U);
    PvBuffer own;
    EXPECT_TRUE(stream->QueueBuffer(&own).IsOK());
}

/// Blocks keep coming while everything is started, stopped, closed and destroyed by several threads at once.
TEST_F(MortalStream, MayGoWhileThreadsUseThePipelineAndBlocksArrive)
{
    for (int round = 0; round < 6; ++round) {
        if (stream == nullptr) {
            pipeline.reset();
            stream = std::make_unique<Stream>();
            ASSERT_TRUE(stream->Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
            pipeline.emplace(stream.get());
            pipeline->SetBufferSize(image_bytes);
            ASSERT_TRUE(pipeline->SetBufferCount(3).IsOK());
        }
        ASSERT_TRUE(pipeline->Start().IsOK());
        port = stream->GetLocalPort();
        std::atomic<bool> over{false};
        std::atomic<int> retrieved{0};
        std::atomic<std::uint32_t> sent{0};
        std::thread consumer([&] {
            while (!over) {
                PvBuffer* got = nullptr;
                PvResult result;
                if (pipeline->RetrieveNextBuffer(&got, 5, &result).IsOK()) {
                    ++retrieved;
                    EXPECT_TRUE(pipeline->ReleaseBuffer(got).IsOK());
                }
            }
        });
        std::thread controller([&] {
            for (std::uint32_t i = 0; !over; ++i) {
                while (sent <= i && !over) {
                    std::this_thread::yield();
                }
                EXPECT_TRUE(pipeline->SetBufferCount(2 + i % 4).IsOK());
                pipeline->SetBufferSize(image_bytes + i % 3);
                EXPECT_TRUE(pipeline->SetOutputQueueMaxSize(1 + i % 3).IsOK());
                if (i % 5 == 4) {
                    EXPECT_TRUE(pipeline->Stop().IsOK());
                    static_cast<void>(pipeline->Start());
                }
                static_cast<void>(pipeline->IsStarted());
            }
        });
        await([&] {
            send_block(++sent);
            return retrieved >= 5;
        });
        EXPECT_GE(retrieved, 5);
        if (round % 2 == 0) {
            stream.reset();
        } else {
            EXPECT_TRUE(stream->Close().IsOK());
            EXPECT_TRUE(stream->Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
        }
        over = true;
        consumer.join();
        controller.join();
        EXPECT_TRUE(pipeline->Stop().IsOK());
    }
}

}  // namespace
