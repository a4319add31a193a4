// What a raw stream counts: each counter by what produces it.
#include <string>

#include "sdk/pipeline/PvPipeline.h"
#include "tests/sdk/streamraw/raw_stream_fixture.h"

namespace {

using namespace raw_stream_test;

class Statistics : public RawStream {
protected:
    void SetUp() override
    {
        RawStream::SetUp();
        be_impatient();
    }
};

TEST_F(Statistics, AreAllZeroAtFirst)
{
    using Getter = std::uint32_t (PvStatistics::*)() const;
    for (const Getter getter :
         {&PvStatistics::GetImagesCount, &PvStatistics::GetBlocksCount, &PvStatistics::GetErrorCount,
          &PvStatistics::GetLostPacketCount, &PvStatistics::GetIgnoredPacketCount, &PvStatistics::GetResultTimeout,
          &PvStatistics::GetResultStateError, &PvStatistics::GetResultNotInitialized}) {
        EXPECT_EQ((statistics.*getter)(), 0U);
    }
    EXPECT_EQ(statistics.GetBytesCount(), 0U);
    EXPECT_TRUE(statistics.GetLastError().IsOK());
}

TEST_F(Statistics, CountBlocksImagesAndTheirBytes)
{
    queue(2);
    send(image(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    const Bytes data = packets::picture(24, 2);
    send(packets::raw_leader({.id = 2}, data.size(), 0));
    send(packets::payload_packets({.id = 2}, data, stride));
    send(packets::raw_trailer({.id = 2}, 4));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetBlocksCount(), 2U);
    EXPECT_EQ(statistics.GetImagesCount(), 1U);
    EXPECT_EQ(statistics.GetBytesCount(), image_bytes + data.size());
    EXPECT_EQ(statistics.GetErrorCount(), 0U);
}

TEST_F(Statistics, CountWhatIsAskedForAndComes)
{
    queue(2);
    ASSERT_TRUE(stream.SetResendRequestTimeout(60'000).IsOK());
    send(without(image(1), 2));
    await([&] { return statistics.GetResendGroupRequested() == 1; });
    send(packet_of(1, 2, resent));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetResendGroupRequested(), 1U);
    EXPECT_EQ(statistics.GetResendPacketRequested(), 1U);
    EXPECT_EQ(statistics.GetExpectedResendCount(), 1U);
    EXPECT_EQ(statistics.GetExpectedSingleResend(), 1U);
    send(without(image(2), 2, 3));
    await([&] { return statistics.GetResendGroupRequested() == 2; });
    for (const std::uint32_t packet : {2U, 3U, 4U}) {
        send(packet_of(2, packet, resent));
    }
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetResendGroupRequested(), 2U);
    EXPECT_EQ(statistics.GetResendPacketRequested(), 4U);
    EXPECT_EQ(statistics.GetExpectedResendCount(), 4U);
    EXPECT_EQ(statistics.GetExpectedSingleResend(), 1U);
    EXPECT_EQ(statistics.GetUnexpectedResendCount(), 0U);
    EXPECT_EQ(statistics.GetLostPacketCount(), 0U);
}

TEST_F(Statistics, CountWhatComesAgainAndOutOfOrder)
{
    queue();
    ASSERT_TRUE(stream.SetResendDelay(1'000'000).IsOK());
    std::vector<Bytes> block = image(1);
    std::swap(block[4], block[5]);
    block.insert(block.begin() + 3, packet_of(1, 1));          // once more
    block.insert(block.begin() + 3, packet_of(1, 1, resent));  // and as if asked for
    send(block);
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetPacketOutOfOrder(), 1U);
    EXPECT_EQ(statistics.GetRedundantPacket(), 2U);
    EXPECT_EQ(statistics.GetIgnoredPacketCount(), 2U);
    EXPECT_EQ(statistics.GetUnexpectedResendCount(), 1U);
    EXPECT_EQ(statistics.GetExpectedResendCount(), 0U);
}

TEST_F(Statistics, CountLostPacketsAndTheBlocksThatLackThem)
{
    queue();
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    send(without(image(1), 2, 2));
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetLostPacketCount(), 2U);
    EXPECT_EQ(statistics.GetResultMissingPackets(), 1U);
    EXPECT_EQ(statistics.GetBlocksCount(), 1U);
    EXPECT_EQ(statistics.GetImagesCount(), 0U);
    EXPECT_EQ(statistics.GetErrorCount(), 1U);
}

TEST_F(Statistics, CountLinesThatAreMissingInPartAndWhole)
{
    queue(2);
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    const auto half_lines = [](std::uint64_t id) {
        return packets::image_block({.id = id}, {}, packets::picture(image_bytes, id), 4, 0);
    };
    send(without(half_lines(1), 3));
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetPartialLineMissing(), 1U);
    EXPECT_EQ(statistics.GetFullLineMissing(), 0U);
    send(without(half_lines(2), 3, 2));  // both halves of line 1
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetPartialLineMissing(), 1U);
    EXPECT_EQ(statistics.GetFullLineMissing(), 1U);
}

TEST_F(Statistics, CountImagesWhoseEndIsToldByTheirLines)
{
    queue(2);
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    send(image(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetEOFByLineCount(), 0U);
    send(without(image(2), last_packet + 1));  // the trailer
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetEOFByLineCount(), 1U);
}

TEST_F(Statistics, CountFields)
{
    queue(3);
    for (const int field : {0x02, 0x12, 0x12}) {  // the first of two; the second
        const std::uint64_t id = 1 + statistics.GetBlocksCount();
        std::vector<Bytes> block = image(id);
        block[0][8] = static_cast<std::uint8_t>(field);
        send(block);
        ASSERT_EQ(retrieve(), PvResult::OK);
    }
    EXPECT_EQ(statistics.GetInterlacedEven(), 1U);
    EXPECT_EQ(statistics.GetInterlacedOdd(), 2U);
}

TEST_F(Statistics, CountWhatTheDeviceAnswersInsteadOfPackets)
{
    queue(2);
    ASSERT_TRUE(stream.SetResendRequestTimeout(60'000).IsOK());
    send(without(image(1), 2));
    await([&] { return statistics.GetResendGroupRequested() != 0; });
    send(answer(1, 2, 0x800C));
    ASSERT_EQ(retrieve(), PvResult::ResendsFailure);
    EXPECT_EQ(statistics.GetPacketUnavaliable(), 1U);
    EXPECT_EQ(statistics.GetResultResendsFailure(), 1U);
    EXPECT_EQ(statistics.GetStatusUnknown(), 0U);
    EXPECT_EQ(statistics.GetStatusLocalProblem(), 0U);
    send(answer(2, 1, 0x8ABC));
    send(answer(2, 1, 0x8008));
    send(answer(2, 1, 0x8008));
    await([&] { return statistics.GetStatusLocalProblem() == 2; });
    EXPECT_EQ(statistics.GetStatusUnknown(), 1U);
    EXPECT_EQ(statistics.GetStatusLocalProblem(), 2U);
}

TEST_F(Statistics, CountBlockIdsThatWereSkipped)
{
    queue(2);
    send(image(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    send(image(5));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetBlockIDsMissing(), 3U);
}

TEST_F(Statistics, CountBlocksForWhichThereIsNoBuffer)
{
    send(image(1));
    send(packets::raw_leader({.id = 2}, 8, 0));
    send(packet_of(2, 1));
    send(packets::raw_trailer({.id = 2}, 2));
    send(image(3));
    await([&] { return statistics.GetBlocksDroppedCount() == 3; });
    EXPECT_EQ(statistics.GetBlocksDroppedCount(), 3U);
    EXPECT_EQ(statistics.GetImagesDroppedCount(), 2U);
    EXPECT_EQ(statistics.GetBlocksCount(), 0U);
    EXPECT_EQ(statistics.GetErrorCount(), 3U);
}

TEST_F(Statistics, CountBlocksThatTheDeviceSaysItDropped)
{
    queue();
    send(
        packets::image_block({.id = 7, .extended = true, .flags = 2}, {}, packets::picture(image_bytes, 7), stride, 0));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetBlocksDroppedCount(), 1U);
    EXPECT_EQ(statistics.GetImagesDroppedCount(), 0U);
}

TEST_F(Statistics, CountBlocksThatNobodyRetrieved)
{
    ASSERT_TRUE(stream.SetMaximumInternalRetrieveBuffers(1).IsOK());
    queue(3);
    for (std::uint64_t id = 1; id <= 3; ++id) {
        send(image(id));
    }
    await([&] { return statistics.GetBlocksDroppedCount() == 2; });
    EXPECT_EQ(statistics.GetBlocksDroppedCount(), 2U);
    EXPECT_EQ(statistics.GetBlocksCount(), 3U);
}

TEST_F(Statistics, StayAtTheLargestValueThatTheyHold)
{
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    queue(2);
    for (const std::uint64_t id : {1U, 2U}) {
        const packets::BlockForm block{.id = id, .extended = true};
        send(packets::image_leader(block, {}, 0));
        send(packets::payload(block, 1, packets::picture(stride, id)));
        send(packets::image_trailer(block, 0xC000'0000, 8));
        ASSERT_EQ(retrieve(), PvResult::MissingPackets);
        EXPECT_EQ(statistics.GetLostPacketCount(), id == 1 ? 0xC000'0000U - 2 : 0xFFFF'FFFFU);
    }
}

TEST_F(Statistics, CountBlocksThatAPipelineDrops)
{
    PvPipeline pipeline(&stream);
    ASSERT_TRUE(pipeline.SetOutputQueueMaxSize(1).IsOK());
    ASSERT_TRUE(pipeline.SetBufferCount(4).IsOK());
    ASSERT_TRUE(pipeline.Start().IsOK());
    for (std::uint64_t id = 1; id <= 3; ++id) {
        send(image(id));
        await([&] { return pipeline.GetOutputQueueSize() + pipeline.GetBlocksDropped() == id; });
    }
    EXPECT_EQ(statistics.GetPipelineBlocksDropped(), 2U);
    EXPECT_EQ(statistics.GetBlocksDroppedCount(), 0U);
    EXPECT_EQ(statistics.GetBlocksCount(), 3U);
    ASSERT_TRUE(stream.Close().IsOK());
    EXPECT_EQ(statistics.GetPipelineBlocksDropped(), 2U);
    open();
    EXPECT_EQ(statistics.GetPipelineBlocksDropped(), 0U);
}

TEST_F(Statistics, CountImagesOfWhichTheDeviceLostData)
{
    queue();
    std::vector<Bytes> block = image(1);
    block.back() = packets::image_trailer({.id = 1, .status = 0x800D}, last_packet + 1, 8);
    send(block);
    ASSERT_EQ(retrieve(), PvResult::ImageError);
    EXPECT_EQ(statistics.GetDataOverrunCount(), 1U);
    EXPECT_EQ(statistics.GetResultImageError(), 1U);
}

TEST_F(Statistics, CountBlocksThatDoNotFit)
{
    std::uint8_t memory[10];
    PvBuffer small;
    ASSERT_TRUE(small.Attach(memory, sizeof memory).IsOK());
    ASSERT_TRUE(stream.QueueBuffer(&small).IsOK());
    send(image(1));
    ASSERT_EQ(retrieve(), PvResult::BufferTooSmall);
    EXPECT_EQ(statistics.GetResultBufferTooSmall(), 1U);
}

TEST_F(Statistics, CountBlocksAskedForTooOften)
{
    queue();
    ASSERT_TRUE(stream.SetMaximumResendRequestRetryByPacket(1).IsOK());
    send(without(image(1), 2));
    ASSERT_EQ(retrieve(), PvResult::TooManyResends);
    EXPECT_EQ(statistics.GetResultTooManyResends(), 1U);
    EXPECT_EQ(statistics.GetResendGroupRequested(), 2U);
}

TEST_F(Statistics, CountBlocksThatLackTooMuchInARow)
{
    queue();
    ASSERT_TRUE(stream.SetMaximumPendingResends(1).IsOK());
    send(without(image(1), 2, 3));
    ASSERT_EQ(retrieve(), PvResult::TooManyConsecutiveResends);
    EXPECT_EQ(statistics.GetResultTooManyConsecutiveResends(), 1U);
}

TEST_F(Statistics, CountBlocksOfALayoutThatIsNotSupported)
{
    queue();
    send(packets::image_leader({.id = 1}, {}, 0));
    Bytes of_format_8 = packets::header({.id = 1}, 8, 1);
    of_format_8.resize(60);
    send(of_format_8);
    send(packets::image_trailer({.id = 1}, 2, 8));
    ASSERT_EQ(retrieve(), PvResult::InvalidDataFormat);
    EXPECT_EQ(statistics.GetResultInvalidDataFormat(), 1U);
}

TEST_F(Statistics, CountBlocksThatTheStreamAborts)
{
    ASSERT_TRUE(stream.SetPacketTimeout(60'000).IsOK());
    ASSERT_TRUE(stream.SetInterPacketTimeout(60'000).IsOK());
    ASSERT_TRUE(stream.SetAutoResetOnLackOfResources(1).IsOK());
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    queue();
    send(packets::image_leader({.id = 1}, {}, 0));
    send(packet_of(1, 1));
    send(packets::image_leader({.id = 2}, {}, 0));
    send(packet_of(2, 1));
    ASSERT_EQ(retrieve(), PvResult::AutoAborted);
    EXPECT_EQ(statistics.GetResultAutoAborted(), 1U);
    EXPECT_EQ(statistics.GetResultAborted(), 0U);
}

/// One block that is being received.
class HalfABlock : public Statistics {
protected:
    void SetUp() override
    {
        Statistics::SetUp();
        ASSERT_TRUE(stream.SetInterPacketTimeout(60'000).IsOK());
        queue();
        send(packets::image_leader({.id = 1}, {}, 0));
        send(packet_of(1, 1));
        await([&] { return statistics.GetBytesCount() == stride; });
    }
};

TEST_F(HalfABlock, CountsAsAbortedAndAsAnErrorWhereThatIsWanted)
{
    EXPECT_FALSE(statistics.GetAbortCountedAsError());
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    ASSERT_EQ(retrieve(), PvResult::Aborted);
    EXPECT_EQ(statistics.GetResultAborted(), 1U);
    EXPECT_EQ(statistics.GetErrorCount(), 0U);
    EXPECT_TRUE(statistics.GetLastError().IsOK());
    statistics.SetAbortCountedAsError(true);
    EXPECT_TRUE(statistics.GetAbortCountedAsError());
    EXPECT_EQ(statistics.GetErrorCount(), 1U);
    EXPECT_EQ(statistics.GetLastError().GetCode(), PvResult::Aborted);
}

TEST_F(Statistics, CountTimeoutsAndAsErrorsWhereThatIsWanted)
{
    EXPECT_FALSE(statistics.GetTimeoutCountedAsError());
    ASSERT_EQ(retrieve(0), PvResult::Timeout);
    const std::string text(operation.description());
    ASSERT_TRUE(stream.SetRequestTimeout(1).IsOK());
    queue();
    ASSERT_EQ(retrieve(), PvResult::Timeout);
    EXPECT_EQ(statistics.GetResultTimeout(), 2U);
    EXPECT_EQ(statistics.GetErrorCount(), 0U);
    EXPECT_TRUE(statistics.GetLastError().IsOK());
    statistics.SetTimeoutCountedAsError(true);
    EXPECT_EQ(statistics.GetErrorCount(), 2U);
    EXPECT_EQ(statistics.GetLastError().GetCode(), PvResult::Timeout);
    ASSERT_EQ(retrieve(0), PvResult::Timeout);
    EXPECT_EQ(statistics.GetLastError().description(), text);
}

TEST_F(Statistics, TellTheLatestErrorOfWhateverKind)
{
    statistics.SetTimeoutCountedAsError(true);
    statistics.SetAbortCountedAsError(true);
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    ASSERT_TRUE(stream.SetInterPacketTimeout(60'000).IsOK());
    std::uint64_t id = 0;
    const auto lose_a_packet = [&] {
        queue();
        send(without(image(++id), 2));
        ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    };
    const auto abort_a_block = [&] {
        queue();
        const std::uint64_t bytes = statistics.GetBytesCount();
        send(packets::image_leader({.id = ++id}, {}, 0));
        send(packet_of(id, 1));
        await([&] { return statistics.GetBytesCount() != bytes; });
        ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
        ASSERT_EQ(retrieve(), PvResult::Aborted);
    };
    const auto latest = [&] { return statistics.GetLastError().GetCode(); };
    abort_a_block();
    EXPECT_EQ(latest(), PvResult::Aborted);
    ASSERT_EQ(retrieve(0), PvResult::Timeout);
    EXPECT_EQ(latest(), PvResult::Timeout);
    lose_a_packet();
    EXPECT_EQ(latest(), PvResult::MissingPackets);
    ASSERT_EQ(retrieve(0), PvResult::Timeout);
    EXPECT_EQ(latest(), PvResult::Timeout);
    abort_a_block();
    EXPECT_EQ(latest(), PvResult::Aborted);
}

TEST_F(Statistics, CountCallsThatTheStateDoesNotAllow)
{
    queue();
    EXPECT_EQ(stream.QueueBuffer(buffers[0].get()).GetCode(), PvResult::StateError);
    EXPECT_EQ(statistics.GetResultStateError(), 1U);
    EXPECT_EQ(statistics.GetResultNotInitialized(), 0U);
    ASSERT_TRUE(stream.Close().IsOK());
    EXPECT_EQ(retrieve(0), PvResult::NotConnected);
    EXPECT_EQ(stream.QueueBuffer(buffers[0].get()).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(statistics.GetResultNotInitialized(), 2U);
    EXPECT_EQ(statistics.GetResultStateError(), 1U);
}

TEST_F(Statistics, KeepTheTextOfTheLatestError)
{
    queue(3);
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    send(without(image(1), 2));
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetLastError().GetCode(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetLastError().description(), operation.description());
    EXPECT_NE(operation.description().find("Block 1"), std::string_view::npos);
    send(without(image(2), 3));
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetLastError().description(), operation.description());
    send(image(3));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetLastError().GetCode(), PvResult::MissingPackets);
}

TEST_F(Statistics, AreResetButForTheirSettings)
{
    queue(2);
    statistics.SetTimeoutCountedAsError(true);
    statistics.SetAbortCountedAsError(true);
    statistics.SetTimestampSourcePreferred(PvTimestampSourceSoftware);
    ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    send(without(image(1), 2));
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    ASSERT_EQ(retrieve(0), PvResult::Timeout);
    EXPECT_EQ(stream.QueueBuffer(buffers[1].get()).GetCode(), PvResult::StateError);
    statistics.Reset();
    EXPECT_EQ(statistics.GetBlocksCount(), 0U);
    EXPECT_EQ(statistics.GetBytesCount(), 0U);
    EXPECT_EQ(statistics.GetErrorCount(), 0U);
    EXPECT_EQ(statistics.GetResultTimeout(), 0U);
    EXPECT_EQ(statistics.GetResultStateError(), 0U);
    EXPECT_EQ(statistics.GetLostPacketCount(), 0U);
    EXPECT_TRUE(statistics.GetLastError().IsOK());
    EXPECT_TRUE(statistics.GetTimeoutCountedAsError());
    EXPECT_TRUE(statistics.GetAbortCountedAsError());
    EXPECT_EQ(statistics.GetTimestampSourcePreferred(), PvTimestampSourceSoftware);
    send(image(2));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(statistics.GetBlocksCount(), 1U);
}

TEST_F(Statistics, StayWhenTheStreamClosesAndStartAnewWhenItOpens)
{
    queue();
    send(image(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    ASSERT_TRUE(stream.Close().IsOK());
    EXPECT_EQ(statistics.GetImagesCount(), 1U);
    EXPECT_EQ(statistics.GetBytesCount(), image_bytes);
    open();
    EXPECT_EQ(statistics.GetImagesCount(), 0U);
    EXPECT_EQ(statistics.GetResultNotInitialized(), 0U);
}

}  // namespace
