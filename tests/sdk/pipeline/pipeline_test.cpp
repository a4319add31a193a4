// What a pipeline does with its buffers.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/sdk/pipeline/pipeline_fixture.h"

namespace {

using namespace pipeline_test;

class Pipeline : public Pipelining {};

TEST_F(Pipeline, BeginsStoppedAndEmpty)
{
    const PvPipeline fresh(&stream);
    EXPECT_EQ(fresh.GetBufferSize(), 1U << 20);
    EXPECT_EQ(fresh.GetBufferCount(), 16U);
    EXPECT_EQ(fresh.GetOutputQueueSize(), 0U);
    EXPECT_EQ(fresh.GetOutputQueueMaxSize(), stream.GetQueuedBufferMaximum());
    EXPECT_FALSE(fresh.IsStarted());
    EXPECT_EQ(fresh.GetBlocksDropped(), 0U);
}

TEST_F(Pipeline, QueuesItsBuffersWhenItStartsAndTakesThemBackWhenItStops)
{
    start(4);
    EXPECT_TRUE(pipeline.IsStarted());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 4U);
    EXPECT_TRUE(pipeline.Stop().IsOK());
    EXPECT_FALSE(pipeline.IsStarted());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    EXPECT_TRUE(pipeline.Stop().IsOK());
}

TEST_F(Pipeline, HandsOutEveryBlockInOrderRoundAfterRound)
{
    start(3);
    std::set<PvBuffer*> seen;
    for (std::uint64_t id = 1; id <= 20; ++id) {
        send_block(id);
        ASSERT_EQ(next(), PvResult::OK);
        EXPECT_TRUE(operation_result.IsOK());
        ASSERT_EQ(retrieved->GetBlockID(), id);
        EXPECT_EQ(retrieved->GetSize(), image_bytes);
        EXPECT_EQ(retrieved->GetDataPointer()[image_bytes - 1], id);
        seen.insert(retrieved);
        ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    }
    EXPECT_EQ(seen.size(), 3U);
    EXPECT_EQ(pipeline.GetBlocksDropped(), 0U);
}

TEST_F(Pipeline, KeepsWaitingBlocksInTheirOrder)
{
    start(4);
    send_blocks(1, 4);
    EXPECT_EQ(pipeline.GetOutputQueueSize(), 4U);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    for (std::uint64_t id = 1; id <= 4; ++id) {
        ASSERT_EQ(next(0), PvResult::OK);
        EXPECT_EQ(retrieved->GetBlockID(), id);
    }
}

TEST_F(Pipeline, WithAShortOutputQueueKeepsTheLatestBlocksAndCountsTheOthers)
{
    ASSERT_TRUE(pipeline.SetOutputQueueMaxSize(2).IsOK());
    start(4);
    send_blocks(1, 7);
    EXPECT_EQ(pipeline.GetOutputQueueSize(), 2U);
    EXPECT_EQ(pipeline.GetBlocksDropped(), 5U);
    EXPECT_EQ(stream.pipeline_blocks_dropped(), 5U);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 2U);  // what was dropped is filled again
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 6U);
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 7U);
    EXPECT_TRUE(pipeline.Reset().IsOK());
    EXPECT_EQ(pipeline.GetBlocksDropped(), 0U);
    EXPECT_EQ(stream.pipeline_blocks_dropped(), 5U);  // the stream's own count
}

TEST_F(Pipeline, DropsTheOldestAtOnceWhenItsOutputQueueIsMadeShorter)
{
    start(4);
    send_blocks(1, 3);
    EXPECT_TRUE(pipeline.SetOutputQueueMaxSize(1).IsOK());
    EXPECT_EQ(pipeline.GetOutputQueueMaxSize(), 1U);
    EXPECT_EQ(pipeline.GetBlocksDropped(), 2U);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 3U);
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 3U);
}

TEST_F(Pipeline, GivesABufferThatDidNotFitTheSizeItNeedsInTheNextRound)
{
    pipeline.SetBufferSize(0);
    start(2);
    std::vector<std::uint8_t> memory(10);
    send_block(1);
    ASSERT_EQ(next(), PvResult::OK);
    // memory that the stream may not replace
    ASSERT_TRUE(retrieved->Attach(memory.data(), 10).IsOK());
    pipeline.SetBufferSize(10);
    ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    send_block(2);
    ASSERT_EQ(next(), PvResult::OK);
    ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    send_block(3);
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(operation_result.GetCode(), PvResult::BufferTooSmall);
    EXPECT_EQ(retrieved->GetSize(), 10U);
    EXPECT_GE(pipeline.GetBufferSize(), image_bytes);
    ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    for (std::uint64_t id = 4; id <= 7; ++id) {
        send_block(id);
        ASSERT_EQ(next(), PvResult::OK);
        EXPECT_TRUE(operation_result.IsOK()) << "block " << id;
        EXPECT_EQ(retrieved->GetBlockID(), id);
        ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    }
}

TEST_F(Pipeline, LearnsASizeThatTheStreamMadeRoomFor)
{
    start(2);
    for (const packets::Bytes& packet :
         packets::image_block({.id = 1}, {.width = 16, .height = 16}, packets::Bytes(256, 7), 64, 1)) {
        send(packet);
    }
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_TRUE(operation_result.IsOK());
    EXPECT_EQ(pipeline.GetBufferSize(), 256U);
    PvBuffer* const large = retrieved;
    ASSERT_TRUE(pipeline.Stop().IsOK());
    ASSERT_TRUE(pipeline.ReleaseBuffer(large).IsOK());
    start(2);
    // small blocks do not make it forget
    send_block(2);
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(retrieved->GetSize(), 256U);
    EXPECT_EQ(pipeline.GetBufferSize(), 256U);
}

TEST_F(Pipeline, TakesAnotherSizeWhileItRuns)
{
    start(2);
    pipeline.SetBufferSize(1000);
    EXPECT_EQ(pipeline.GetBufferSize(), 1000U);
    for (std::uint64_t id = 1; id <= 4; ++id) {
        send_block(id);
        ASSERT_EQ(next(), PvResult::OK);
        EXPECT_EQ(retrieved->GetSize(), id <= 2 ? image_bytes : 1000U) << "block " << id;
        ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    }
}

TEST_F(Pipeline, TakesAnotherCountWhileItRuns)
{
    start(2);
    ASSERT_TRUE(pipeline.SetBufferCount(5).IsOK());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 5U);
    ASSERT_TRUE(pipeline.SetBufferCount(1).IsOK());
    EXPECT_EQ(pipeline.GetBufferCount(), 1U);
    // what is queued is filled, and goes when it comes back
    send_blocks(1, 5);
    for (std::uint32_t left = 4; left >= 1; --left) {
        ASSERT_EQ(next(0), PvResult::OK);
        ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
        EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
    }
    ASSERT_EQ(next(0), PvResult::OK);
    ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
}

TEST_F(Pipeline, RefusesCountsOutsideItsRangeInWords)
{
    const std::uint32_t most = stream.GetQueuedBufferMaximum();
    for (const std::uint32_t count : {0U, most + 1, 0xFFFFFFFFU}) {
        const PvResult buffers = pipeline.SetBufferCount(count);
        EXPECT_EQ(buffers.GetCode(), PvResult::InvalidParameter);
        EXPECT_NE(buffers.description().find(std::to_string(most)), std::string_view::npos) << buffers.description();
        const PvResult output = pipeline.SetOutputQueueMaxSize(count);
        EXPECT_EQ(output.GetCode(), PvResult::InvalidParameter);
        EXPECT_NE(output.description().find(std::to_string(most)), std::string_view::npos) << output.description();
    }
    EXPECT_EQ(pipeline.GetBufferCount(), 16U);
    EXPECT_EQ(pipeline.GetOutputQueueMaxSize(), most);
    EXPECT_TRUE(pipeline.SetBufferCount(most).IsOK());
    EXPECT_TRUE(pipeline.SetBufferCount(1).IsOK());
}

TEST_F(Pipeline, RefusesBuffersThatAreNotWithItsClient)
{
    start(2);
    send_block(1);
    ASSERT_EQ(next(), PvResult::OK);
    PvBuffer foreign;
    EXPECT_EQ(pipeline.ReleaseBuffer(nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(pipeline.ReleaseBuffer(&foreign).GetCode(), PvResult::InvalidParameter);
    ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    const PvResult twice = pipeline.ReleaseBuffer(retrieved);
    EXPECT_EQ(twice.GetCode(), PvResult::StateError);
    EXPECT_FALSE(twice.description().empty());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 2U);
    ASSERT_TRUE(pipeline.Stop().IsOK());
    EXPECT_EQ(pipeline.ReleaseBuffer(retrieved).GetCode(), PvResult::StateError);
}

TEST_F(Pipeline, RefusesABufferThatItsClientQueuedElsewhere)
{
    start(2);
    send_block(1);
    ASSERT_EQ(next(), PvResult::OK);
    PvBuffer* const buffer = retrieved;
    Stream other;
    ASSERT_TRUE(other.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
    ASSERT_TRUE(other.QueueBuffer(buffer).IsOK());
    EXPECT_EQ(pipeline.ReleaseBuffer(buffer).GetCode(), PvResult::StateError);
    ASSERT_TRUE(other.AbortQueuedBuffers().IsOK());
    ASSERT_TRUE(other.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_TRUE(pipeline.ReleaseBuffer(buffer).IsOK());
}

TEST_F(Pipeline, TimesOutWithNoBufferAndTellsWhenTheClientHasThemAll)
{
    start(1);
    retrieved = reinterpret_cast<PvBuffer*>(1);
    EXPECT_EQ(next(0), PvResult::Timeout);
    EXPECT_EQ(retrieved, nullptr);
    EXPECT_EQ(operation_result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(operation_result.description().find("client"), std::string_view::npos);
    send_block(1);
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(next(0), PvResult::Timeout);
    EXPECT_NE(operation_result.description().find("all 1 buffers are with the client"), std::string_view::npos);
    EXPECT_EQ(pipeline.RetrieveNextBuffer(nullptr, 0, &operation_result).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(pipeline.RetrieveNextBuffer(&retrieved, 0, nullptr).GetCode(), PvResult::InvalidParameter);
}

TEST_F(Pipeline, ATimeoutTellsWhatTheStreamKnows)
{
    start(2);
    const std::string way = camera_ip.str() + " to 127.0.0.1, port " + std::to_string(stream.GetLocalPort());
    ASSERT_EQ(next(0), PvResult::Timeout);
    EXPECT_EQ(operation_result.description(),
              "No block was completed within 0 ms: no packet has ever come from " + way);
    send(packets::Bytes(5));
    await([&] { return stream.counters().of(stream::PacketFate::malformed) == 1; });
    ASSERT_EQ(next(0), PvResult::Timeout);
    EXPECT_EQ(operation_result.description(),
              "No block was completed within 0 ms: what has come from " + way + " is not a stream");
    send(packets::image_leader({.id = 1}, {}, 1));
    await([&] { return stream.counters().blocks_begun == 1; });
    ASSERT_EQ(next(0), PvResult::Timeout);
    EXPECT_EQ(operation_result.description(),
              "No block was completed within 0 ms: packets have come, but no block has ended");
}

TEST_F(Pipeline, ATimeoutTellsThatBlocksCameForWhichNoBufferWasQueued)
{
    ASSERT_TRUE(pipeline.SetBufferCount(2).IsOK());
    stream.set(&stream::StreamSettings::maximum_pre_queued_buffers, 1);
    ASSERT_TRUE(pipeline.Start().IsOK());
    send_block(1);
    ASSERT_EQ(next(), PvResult::OK);  // and the other one waits beside the stream
    std::atomic<bool> done{false};
    std::thread camera_thread([&] {
        for (std::uint64_t id = 2; !done; ++id) {
            send_block(id);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    const std::string_view reason = ": blocks arrived for which no buffer was queued";
    for (int i = 0; i < 50 && !operation_result.description().ends_with(reason); ++i) {
        EXPECT_EQ(next(200), PvResult::Timeout);
    }
    done = true;
    camera_thread.join();
    EXPECT_EQ(operation_result.description(), "No block was completed within 200 ms" + std::string(reason));
}

TEST_F(Pipeline, LetsBlocksThatHadArrivedBeRetrievedAfterItStopped)
{
    start(4);
    send_blocks(1, 2);
    ASSERT_TRUE(pipeline.Stop().IsOK());
    EXPECT_EQ(pipeline.GetOutputQueueSize(), 2U);
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 1U);
    EXPECT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 2U);
    EXPECT_EQ(next(), PvResult::StateError);
    EXPECT_EQ(operation_result.GetCode(), PvResult::StateError);
    EXPECT_EQ(retrieved, nullptr);
}

TEST_F(Pipeline, BeginsANewRunWithAnEmptyOutputQueue)
{
    start(2);
    send_blocks(1, 1);
    ASSERT_TRUE(pipeline.Stop().IsOK());
    start(2);
    EXPECT_EQ(pipeline.GetOutputQueueSize(), 0U);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 2U);
    EXPECT_EQ(pipeline.GetBlocksDropped(), 0U);
    send_block(2);
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 2U);
}

TEST_F(Pipeline, ThrowsItsOutputQueueAwayOnReset)
{
    start(3);
    send_blocks(1, 2);
    EXPECT_TRUE(pipeline.Reset().IsOK());
    EXPECT_EQ(pipeline.GetOutputQueueSize(), 0U);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 3U);
    send_block(3);
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(retrieved->GetBlockID(), 3U);
}

TEST_F(Pipeline, FillsABufferAgainWhoseStreamWasAborted)
{
    start(3);
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    std::uint64_t id = 0;
    await([&] {
        send_block(++id);  // lost while the buffers are on their way back
        return pipeline.GetOutputQueueSize() == 3;
    });
    EXPECT_EQ(pipeline.GetOutputQueueSize(), 3U);
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_TRUE(operation_result.IsOK());
    EXPECT_EQ(retrieved->GetDataPointer()[0], retrieved->GetBlockID());
}

TEST_F(Pipeline, QueuesABufferAgainThatNoBlockBeganToFill)
{
    stream.set(&stream::StreamSettings::request_timeout_ms, 1);
    start(2);
    await([&] { return stream.requests_expired() >= 3; });
    stream.set(&stream::StreamSettings::request_timeout_ms, 0);
    std::uint64_t id = 0;
    await([&] {
        send_block(++id);  // lost while the buffers are on their way back
        return pipeline.GetOutputQueueSize() != 0;
    });
    ASSERT_EQ(next(0), PvResult::OK);
    EXPECT_EQ(operation_result.GetCode(), PvResult::OK);
    EXPECT_EQ(retrieved->GetDataPointer()[0], retrieved->GetBlockID());
}

/// A pool of one buffer with memory that the stream may not replace.
class PipelineWithTenBytes : public Pipeline {
protected:
    void SetUp() override
    {
        Pipeline::SetUp();
        start(1);
        send_block(1);
        ASSERT_EQ(next(), PvResult::OK);
        ASSERT_TRUE(retrieved->Attach(memory.data(), 10).IsOK());
        pipeline.SetBufferSize(10);
        ASSERT_TRUE(pipeline.ReleaseBuffer(retrieved).IsOK());
    }
    void TearDown() override { EXPECT_NE(retrieved->Detach(), nullptr); }

    std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(10);
};

TEST_F(PipelineWithTenBytes, OnTheWordOfALeaderGrowsToNoMoreThanAGigabyte)
{
    send(packets::image_leader({.id = 2}, {.width = 60'000, .height = 60'000}, 2));
    send(packets::payload({.id = 2}, 1, packets::Bytes(20)));
    send(packets::image_trailer({.id = 2}, 2, 60'000));
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(operation_result.GetCode(), PvResult::BufferTooSmall);
    EXPECT_EQ(pipeline.GetBufferSize(), 1U << 30);
}

TEST_F(PipelineWithTenBytes, DoublesForABlockThatDoesNotSayItsSize)
{
    send(packets::chunk_leader({.id = 2}, 2));
    send(packets::payload({.id = 2}, 1, packets::Bytes(64)));
    send(packets::chunk_trailer({.id = 2}, 2, 64));
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_EQ(operation_result.GetCode(), PvResult::BufferTooSmall);
    EXPECT_EQ(pipeline.GetBufferSize(), 20U);
}

TEST_F(Pipeline, HandsOutIncompleteBlocksWithTheirResult)
{
    start(2);
    const auto block = packets::image_block({.id = 1}, {}, packets::Bytes(image_bytes, 1), 20, 1);
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (i != 2) {
            send(block[i]);
        }
    }
    ASSERT_EQ(next(), PvResult::OK);
    EXPECT_FALSE(operation_result.IsOK());
    EXPECT_EQ(operation_result.GetCode(), retrieved->GetOperationResult().GetCode());
    EXPECT_EQ(retrieved->GetLostPacketCount(), 1U);
}

TEST_F(Pipeline, HasTheStreamToItselfWhileItRuns)
{
    PvBuffer buffer;
    start(2);
    PvPipeline second(&stream);
    const PvResult not_alone = second.Start();
    EXPECT_EQ(not_alone.GetCode(), PvResult::StateError);
    EXPECT_NE(not_alone.description().find("Another pipeline"), std::string_view::npos);
    EXPECT_FALSE(second.IsStarted());
    EXPECT_EQ(pipeline.Start().GetCode(), PvResult::StateError);
    const PvResult queued = stream.QueueBuffer(&buffer);
    EXPECT_EQ(queued.GetCode(), PvResult::StateError);
    EXPECT_NE(queued.description().find("pipeline"), std::string_view::npos);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 0).GetCode(), PvResult::StateError);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 2U);
    ASSERT_TRUE(pipeline.Stop().IsOK());
    EXPECT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    const PvResult refused = second.Start();
    EXPECT_EQ(refused.GetCode(), PvResult::StateError);
    EXPECT_NE(refused.description().find("1 buffers"), std::string_view::npos) << refused.description();
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_TRUE(second.Start().IsOK());
}

TEST_F(Pipeline, EndsARetrievalFromTheStreamThatWasWaitingWhenItStarts)
{
    PvResult::Code ended = PvResult::OK;
    std::atomic<bool> waiting{false};
    std::thread direct([&] {
        PvBuffer* buffer = nullptr;
        PvResult operation;
        waiting = true;
        ended = stream.RetrieveBuffer(&buffer, &operation, PvStreamBase::wait_forever).GetCode();
    });
    await([&] { return waiting.load(); });
    start(1);
    direct.join();
    EXPECT_EQ(ended, PvResult::StateError);
}

TEST(PipelineWithoutStream, RefusesToWork)
{
    PvPipeline none(nullptr);
    PvBuffer* buffer = nullptr;
    PvResult operation;
    EXPECT_EQ(none.Start().GetCode(), PvResult::NotConnected);
    EXPECT_FALSE(none.IsStarted());
    EXPECT_TRUE(none.Stop().IsOK());
    EXPECT_TRUE(none.Reset().IsOK());
    EXPECT_EQ(none.RetrieveNextBuffer(&buffer, ample, &operation).GetCode(), PvResult::StateError);
    Stream closed;
    PvPipeline pipeline(&closed);
    const PvResult refused = pipeline.Start();
    EXPECT_EQ(refused.GetCode(), PvResult::NotConnected);
    EXPECT_FALSE(refused.description().empty());
    EXPECT_FALSE(pipeline.IsStarted());
}

}  // namespace
