// Assembling payloads other than plain images.
#include "tests/sdk/stream_core/assembler_fixture.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::ImageForm;
using packets::picture;
using stream::PacketFate;

using AssemblerPayload = Assembly;

TEST_F(AssemblerPayload, ReceivesRawData)
{
    queue(1, 100);
    const Bytes data = picture(70, 1);
    receive(packets::raw_leader({.id = 1}, 70, 5));
    receive(packets::payload_packets({.id = 1}, data, 32));
    receive(packets::raw_trailer({.id = 1}, 4));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetPayloadType(), PvPayloadTypeRawData);
    ASSERT_NE(port.delivered[0].buffer->GetRawData(), nullptr);
    EXPECT_EQ(port.delivered[0].buffer->GetRawData()->GetPayloadLength(), 70U);
    EXPECT_EQ(port.delivered[0].data(70), data);
    EXPECT_EQ(assembler.counters().images, 0U);
}

TEST_F(AssemblerPayload, ReceivesChunkDataOfUnannouncedSize)
{
    queue(1, 100);
    const Bytes data = picture(70, 1);
    receive(packets::chunk_leader({.id = 1}, 5));
    receive(packets::payload_packets({.id = 1}, data, 32));
    receive(packets::chunk_trailer({.id = 1}, 4, 70));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetPayloadType(), PvPayloadTypeChunkData);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 70U);
    EXPECT_EQ(port.delivered[0].data(70), data);
}

TEST_F(AssemblerPayload, LearnsTheSizeOfUnannouncedBlocks)
{
    PvBuffer first;
    PvBuffer second;
    port.idle = {&first, &second};
    const Bytes data = picture(70, 1);
    for (std::uint64_t id = 1; id <= 2; ++id) {
        receive(packets::chunk_leader({.id = id}, id));
        receive(packets::payload_packets({.id = id}, data, 32));
        receive(packets::chunk_trailer({.id = id}, 4, 70));
    }
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::BufferTooSmall);
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].data(70), data);
}

TEST_F(AssemblerPayload, ABlockWithoutItsLeaderIsOfTheTypeOfTheOneBefore)
{
    queue(3, 100);
    const Bytes data = picture(70, 1);
    receive(packets::chunk_leader({.id = 1}, 1));
    for (std::uint64_t id = 1; id <= 2; ++id) {
        receive(packets::payload_packets({.id = id}, data, 32));
        receive(packets::chunk_trailer({.id = id}, 4, 70));
    }
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[1].buffer->GetPayloadType(), PvPayloadTypeChunkData);
}

TEST_F(AssemblerPayload, ReceivesAnImageWithChunksBehindIt)
{
    queue(1, 100);
    const Bytes data = picture(64 + 20, 1);
    ImageForm image = image_8x8;
    image.payload_type = 0x4001;
    receive(packets::image_leader({.id = 1}, image, 5));
    receive(packets::payload_packets({.id = 1}, data, 32));
    Bytes trailer = packets::image_trailer({.id = 1}, 4, 8, 0x4001);
    packets::put(trailer, 20, 4);
    packets::put(trailer, 1, 4);
    receive(trailer);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetPayloadType(), PvPayloadTypeImage);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 84U);
    EXPECT_EQ(port.delivered[0].data(84), data);
}

TEST_F(AssemblerPayload, ReceivesABlockInOnePacket)
{
    queue(1, 64);
    const Bytes pixels = picture(64, 1);
    Bytes packet = packets::header({.id = 1}, 4, 0);
    const Bytes leader = packets::image_leader({.id = 1}, image_8x8, 77);
    const Bytes trailer = packets::image_trailer({.id = 1}, 0, 8);
    packet.insert(packet.end(), leader.begin() + 8, leader.end());
    packet.insert(packet.end(), trailer.begin() + 8, trailer.end());
    packet.insert(packet.end(), pixels.begin(), pixels.end());
    receive(packet);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetTimestamp(), 77U);
    EXPECT_EQ(port.delivered[0].data(64), pixels);
}

TEST_F(AssemblerPayload, ReportsPayloadLayoutsThatItDoesNotKnow)
{
    queue(1, 64);
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    Bytes of_format_8 = packets::header({.id = 1}, 8, 1);
    of_format_8.resize(60);
    receive(of_format_8);
    receive(packets::image_trailer({.id = 1}, 2, 8));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::InvalidDataFormat);
    EXPECT_EQ(packets(PacketFate::unsupported), 1U);
}

}  // namespace
