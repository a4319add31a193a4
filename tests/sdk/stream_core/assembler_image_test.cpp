// Assembling images: geometry, packet size and the buffer's room.
#include "tests/sdk/stream_core/assembler_fixture.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::ImageForm;
using packets::picture;
using stream::BlockFate;
using stream::PacketFate;

using AssemblerImage = Assembly;

TEST_F(AssemblerImage, DeliversAnImageWithItsGeometryAndBytes)
{
    queue(1, 64);
    ImageForm image = image_8x8;
    image.offset_x = 16;
    image.offset_y = 32;
    const Bytes pixels = picture(64, 7);
    receive(packets::image_block({.id = 7}, image, pixels, stride, 0x0123456789ABCDEF));

    ASSERT_EQ(port.delivered.size(), 1U);
    const Delivered& block = port.delivered[0];
    EXPECT_EQ(block.result(), PvResult::OK);
    EXPECT_EQ(block.fate, BlockFate::complete);
    EXPECT_EQ(block.id(), 7U);
    EXPECT_EQ(block.buffer->GetTimestamp(), 0x0123456789ABCDEFU);
    EXPECT_EQ(block.buffer->GetReceptionTime(), 100'000'000U);
    EXPECT_EQ(block.buffer->GetPayloadType(), PvPayloadTypeImage);
    EXPECT_EQ(block.buffer->GetAcquiredSize(), 64U);
    EXPECT_EQ(block.buffer->GetLostPacketCount(), 0U);
    EXPECT_EQ(block.buffer->GetIgnoredPacketCount(), 0U);
    const PvImage* received = block.buffer->GetImage();
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(received->GetWidth(), 8U);
    EXPECT_EQ(received->GetHeight(), 8U);
    EXPECT_EQ(received->GetPixelType(), PvPixelMono8);
    EXPECT_EQ(received->GetOffsetX(), 16U);
    EXPECT_EQ(received->GetOffsetY(), 32U);
    EXPECT_EQ(block.data(64), pixels);
    EXPECT_EQ(assembler.counters().images, 1U);
    EXPECT_EQ(assembler.counters().stored_bytes, 64U);
    EXPECT_EQ(packets(PacketFate::stored), 6U);
}

TEST_F(AssemblerImage, FollowsAChangedPacketSize)
{
    queue(4, 64);
    std::uint64_t id = 0;
    for (const std::size_t length : {20U, 16U, 30U, 64U}) {
        ++id;
        const Bytes pixels = picture(64, id);
        receive(packets::image_block({.id = id}, image_8x8, pixels, length, id));
        ASSERT_EQ(port.delivered.size(), id);
        EXPECT_EQ(port.delivered.back().result(), PvResult::OK);
        EXPECT_EQ(port.delivered.back().data(64), pixels);
    }
}

TEST_F(AssemblerImage, FollowsAChangedGeometry)
{
    queue(3, 200);
    const Bytes small = picture(64, 1);
    const Bytes large = picture(200, 2);
    receive(packets::image_block({.id = 1}, image_8x8, small, stride, 1));
    receive(packets::image_block({.id = 2}, {.width = 20, .height = 10}, large, stride, 2));
    receive(packets::image_block({.id = 3}, {.pixel_format = 0x01100007, .width = 4, .height = 8}, small, stride, 3));
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3}));
    for (const Delivered& block : port.delivered) {
        EXPECT_EQ(block.result(), PvResult::OK);
    }
    EXPECT_EQ(port.delivered[1].data(200), large);
    EXPECT_EQ(port.delivered[1].buffer->GetImage()->GetWidth(), 20U);
    EXPECT_EQ(port.delivered[2].buffer->GetImage()->GetPixelType(), PvPixelMono16);
}

TEST_F(AssemblerImage, FieldsAreOddOrEvenWhereAFrameHasSeveral)
{
    struct Case {
        std::uint8_t field;  // ID and count
        bool odd;
        bool even;
    };
    for (const Case& one : {Case{0x00, false, false}, Case{0x01, false, false}, Case{0x11, false, false},
                            Case{0x02, false, true}, Case{0x12, true, false}}) {
        SCOPED_TRACE(int{one.field});
        queue(1, 64);
        const std::uint64_t id = port.delivered.size() + 1;
        std::vector<Bytes> block = packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id);
        block[0][8] = one.field;
        receive(block);
        ASSERT_EQ(port.delivered.size(), id);
        EXPECT_EQ(port.delivered.back().buffer->GetImage()->IsInterlacedOdd(), one.odd);
        EXPECT_EQ(port.delivered.back().buffer->GetImage()->IsInterlacedEven(), one.even);
    }
}

TEST_F(AssemblerImage, SizesUnknownPixelFormatsByTheirBits)
{
    queue(1, 48);
    // 6 bits a pixel, a code that no table has
    const Bytes pixels = picture(48, 1);
    receive(packets::image_block({.id = 1}, {.pixel_format = 0x01060FFF, .width = 8, .height = 8}, pixels, stride, 1));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 48U);
}

TEST_F(AssemblerImage, AcceptsPackedImagesWithAndWithoutAlignedLines)
{
    // Mono12Packed, 3 pixels wide: 4.5 bytes a line; 18 bytes in all, or 20 with whole bytes at each line's end
    for (const std::size_t size : {18U, 20U}) {
        SCOPED_TRACE(size);
        Port own_port;
        GuardedBuffer buffer(20);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        const Bytes pixels = picture(size, 1);
        for (const Bytes& packet :
             packets::image_block({.id = 1}, {.pixel_format = 0x010C0006, .width = 3, .height = 4}, pixels, 6, 1)) {
            const net::Datagram datagram{packet, {camera, 1}};
            own.process({&datagram, 1}, now);
        }
        ASSERT_EQ(own_port.delivered.size(), 1U);
        EXPECT_EQ(own_port.delivered[0].result(), PvResult::OK);
        EXPECT_EQ(own_port.delivered[0].data(size), pixels);
    }
}

TEST_F(AssemblerImage, CountsPaddingInTheImagesSize)
{
    queue(1, 8 * 10 + 5);
    const Bytes pixels = picture(85, 1);
    receive(
        packets::image_block({.id = 1}, {.width = 8, .height = 8, .padding_x = 2, .padding_y = 5}, pixels, stride, 1));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetPaddingX(), 2U);
    EXPECT_EQ(port.delivered[0].data(85), pixels);
}

TEST_F(AssemblerImage, ShortensAnImageThatTheDeviceEndedEarly)
{
    queue(2, 64);
    const Bytes pixels = picture(40, 1);  // 5 of 8 lines
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload_packets({.id = 1}, pixels, 16));
    receive(packets::image_trailer({.id = 1}, 4, 5));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetHeight(), 5U);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 40U);

    // without the trailer's word nobody can tell an early end from lost packets
    receive(packets::image_leader({.id = 2}, image_8x8, 2));
    receive(packets::payload_packets({.id = 2}, pixels, 16));
    pass(1s);
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(port.delivered[1].result(), PvResult::MissingPackets);
}

TEST_F(AssemblerImage, AnImageThatWasEndedEarlyHasNoPaddingBelow)
{
    queue(1, 69);
    const Bytes pixels = picture(40, 1);  // 5 of 8 lines
    receive(packets::image_leader({.id = 1}, {.width = 8, .height = 8, .padding_y = 5}, 1));
    receive(packets::payload_packets({.id = 1}, pixels, 16));
    receive(packets::image_trailer({.id = 1}, 4, 5));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetHeight(), 5U);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 40U);
}

TEST_F(AssemblerImage, IgnoresATrailerThatTellsNoLines)
{
    queue(1, 64);
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload_packets({.id = 1}, picture(64, 1), stride));
    receive(packets::image_trailer({.id = 1}, 5, 0));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetHeight(), 8U);
}

TEST_F(AssemblerImage, ReportsATooSmallBufferAndWritesNothingOutsideIt)
{
    queue(1, 50);
    const Bytes pixels = picture(64, 1);
    receive(packets::image_block({.id = 3}, image_8x8, pixels, stride, 9));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::BufferTooSmall);
    EXPECT_EQ(port.delivered[0].fate, BlockFate::buffer_too_small);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 50U);
    EXPECT_EQ(port.delivered[0].data(50), Bytes(pixels.begin(), pixels.begin() + 50));
    EXPECT_EQ(port.delivered[0].buffer->GetBlockID(), 3U);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetWidth(), 8U);
    EXPECT_EQ(packets(PacketFate::no_room), 2U);
    EXPECT_TRUE(port.delivered[0].missing().empty());
    const std::string text(port.delivered[0].buffer->GetOperationResult().description());
    EXPECT_EQ(text, "Block 3 needs 64 bytes, the buffer has 50");
}

TEST_F(AssemblerImage, MakesRoomInBuffersThatOwnTheirMemory)
{
    PvBuffer buffer;
    port.idle.push_back(&buffer);
    const Bytes pixels = picture(64, 1);
    receive(packets::image_block({.id = 1}, image_8x8, pixels, stride, 9));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(buffer.GetSize(), 64U);
    EXPECT_EQ(port.delivered[0].data(64), pixels);
}

TEST_F(AssemblerImage, AnImageTooLargeForAnyBufferFailsAlone)
{
    PvBuffer buffer;
    port.idle.push_back(&buffer);
    receive(packets::image_leader({.id = 1}, {.width = 0xFFFFFFFF, .height = 0xFFFFFFFF}, 1));
    receive(packets::payload({.id = 1}, 1, picture(20, 1)));
    receive(packets::image_trailer({.id = 1}, 2, 8));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::ErrOverflow);
    EXPECT_EQ(port.delivered[0].fate, BlockFate::failed);
}

}  // namespace
