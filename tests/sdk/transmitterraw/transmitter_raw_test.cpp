#include "sdk/transmitterraw/PvTransmitterRaw.h"

#include <array>
#include <chrono>
#include <numeric>
#include <thread>

#include "sdk/buffer/PvBuffer.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/transmitterraw/packets.h"

namespace {

class TransmitterRaw : public testing::Test {
protected:
    PvResult open() { return transmitter.Open("127.0.0.1", host.port(), "127.0.0.1"); }

    static std::unique_ptr<PvBuffer> image_buffer(std::uint32_t width, std::uint32_t height)
    {
        auto buffer = std::make_unique<PvBuffer>(PvPayloadTypeImage);
        EXPECT_TRUE(buffer->GetImage()->Alloc(width, height, PvPixelMono8).IsOK());
        std::iota(buffer->GetDataPointer(), buffer->GetDataPointer() + buffer->GetSize(), std::uint8_t{3});
        return buffer;
    }

    static std::unique_ptr<PvBuffer> raw_buffer(std::uint32_t size)
    {
        auto buffer = std::make_unique<PvBuffer>(PvPayloadTypeRawData);
        EXPECT_TRUE(buffer->Alloc(size).IsOK());
        return buffer;
    }

    // Slow enough that a block is under way while a test looks: 2 Mbit/s make 250,000 bytes a second.
    void throttle() { ASSERT_TRUE(transmitter.SetMaxPayloadThroughput(2.0F).IsOK()); }

    HostSocket host;
    PvTransmitterRaw transmitter;
};

}  // namespace

TEST_F(TransmitterRaw, IsClosedAtFirst)
{
    EXPECT_FALSE(transmitter.IsOpen());
    EXPECT_TRUE(transmitter.GetDestinationIPAddress().empty());
    EXPECT_EQ(transmitter.GetDestinationPort(), 0);
    EXPECT_TRUE(transmitter.GetSourceIPAddress().empty());
    EXPECT_EQ(transmitter.GetSourcePort(), 0);
    EXPECT_EQ(transmitter.GetPacketSize(), 1440U);
    EXPECT_EQ(transmitter.GetMaxPayloadThroughput(), 0.0F);
    EXPECT_TRUE(transmitter.Close().IsOK());
}

TEST_F(TransmitterRaw, OpenTellsItsEndpointsAndCloseForgetsThem)
{
    ASSERT_TRUE(open().IsOK());
    EXPECT_TRUE(transmitter.IsOpen());
    EXPECT_EQ(transmitter.GetDestinationIPAddress(), PvString("127.0.0.1"));
    EXPECT_EQ(transmitter.GetDestinationPort(), host.port());
    EXPECT_EQ(transmitter.GetSourceIPAddress(), PvString("127.0.0.1"));
    EXPECT_NE(transmitter.GetSourcePort(), 0);
    EXPECT_EQ(open().GetCode(), PvResult::StateError);
    EXPECT_TRUE(transmitter.Close().IsOK());
    EXPECT_FALSE(transmitter.IsOpen());
    EXPECT_EQ(transmitter.GetSourcePort(), 0);
    EXPECT_TRUE(open().IsOK()) << "it can be opened again";
}

TEST_F(TransmitterRaw, AnEmptySourceIsTheOneThatReachesTheDestination)
{
    ASSERT_TRUE(transmitter.Open("127.0.0.1", host.port()).IsOK());
    EXPECT_EQ(transmitter.GetSourceIPAddress(), PvString("127.0.0.1"));
}

TEST_F(TransmitterRaw, OpenRefusesWhatIsNoAddress)
{
    EXPECT_EQ(transmitter.Open("nowhere", 5000).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.Open("0.0.0.0", 5000).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.Open("127.0.0.1", 0).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.Open("127.0.0.1", 5000, "here").GetCode(), PvResult::InvalidParameter);
    EXPECT_FALSE(transmitter.IsOpen());
}

TEST_F(TransmitterRaw, OpenFailsFromAnAddressThatTheHostDoesNotHave)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    EXPECT_EQ(transmitter.Open("127.0.0.1", 5000, "203.0.113.77").GetCode(), PvResult::NetworkError);
    EXPECT_FALSE(transmitter.IsOpen());
}

TEST_F(TransmitterRaw, SendsAnImageWithItsGeometry)
{
    const auto buffer = image_buffer(64, 48);
    buffer->GetImage()->SetOffsetX(5);
    buffer->SetTimestamp(0x1122334455667788);
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 2U + 3U) << "1404 bytes a packet";
    EXPECT_EQ(packets[0].block_id, 1U);
    EXPECT_EQ(number_at(packets[0].payload, 2, 2), 0x0001U);
    EXPECT_EQ(number_at(packets[0].payload, 4, 8), 0x1122334455667788U);
    EXPECT_EQ(number_at(packets[0].payload, 12, 4), 0x01080001U);
    EXPECT_EQ(number_at(packets[0].payload, 16, 4), 64U);
    EXPECT_EQ(number_at(packets[0].payload, 20, 4), 48U);
    EXPECT_EQ(number_at(packets[0].payload, 24, 4), 5U);
    EXPECT_EQ(number_at(packets.back().payload, 4, 4), 48U);
    EXPECT_EQ(data_of(packets),
              std::vector<std::uint8_t>(buffer->GetDataPointer(), buffer->GetDataPointer() + 64 * 48));
}

TEST_F(TransmitterRaw, PacketTrainsAreSeenByNobodyButTheSystem)
{
    EXPECT_EQ(transmitter.GetPacketTrains(), PvPacketTrainsAutomatic);
    EXPECT_EQ(transmitter.SetPacketTrains(static_cast<PvPacketTrains>(3)).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.GetPacketTrains(), PvPacketTrainsAutomatic);
    const auto buffer = image_buffer(640, 480);
    ASSERT_TRUE(open().IsOK());
    for (const PvPacketTrains trains : {PvPacketTrainsNever, PvPacketTrainsAlways, PvPacketTrainsAutomatic}) {
        ASSERT_TRUE(transmitter.SetPacketTrains(trains).IsOK());
        EXPECT_EQ(transmitter.GetPacketTrains(), trains);
        ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
        const auto packets = receive_block(host);
        EXPECT_EQ(packets.size(), 2U + (640 * 480 + 1403) / 1404) << trains;
        EXPECT_EQ(data_of(packets),
                  std::vector<std::uint8_t>(buffer->GetDataPointer(), buffer->GetDataPointer() + buffer->GetSize()))
            << trains;
    }
}

TEST_F(TransmitterRaw, SendsRawDataWithItsLength)
{
    const auto buffer = raw_buffer(5000);
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    const auto packets = receive_block(host);
    EXPECT_EQ(number_at(packets[0].payload, 2, 2), 0x0002U);
    EXPECT_EQ(number_at(packets[0].payload, 12, 8), 5000U);
    EXPECT_EQ(data_of(packets).size(), 5000U);
}

TEST_F(TransmitterRaw, BlockIdsCountFromOneInTheOrderOfQueueing)
{
    ASSERT_TRUE(open().IsOK());
    std::vector<std::unique_ptr<PvBuffer>> buffers;
    for (std::uint8_t i = 0; i < 5; ++i) {
        buffers.push_back(raw_buffer(100));
        buffers.back()->GetDataPointer()[0] = i;
        ASSERT_TRUE(transmitter.QueueBuffer(buffers.back().get()).IsOK());
    }
    for (std::uint8_t i = 0; i < 5; ++i) {
        const auto packets = receive_block(host);
        EXPECT_EQ(packets[0].block_id, i + 1U);
        EXPECT_EQ(packets[1].payload[0], i);
    }
    transmitter.Close();
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(buffers[0].get()).IsOK());
    EXPECT_EQ(receive_block(host)[0].block_id, 1U);
}

TEST_F(TransmitterRaw, ThePoolComesBackInOrderAndAfterSending)
{
    const auto a = raw_buffer(100);
    const auto b = raw_buffer(100);
    std::array<PvBuffer*, 2> pool{a.get(), b.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 2).IsOK());
    ASSERT_TRUE(open().IsOK());

    PvBuffer* buffer = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    EXPECT_EQ(buffer, a.get());
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    EXPECT_EQ(buffer, b.get());
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(buffer, nullptr);

    ASSERT_TRUE(transmitter.QueueBuffer(b.get()).IsOK());
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 5000).IsOK());
    EXPECT_EQ(buffer, b.get());
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 1U);
}

TEST_F(TransmitterRaw, WithoutAPoolThereIsNothingToRetrieve)
{
    PvBuffer* buffer = nullptr;
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 10).GetCode(), PvResult::NoAvailableData);
    ASSERT_TRUE(transmitter.LoadBufferPool(nullptr, 0).IsOK());
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 10).GetCode(), PvResult::NoAvailableData);
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(nullptr, 10).GetCode(), PvResult::InvalidParameter);
}

TEST_F(TransmitterRaw, AnImproperPoolIsRefused)
{
    const auto a = raw_buffer(100);
    std::array<PvBuffer*, 2> twice{a.get(), a.get()};
    std::array<PvBuffer*, 2> with_null{a.get(), nullptr};
    EXPECT_EQ(transmitter.LoadBufferPool(twice.data(), 2).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.LoadBufferPool(with_null.data(), 2).GetCode(), PvResult::InvalidParameter);
}

TEST_F(TransmitterRaw, AnotherPoolReplacesTheFirstUnlessBuffersAreQueued)
{
    const auto a = raw_buffer(200'000);
    const auto b = raw_buffer(100);
    std::array<PvBuffer*, 1> first{a.get()};
    std::array<PvBuffer*, 1> second{b.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(first.data(), 1).IsOK());
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(a.get()).IsOK());
    EXPECT_EQ(transmitter.LoadBufferPool(second.data(), 1).GetCode(), PvResult::StateError);
    ASSERT_TRUE(transmitter.AbortQueuedBuffers(false, 0).IsOK());
    ASSERT_TRUE(transmitter.LoadBufferPool(second.data(), 1).IsOK());
    PvBuffer* buffer = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    EXPECT_EQ(buffer, b.get());
}

TEST_F(TransmitterRaw, QueueingIsRefusedForWhatCannotBeSent)
{
    const auto buffer = raw_buffer(100);
    EXPECT_EQ(transmitter.QueueBuffer(buffer.get()).GetCode(), PvResult::StateError) << "closed";
    ASSERT_TRUE(open().IsOK());
    EXPECT_EQ(transmitter.QueueBuffer(nullptr).GetCode(), PvResult::InvalidParameter);
    PvBuffer empty(PvPayloadTypeRawData);
    EXPECT_EQ(transmitter.QueueBuffer(&empty).GetCode(), PvResult::InvalidParameter);
    PvBuffer chunks(PvPayloadTypeChunkData);
    ASSERT_TRUE(chunks.Alloc(10).IsOK());
    EXPECT_EQ(transmitter.QueueBuffer(&chunks).GetCode(), PvResult::InvalidParameter);
    PvBuffer shapeless(PvPayloadTypeImage);
    ASSERT_TRUE(shapeless.Alloc(10).IsOK());
    EXPECT_EQ(transmitter.QueueBuffer(&shapeless).GetCode(), PvResult::InvalidParameter);
}

TEST_F(TransmitterRaw, AQueuedBufferIsHeldUntilItIsSent)
{
    const auto buffer = raw_buffer(400'000);
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    EXPECT_EQ(transmitter.QueueBuffer(buffer.get()).GetCode(), PvResult::StateError);
    EXPECT_EQ(buffer->Alloc(10).GetCode(), PvResult::StateError);
    EXPECT_EQ(transmitter.GetQueuedBufferCount(), 1U);
    ASSERT_TRUE(transmitter.AbortQueuedBuffers(false, 0).IsOK());
    EXPECT_EQ(transmitter.GetQueuedBufferCount(), 0U);
    EXPECT_TRUE(buffer->Alloc(10).IsOK());
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 0U) << "a block that was cut off does not count";
}

TEST_F(TransmitterRaw, AbortCanWaitForTheCurrentBlock)
{
    const auto a = raw_buffer(25'000);  // a tenth of a second
    const auto b = raw_buffer(25'000);
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(a.get()).IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(b.get()).IsOK());
    ASSERT_TRUE(host.receive()) << "the first block is under way";
    ASSERT_TRUE(transmitter.AbortQueuedBuffers(true, 5000).IsOK());
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 1U);
    EXPECT_EQ(transmitter.GetQueuedBufferCount(), 0U);
}

TEST_F(TransmitterRaw, AbortCutsTheBlockOffWhenTheTimeIsOver)
{
    const auto buffer = raw_buffer(2'500'000);  // ten seconds
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    ASSERT_TRUE(host.receive());
    EXPECT_EQ(transmitter.AbortQueuedBuffers(true, 20).GetCode(), PvResult::Timeout);
    EXPECT_EQ(transmitter.GetQueuedBufferCount(), 0U);
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 0U);
}

TEST_F(TransmitterRaw, SendsAgainAfterABlockWasCutOff)
{
    const auto cut = raw_buffer(2'500'000);
    const auto next = raw_buffer(100);
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(cut.get()).IsOK());
    ASSERT_TRUE(host.receive());
    ASSERT_TRUE(transmitter.AbortQueuedBuffers(false, 0).IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(next.get()).IsOK());
    const auto packets = receive_block(host);
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(packets.back().block_id, 2U);
    EXPECT_EQ(packets.back().format, 2U) << "a trailer";
}

TEST_F(TransmitterRaw, CloseFreesTheQueueAndEndsWaiting)
{
    const auto a = raw_buffer(2'500'000);
    const auto b = raw_buffer(100);
    std::array<PvBuffer*, 2> pool{a.get(), b.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 2).IsOK());
    ASSERT_TRUE(open().IsOK());
    throttle();
    PvBuffer* buffer = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(a.get()).IsOK());
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    std::thread closer([&] { transmitter.Close(); });
    EXPECT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 10'000).IsOK()) << "the aborted buffer is free again";
    EXPECT_EQ(buffer, a.get());
    closer.join();
    EXPECT_FALSE(transmitter.IsOpen());
}

TEST_F(TransmitterRaw, CloseEndsAWaitThatNoBufferSatisfies)
{
    const auto a = raw_buffer(100);
    std::array<PvBuffer*, 1> pool{a.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 1).IsOK());
    ASSERT_TRUE(open().IsOK());
    PvBuffer* buffer = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    PvResult result;
    std::thread waiter([&] {
        PvBuffer* none = nullptr;
        result = transmitter.RetrieveFreeBuffer(&none, 500);
    });
    // whether the wait has begun by now or not, it must not outlast its timeout
    transmitter.Close();
    waiter.join();
    EXPECT_TRUE(result.GetCode() == PvResult::Aborted || result.GetCode() == PvResult::Timeout);
}

TEST_F(TransmitterRaw, ABufferThatIsDestroyedLeavesTheQueueEvenWhileItIsSent)
{
    auto current = raw_buffer(2'500'000);
    auto waiting = raw_buffer(2'500'000);
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(current.get()).IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(waiting.get()).IsOK());
    ASSERT_TRUE(host.receive());
    waiting.reset();
    EXPECT_EQ(transmitter.GetQueuedBufferCount(), 1U);
    current.reset();
    EXPECT_EQ(transmitter.GetQueuedBufferCount(), 0U);
    PvBuffer* buffer = nullptr;
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 0).GetCode(), PvResult::NoAvailableData);
}

TEST_F(TransmitterRaw, ABufferOfThePoolThatIsDestroyedWhileItIsSentIsNotHandedOutAgain)
{
    auto current = raw_buffer(2'500'000);
    const auto other = raw_buffer(100);
    std::array<PvBuffer*, 2> pool{current.get(), other.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 2).IsOK());
    ASSERT_TRUE(open().IsOK());
    throttle();
    ASSERT_TRUE(transmitter.QueueBuffer(current.get()).IsOK());
    ASSERT_TRUE(host.receive());
    current.reset();
    PvBuffer* buffer = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    EXPECT_EQ(buffer, other.get());
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(buffer, nullptr);
}

TEST_F(TransmitterRaw, ABufferThatIsDestroyedWhileItIsFreeLeavesThePool)
{
    auto first = raw_buffer(100);
    const auto second = raw_buffer(100);
    std::array<PvBuffer*, 2> pool{first.get(), second.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 2).IsOK());
    first.reset();
    PvBuffer* buffer = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&buffer, 0).IsOK());
    EXPECT_EQ(buffer, second.get());
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(buffer, nullptr);
}

TEST_F(TransmitterRaw, APoolWhoseBuffersAreAllDestroyedIsNone)
{
    auto only = raw_buffer(100);
    std::array<PvBuffer*, 1> pool{only.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 1).IsOK());
    only.reset();
    PvBuffer* buffer = nullptr;
    EXPECT_EQ(transmitter.RetrieveFreeBuffer(&buffer, 0).GetCode(), PvResult::NoAvailableData);
}

TEST_F(TransmitterRaw, ABlockWithoutATimestampHasTheMicrosecondsSinceOpening)
{
    using Clock = std::chrono::steady_clock;
    const auto microseconds = [](Clock::duration time) {
        return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(time).count());
    };
    const Clock::time_point before = Clock::now();
    ASSERT_TRUE(open().IsOK());
    const Clock::time_point opened = Clock::now();
    const auto buffer = raw_buffer(100);
    while (Clock::now() - opened < std::chrono::milliseconds(10)) {
        std::this_thread::yield();
    }
    const std::uint64_t least = microseconds(Clock::now() - opened);
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    const std::uint64_t timestamp = number_at(receive_block(host)[0].payload, 4, 8);
    EXPECT_GE(timestamp, least);
    EXPECT_LE(timestamp, microseconds(Clock::now() - before));
}

TEST_F(TransmitterRaw, PacketSizeAndThroughputAreChecked)
{
    EXPECT_EQ(transmitter.SetPacketSize(575).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.SetPacketSize(65001).GetCode(), PvResult::InvalidParameter);
    ASSERT_TRUE(transmitter.SetPacketSize(9000).IsOK());
    EXPECT_EQ(transmitter.GetPacketSize(), 9000U);
    EXPECT_EQ(transmitter.SetMaxPayloadThroughput(-1.0F).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.SetMaxPayloadThroughput(std::numeric_limits<float>::quiet_NaN()).GetCode(),
              PvResult::InvalidParameter);
    EXPECT_EQ(transmitter.GetMaxPayloadThroughput(), 0.0F);

    ASSERT_TRUE(open().IsOK());
    const auto buffer = raw_buffer(20'000);
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    EXPECT_EQ(receive_block(host).size(), 2U + 3U) << "8964 bytes a packet";
}

TEST_F(TransmitterRaw, ExtendedIdsAreSentWhenAskedFor)
{
    EXPECT_FALSE(transmitter.GetExtendedIDs());
    ASSERT_TRUE(open().IsOK());
    const auto buffer = raw_buffer(3000);
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    EXPECT_FALSE(receive_block(host)[0].extended);
    ASSERT_TRUE(transmitter.AbortQueuedBuffers(true, 5000).IsOK());
    ASSERT_TRUE(transmitter.SetExtendedIDs(true).IsOK());
    EXPECT_TRUE(transmitter.GetExtendedIDs());
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    const auto packets = receive_block(host);
    EXPECT_TRUE(packets[0].extended);
    EXPECT_EQ(packets[0].block_id, 2U);
    EXPECT_EQ(packets[1].bytes.size(), 1440U - 28U);
    EXPECT_EQ(data_of(packets).size(), 3000U);
}

TEST_F(TransmitterRaw, ThroughputIsBounded)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(transmitter.SetMaxPayloadThroughput(16.0F).IsOK());
    const auto a = raw_buffer(200'000);
    const auto b = raw_buffer(200'000);
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(transmitter.QueueBuffer(a.get()).IsOK());
    ASSERT_TRUE(transmitter.QueueBuffer(b.get()).IsOK());
    receive_block(host);
    receive_block(host);
    // 400,000 bytes at 2,000,000 a second; a busy machine may take longer, never shorter
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(190));
}

TEST_F(TransmitterRaw, StatisticsCountBlocksAndCanBeReset)
{
    ASSERT_TRUE(open().IsOK());
    const auto buffer = raw_buffer(10'000);
    std::array<PvBuffer*, 1> pool{buffer.get()};
    ASSERT_TRUE(transmitter.LoadBufferPool(pool.data(), 1).IsOK());
    for (int i = 0; i < 3; ++i) {
        PvBuffer* free = nullptr;
        ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&free, 5000).IsOK());
        ASSERT_TRUE(transmitter.QueueBuffer(free).IsOK());
    }
    PvBuffer* free = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&free, 5000).IsOK());
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 3U);
    EXPECT_EQ(transmitter.GetPayloadBytesTransmitted(), 30'000U);
    EXPECT_GT(transmitter.GetAverageTransmissionRate(), 0.0F);
    EXPECT_GT(transmitter.GetAveragePayloadThroughput(), 0.0F);
    EXPECT_GT(transmitter.GetInstantaneousTransmissionRate(), 0.0F);
    EXPECT_GT(transmitter.GetInstantaneousPayloadThroughput(), 0.0F);

    transmitter.Close();
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 3U) << "kept after closing";
    transmitter.ResetStats();
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 0U);
    EXPECT_EQ(transmitter.GetSamplingTime(), 0U);
    EXPECT_EQ(transmitter.GetAverageTransmissionRate(), 0.0F);
}

TEST_F(TransmitterRaw, StatisticsBeginWithTheOpening)
{
    ASSERT_TRUE(open().IsOK());
    const auto buffer = raw_buffer(100);
    ASSERT_TRUE(transmitter.QueueBuffer(buffer.get()).IsOK());
    PvBuffer* free = nullptr;
    ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&free, 5000).IsOK());
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 1U);
    transmitter.Close();
    ASSERT_TRUE(open().IsOK());
    EXPECT_EQ(transmitter.GetBlocksTransmitted(), 0U);
    EXPECT_EQ(transmitter.GetPayloadBytesTransmitted(), 0U);
}
