// Chunks in blocks, and images that are not as tall as announced.
#include <vector>

#include "tests/sdk/stream_core/assembler_fixture.h"
#include "tests/sdk/stream_core/type_packets.h"

using namespace vex;
using namespace assembly;
using namespace packets;

namespace {

class AssemblerContents : public Assembly {
protected:
    const Delivered& only()
    {
        EXPECT_EQ(port.delivered.size(), 1U);
        static const Delivered none;
        return port.delivered.empty() ? none : port.delivered.back();
    }
};

const BlockForm standard{.id = 1};
const BlockForm extended{.id = 1, .extended = true};

}  // namespace

TEST_F(AssemblerContents, ChunksBehindAnImageAreFound)
{
    queue(1, 200);
    Bytes data = picture(64, 1);
    const Bytes chunks = chunk(0xA1, {1, 2, 3, 4});
    append(data, chunks);
    packets::ImageForm image = image_8x8;
    image.payload_type = 0x4001;
    receive(packets::image_leader(standard, image, 5));
    receive(packets::payload_packets(standard, data, stride));
    Bytes trailer = packets::image_trailer(standard, 5, 8, 0x4001);
    packets::put(trailer, chunks.size(), 4);
    packets::put(trailer, 77, 4);
    receive(trailer);
    ASSERT_EQ(only().result(), PvResult::OK);
    ASSERT_EQ(only().buffer->GetChunkCount(), 1U);
    EXPECT_EQ(only().buffer->GetChunkLayoutID(), 77U);
    const std::uint8_t* at = nullptr;
    std::uint32_t size = 0;
    ASSERT_TRUE(only().buffer->FindChunk(0xA1, at, size).IsOK());
    EXPECT_EQ(Bytes(at, at + size), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(only().buffer->GetImage()->GetHeight(), 8U);
}

TEST_F(AssemblerContents, BlocksOfChunksAreChunksFromTheirFirstByte)
{
    Bytes data = chunk(1, picture(20, 1));
    append(data, chunk(2, {9}));
    for (const std::uint16_t type : {std::uint16_t{4}, std::uint16_t{5}}) {
        SCOPED_TRACE(type);
        port.delivered.clear();
        assembler.discard();
        queue(1, 100);
        Bytes leader = leader_of(standard, type);
        Bytes trailer = trailer_of(standard, 3, type);
        packets::put(trailer, data.size(), 4);
        if (type == 5) {
            for (const std::uint32_t field : {0x01080001U, 5U, 4U, 0U, 0U, 0U}) {
                packets::put(leader, field, 4);
            }
            packets::put(trailer, 4, 4);
            packets::put(trailer, 3, 4);
        }
        receive(leader);
        receive(packets::payload_packets(standard, data, stride));
        receive(trailer);
        ASSERT_EQ(only().result(), PvResult::OK);
        EXPECT_EQ(only().buffer->GetPayloadType(), static_cast<PvPayloadType>(type));
        EXPECT_EQ(only().buffer->GetChunkCount(), 2U);
    }
}

TEST_F(AssemblerContents, ABlockThatLacksPacketsHasNoChunks)
{
    queue(1, 200);
    Bytes data = chunk(1, picture(40, 1));
    std::vector<Bytes> payload = packets::payload_packets(standard, data, stride);
    receive(packets::chunk_leader(standard, 5));
    receive(payload[0]);
    receive(payload[2]);
    receive(packets::chunk_trailer(standard, 4, static_cast<std::uint32_t>(data.size())));
    pass(100ms);
    EXPECT_EQ(only().result(), PvResult::MissingPackets);
    EXPECT_EQ(only().buffer->GetChunkCount(), 0U);
}

TEST_F(AssemblerContents, ChunksShorterThanTheTrailerSaysAreMissingBytes)
{
    queue(1, 200);
    receive(packets::chunk_leader(standard, 5));
    receive(packets::payload_packets(standard, picture(30, 1), stride));
    receive(packets::chunk_trailer(standard, 3, 31));
    pass(100ms);
    EXPECT_EQ(only().result(), PvResult::MissingPackets);
}

// ---- images that are not as announced ----

TEST_F(AssemblerContents, ATallerImageIsShownWholeWhereThereIsRoom)
{
    queue(1, 200);
    const Bytes pixels = picture(88, 1);  // 11 lines instead of 8
    receive(packets::image_leader(standard, image_8x8, 5));
    receive(packets::payload_packets(standard, pixels, stride));
    receive(packets::image_trailer(standard, 6, 11));
    ASSERT_EQ(only().result(), PvResult::OK);
    EXPECT_EQ(only().buffer->GetImage()->GetHeight(), 11U);
    EXPECT_EQ(only().buffer->GetAcquiredSize(), 88U);
    EXPECT_EQ(only().data(88), pixels);
}

TEST_F(AssemblerContents, ATallerImageThatEndsInTheSamePacketIsShownToo)
{
    queue(2, 200);
    const Bytes pixels = picture(72, 1);  // 9 lines; the announced end is in the fourth packet
    receive(packets::image_leader(standard, image_8x8, 5));
    receive(packets::payload_packets(standard, pixels, stride));
    receive(packets::image_trailer(standard, 5, 9));
    ASSERT_EQ(only().result(), PvResult::OK);
    EXPECT_EQ(only().buffer->GetImage()->GetHeight(), 9U);
    EXPECT_EQ(only().data(72), pixels);
    // what a device only filled up is no line
    receive(packets::image_leader({.id = 2}, image_8x8, 6));
    receive(packets::payload_packets({.id = 2}, picture(80, 1), stride));
    receive(packets::image_trailer({.id = 2}, 5, 8));
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].buffer->GetAcquiredSize(), 64U);
    EXPECT_EQ(port.delivered[1].data(80)[64], 0U);
}

TEST_F(AssemblerContents, ATallerImageMakesRoomForTheNextOne)
{
    PvBuffer first;
    PvBuffer second;
    port.idle = {&first, &second};
    const Bytes pixels = picture(88, 1);
    for (const std::uint64_t id : {1U, 2U}) {
        receive(packets::image_leader({.id = id}, image_8x8, id));
        receive(packets::payload_packets({.id = id}, pixels, stride));
        receive(packets::image_trailer({.id = id}, 6, 11));
    }
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::BufferTooSmall);
    EXPECT_EQ(port.delivered[0].data(64), slice(pixels, 0, 64));
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].buffer->GetImage()->GetHeight(), 11U);
}

TEST_F(AssemblerContents, LinesThatTheTrailerMakesUpAreNotWaitedFor)
{
    queue(1, 200);
    receive(packets::image_leader(standard, image_8x8, 5));
    receive(packets::payload_packets(standard, picture(64, 1), stride));
    receive(packets::image_trailer(standard, 5, 0xFFFFFFFF));
    EXPECT_EQ(only().result(), PvResult::OK);
    EXPECT_EQ(only().buffer->GetImage()->GetHeight(), 8U);
}

TEST_F(AssemblerContents, AnImageThatTheDeviceDroppedSaysSo)
{
    queue(1, 64);
    receive(packets::image_leader(standard, image_8x8, 5));
    receive(packets::image_trailer(standard, 1, 0));
    EXPECT_EQ(only().result(), PvResult::ImageError);
    EXPECT_TRUE(only().buffer->GetImage()->IsImageDropped());
    EXPECT_FALSE(only().buffer->GetImage()->IsFullLineMissing());
    EXPECT_EQ(only().buffer->GetOperationResult().description(), "Block 1: the device dropped the image");
}

TEST_F(AssemblerContents, AnImageWithoutATrailerEndedByTheCountOfItsLines)
{
    queue(2, 64);
    std::vector<Bytes> block = packets::image_block(standard, image_8x8, picture(64, 1), stride, 9);
    block.pop_back();
    receive(block);
    pass(2ms);
    EXPECT_EQ(only().result(), PvResult::OK);
    EXPECT_TRUE(only().buffer->GetImage()->IsEOFByLineCount());
    EXPECT_EQ(assembler.counters().eof_by_line_count, 1U);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 1), stride, 10));
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_FALSE(port.delivered[1].buffer->GetImage()->IsEOFByLineCount());
    EXPECT_EQ(assembler.counters().eof_by_line_count, 1U);
}

TEST_F(AssemblerContents, BlocksThatTheDeviceSaysItDroppedAreCounted)
{
    queue(2, 64);
    const BlockForm after_dropped{.id = 3, .extended = true, .flags = 0x0002};
    receive(packets::image_block(extended, image_8x8, picture(64, 1), stride, 9));
    receive(packets::image_block(after_dropped, image_8x8, picture(64, 1), stride, 10));
    EXPECT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(assembler.counters().blocks_dropped_by_device, 1U);
}
