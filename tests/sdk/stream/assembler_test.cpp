#include <numeric>

#include "tests/sdk/stream/assembler_fixture.h"

namespace {

using namespace assembly;
using packets::BlockForm;
using packets::ImageForm;
using packets::picture;
using stream::BlockFate;
using stream::PacketFate;
using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

using BlockAssembler = Assembly;

constexpr std::size_t stride = 20;
const ImageForm image_8x8{};  // 64 bytes: three full packets and one of 4 bytes

TEST_F(BlockAssembler, DeliversAnImageWithItsGeometryAndBytes)
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

TEST_F(BlockAssembler, DeliversTheSameForEveryOrderOfAnImagesPackets)
{
    const Bytes pixels = picture(50, 3);  // 20 + 20 + 10
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {.width = 10, .height = 5}, pixels, stride, 1);
    std::vector<std::size_t> order(block.size());
    std::iota(order.begin(), order.end(), 0U);
    do {
        Port own_port;
        GuardedBuffer buffer(50);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        for (const std::size_t i : order) {
            const net::Datagram datagram{block[i], {camera, 1}};
            own.process({&datagram, 1}, now);
        }
        ASSERT_EQ(own_port.delivered.size(), 1U) << testing::PrintToString(order);
        EXPECT_EQ(own_port.delivered[0].result(), PvResult::OK) << testing::PrintToString(order);
        EXPECT_EQ(buffer.data(), pixels) << testing::PrintToString(order);
        EXPECT_EQ(buffer.buffer().GetImage()->GetWidth(), 10U);
        EXPECT_EQ(own.counters().of(PacketFate::stored), block.size());
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(BlockAssembler, DeliversTheSameForEveryOrderOfAFullLastPacket)
{
    const Bytes pixels = picture(40, 3);  // 20 + 20: the last packet cannot be told by its length
    const std::vector<Bytes> block = packets::image_block({.id = 1}, {.width = 10, .height = 4}, pixels, stride, 1);
    std::vector<std::size_t> order(block.size());
    std::iota(order.begin(), order.end(), 0U);
    do {
        Port own_port;
        GuardedBuffer buffer(40);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        for (const std::size_t i : order) {
            const net::Datagram datagram{block[i], {camera, 1}};
            own.process({&datagram, 1}, now);
        }
        ASSERT_EQ(own_port.delivered.size(), 1U);
        EXPECT_EQ(own_port.delivered[0].result(), PvResult::OK);
        EXPECT_EQ(buffer.data(), pixels);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(BlockAssembler, TellsWhichPacketIsLost)
{
    const Bytes pixels = picture(64, 1);
    const std::vector<Bytes> block = packets::image_block({.id = 5}, image_8x8, pixels, stride, 9);
    for (std::uint32_t lost = 0; lost < block.size(); ++lost) {
        SCOPED_TRACE(lost);
        Port own_port;
        GuardedBuffer buffer(64);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        for (std::uint32_t i = 0; i < block.size(); ++i) {
            const net::Datagram datagram{block[i], {camera, 1}};
            if (i != lost)
                own.process({&datagram, 1}, now);
        }
        EXPECT_TRUE(own_port.delivered.empty());
        ASSERT_TRUE(own.next_deadline().has_value());
        own.on_time(*own.next_deadline() - 1us);
        EXPECT_TRUE(own_port.delivered.empty());
        own.on_time(*own.next_deadline());

        ASSERT_EQ(own_port.delivered.size(), 1U);
        const Delivered& delivered = own_port.delivered[0];
        const bool trailer_lost = lost == block.size() - 1;
        EXPECT_EQ(delivered.result(), trailer_lost ? PvResult::OK : PvResult::MissingPackets);
        EXPECT_EQ(delivered.missing(), (Ranges{{lost, lost}}));
        EXPECT_EQ(delivered.buffer->GetLostPacketCount(), 1U);
        EXPECT_EQ(own.counters().packets_lost, 1U);
        Bytes expected = pixels;
        if (lost >= 1 && lost <= 4)
            std::fill(expected.begin() + (lost - 1) * 20, expected.begin() + std::min<std::ptrdiff_t>(lost * 20, 64),
                      GuardedBuffer::fill);
        EXPECT_EQ(buffer.data(), expected);
    }
}

TEST_F(BlockAssembler, MergesNeighbouringMissingPacketsIntoRanges)
{
    queue(1, 200);
    const std::vector<Bytes> block =
        packets::image_block({.id = 1}, {.width = 10, .height = 20}, picture(200, 1), stride, 9);
    for (const std::size_t i : {3U, 7U, 8U})  // of 0 to 11
        receive(block[i]);
    pass(100ms);
    pass(1s);
    ASSERT_EQ(port.delivered.size(), 1U);
    // without leader and trailer nothing past the last packet seen is known, but that more must have followed
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{0, 2}, {4, 6}, {9, 9}}));
    EXPECT_EQ(port.delivered[0].buffer->GetLostPacketCount(), 7U);
}

TEST_F(BlockAssembler, CountsDuplicatesOnce)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    for (std::size_t i = 0; i + 1 < block.size(); ++i) {
        receive(block[i]);
        receive(block[i]);
    }
    receive(block.back());
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(packets(PacketFate::redundant), block.size() - 1);
    EXPECT_EQ(port.delivered[0].buffer->GetIgnoredPacketCount(), block.size() - 1);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 64U);
    receive(block.back());
    EXPECT_EQ(packets(PacketFate::late), 1U);
}

TEST_F(BlockAssembler, IgnoresOtherSenders)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    for (const Bytes& packet : block)
        receive(packet, net::Ipv4Address{camera.value + 1});
    EXPECT_EQ(packets(PacketFate::foreign), block.size());
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
    EXPECT_EQ(port.idle.size(), 1U);
}

TEST_F(BlockAssembler, CountsMalformedDatagramsAndGoesOn)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    receive(Bytes{});
    receive(Bytes(7, 0));
    receive(packets::header({.id = 0}, 3, 1));                // block ID 0
    receive(Bytes(block[0].begin(), block[0].begin() + 30));  // a leader cut short
    receive(packets::header({.id = 1}, 3, 1));                // payload without data
    receive(packets::payload({.id = 1}, 0, picture(20, 1)));  // payload with the leader's ID
    receive(packets::image_trailer({.id = 1}, 0, 8));         // trailer with the leader's ID
    Bytes extended = packets::header({.id = 1, .extended = true}, 3, 1);
    extended.resize(19);
    receive(extended);
    EXPECT_EQ(packets(PacketFate::malformed), 8U);
    receive(block);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(BlockAssembler, ReplacesAPacketThatWasCutOnItsWay)
{
    for (std::uint32_t cut = 1; cut <= 4; ++cut) {
        SCOPED_TRACE(cut);
        Port own_port;
        GuardedBuffer buffer(64);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        const Bytes pixels = picture(64, cut);
        std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, pixels, stride, 9);
        const Bytes whole = block[cut];
        block[cut].resize(block[cut].size() - 3);
        block.insert(block.end() - 1, whole);  // the whole one follows
        std::uint64_t count = 0;
        for (const Bytes& packet : block) {
            const net::Datagram datagram{packet, {camera, 1}};
            own.process({&datagram, 1}, now);
            ++count;
        }
        if (cut == 4) {
            // nothing follows a last packet that could show that it was cut, but the trailer
            EXPECT_EQ(own.counters().of(PacketFate::redundant), 1U);
            own.on_time(now + 100ms);
            ASSERT_EQ(own_port.delivered.size(), 1U);
            EXPECT_EQ(own_port.delivered[0].result(), PvResult::MissingPackets);
            EXPECT_EQ(own_port.delivered[0].missing(), (Ranges{{4, 4}}));
            continue;
        }
        ASSERT_EQ(own_port.delivered.size(), 1U);
        EXPECT_EQ(own_port.delivered[0].result(), PvResult::OK);
        EXPECT_EQ(own.counters().of(PacketFate::malformed), 1U);
        EXPECT_EQ(own.counters().of(PacketFate::stored), count - 1);
        EXPECT_EQ(buffer.data(), pixels);
    }
}

TEST_F(BlockAssembler, MissesAPacketThatWasCutAndNotReplaced)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block[2].resize(block[2].size() - 1);
    receive(block);
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 2}}));
}

TEST_F(BlockAssembler, KeepsAWholeLastPacketWhenAnotherAndTheTrailerAreMissing)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    for (const std::size_t i : {0U, 1U, 3U, 4U})  // of 0 to 5; packet 4 is short because the image ends there
        receive(block[i]);
    pass(100ms);
    pass(1s);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 2}, {5, 5}}));
    EXPECT_EQ(port.delivered[0].buffer->GetLostPacketCount(), 2U);
    EXPECT_EQ(packets(PacketFate::malformed), 0U);
}

TEST_F(BlockAssembler, RefusesPacketsLongerThanTheOthers)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block[3].push_back(0x55);
    receive(block);
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{3, 3}}));
    EXPECT_EQ(packets(PacketFate::malformed), 1U);
}

TEST_F(BlockAssembler, AcceptsALastPacketThatIsFilledUp)
{
    queue(1, 64);
    Bytes pixels = picture(64, 1);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, pixels, stride, 9);
    block[4].resize(8 + stride, 0xEE);
    receive(block);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 64U);
    EXPECT_EQ(port.delivered[0].data(64), pixels);
}

TEST_F(BlockAssembler, FollowsAChangedPacketSize)
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

TEST_F(BlockAssembler, FollowsAChangedGeometry)
{
    queue(3, 200);
    const Bytes small = picture(64, 1);
    const Bytes large = picture(200, 2);
    receive(packets::image_block({.id = 1}, image_8x8, small, stride, 1));
    receive(packets::image_block({.id = 2}, {.width = 20, .height = 10}, large, stride, 2));
    receive(packets::image_block({.id = 3}, {.pixel_format = 0x01100007, .width = 4, .height = 8}, small, stride, 3));
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3}));
    for (const Delivered& block : port.delivered)
        EXPECT_EQ(block.result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].data(200), large);
    EXPECT_EQ(port.delivered[1].buffer->GetImage()->GetWidth(), 20U);
    EXPECT_EQ(port.delivered[2].buffer->GetImage()->GetPixelType(), PvPixelMono16);
}

TEST_F(BlockAssembler, SizesUnknownPixelFormatsByTheirBits)
{
    queue(1, 48);
    // 6 bits a pixel, a code that no table has
    const Bytes pixels = picture(48, 1);
    receive(packets::image_block({.id = 1}, {.pixel_format = 0x01060FFF, .width = 8, .height = 8}, pixels, stride, 1));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 48U);
}

TEST_F(BlockAssembler, AcceptsPackedImagesWithAndWithoutAlignedLines)
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

TEST_F(BlockAssembler, CountsPaddingInTheImagesSize)
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

TEST_F(BlockAssembler, ShortensAnImageThatTheDeviceEndedEarly)
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

TEST_F(BlockAssembler, IgnoresATrailerThatTellsNoLines)
{
    queue(1, 64);
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload_packets({.id = 1}, picture(64, 1), stride));
    receive(packets::image_trailer({.id = 1}, 5, 0));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetHeight(), 8U);
}

TEST_F(BlockAssembler, ReportsATooSmallBufferAndWritesNothingOutsideIt)
{
    queue(1, 50);
    const Bytes pixels = picture(64, 1);
    receive(packets::image_block({.id = 3}, image_8x8, pixels, stride, 9));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::BufferTooSmall);
    EXPECT_EQ(port.delivered[0].fate, BlockFate::buffer_too_small);
    EXPECT_EQ(port.delivered[0].buffer->GetAcquiredSize(), 40U);
    EXPECT_EQ(port.delivered[0].buffer->GetBlockID(), 3U);
    EXPECT_EQ(port.delivered[0].buffer->GetImage()->GetWidth(), 8U);
    EXPECT_EQ(packets(PacketFate::no_room), 2U);
    EXPECT_TRUE(port.delivered[0].missing().empty());
    const std::string text(port.delivered[0].buffer->GetOperationResult().description());
    EXPECT_EQ(text, "block 3 needs 64 bytes, the buffer has 50");
}

TEST_F(BlockAssembler, MakesRoomInBuffersThatOwnTheirMemory)
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

TEST_F(BlockAssembler, DropsAndCountsBlocksWithoutABuffer)
{
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1));
    queue(1, 64);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{2}));
    EXPECT_EQ(blocks(BlockFate::no_buffer), 1U);
    EXPECT_EQ(packets(PacketFate::no_buffer), 4U);
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(BlockAssembler, TakesTheBufferWithTheFirstPayloadNotWithTheLeader)
{
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(block[0]);
    queue(1, 64);  // during the exposure
    for (std::size_t i = 1; i < block.size(); ++i)
        receive(block[i]);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(BlockAssembler, WaitsForALongExposureAfterAnEarlyLeader)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(block[0]);
    EXPECT_FALSE(assembler.next_deadline().has_value());
    pass(1h);
    EXPECT_TRUE(port.delivered.empty());
    for (std::size_t i = 1; i < block.size(); ++i)
        receive(block[i]);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(BlockAssembler, LetsTheNewestBlockPauseBetweenItsLines)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    for (const Bytes& packet : block) {
        pass(900ms);
        receive(packet);
    }
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(BlockAssembler, GivesUpABlockThatPausesTooLong)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(block[0]);
    receive(block[1]);
    pass(999ms);
    EXPECT_TRUE(port.delivered.empty());
    pass(1ms);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 5}}));
    receive(block[2]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
}

TEST_F(BlockAssembler, DeliversInBlockOrderWhenALaterBlockIsCompleteFirst)
{
    queue(2, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    const std::vector<Bytes> second = packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 2);
    for (std::size_t i = 0; i + 1 < first.size(); ++i)
        receive(first[i]);
    receive(second);
    EXPECT_TRUE(port.delivered.empty());
    receive(first.back());
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    for (const Delivered& block : port.delivered)
        EXPECT_EQ(block.result(), PvResult::OK);
}

TEST_F(BlockAssembler, GivesUpABlockSoonAfterALaterOneIsComplete)
{
    queue(2, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U})
        receive(first[i]);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 2));
    pass(1999us);
    EXPECT_TRUE(port.delivered.empty());
    pass(1us);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    receive(first[2]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
}

TEST_F(BlockAssembler, InterleavedBlocksDoNotDisturbEachOther)
{
    queue(3, 64);
    std::vector<std::vector<Bytes>> blocks;
    for (std::uint64_t id = 1; id <= 3; ++id)
        blocks.push_back(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id));
    for (std::size_t i = 0; i < blocks[0].size(); ++i)
        for (const std::vector<Bytes>& block : blocks)
            receive(block[i]);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3}));
    for (std::uint64_t id = 1; id <= 3; ++id)
        EXPECT_EQ(port.delivered[id - 1].data(64), picture(64, id));
}

TEST_F(BlockAssembler, EndsTheOldestBlockWhenTooManyAreInFlight)
{
    queue(20, 64);
    const std::size_t window = stream::BlockAssembler::window;
    for (std::uint64_t id = 1; id <= window + 1; ++id) {
        receive(packets::image_leader({.id = id}, image_8x8, id));
        receive(packets::payload({.id = id}, 1, picture(stride, id)));
    }
    EXPECT_EQ(assembler.blocks_in_flight(), window);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
}

TEST_F(BlockAssembler, CountsBlockIdsOfWhichNothingCame)
{
    queue(3, 64);
    for (const std::uint64_t id : {10U, 11U, 15U})
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{10, 11, 15}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 3U);
}

TEST_F(BlockAssembler, GoesOnFrom65535To1)
{
    queue(4, 64);
    for (const std::uint64_t id : {65534U, 65535U, 1U, 2U})
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, id));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{65534, 65535, 1, 2}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
}

TEST_F(BlockAssembler, KeepsTheOrderOfBlocksInFlightAcrossTheWrap)
{
    queue(2, 64);
    const std::vector<Bytes> last = packets::image_block({.id = 65535}, image_8x8, picture(64, 1), stride, 1);
    for (std::size_t i = 0; i + 1 < last.size(); ++i)
        receive(last[i]);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 2), stride, 2));
    receive(last.back());
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{65535, 1}));
}

TEST_F(BlockAssembler, ReceivesExtendedIdsBeyond32Bits)
{
    queue(3, 64);
    const std::uint64_t base = 0x123456789ABCULL;
    for (std::uint64_t i = 0; i < 3; ++i)
        receive(packets::image_block({.id = base + i, .extended = true}, image_8x8, picture(64, i), stride, i));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{base, base + 1, base + 2}));
    EXPECT_EQ(port.delivered[2].data(64), picture(64, 2));
    EXPECT_EQ(port.delivered[0].buffer->GetBlockID(), 0x9ABCU);
}

TEST_F(BlockAssembler, ExtendedIdsDoNotWrapAt65535)
{
    queue(2, 64);
    for (const std::uint64_t id : {65535U, 65536U})
        receive(packets::image_block({.id = id, .extended = true}, image_8x8, picture(64, id), stride, id));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{65535, 65536}));
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(BlockAssembler, FollowsADeviceThatSwitchesToExtendedIds)
{
    queue(2, 64);
    receive(packets::image_block({.id = 40}, image_8x8, picture(64, 1), stride, 1));
    receive(packets::image_block({.id = 1, .extended = true}, image_8x8, picture(64, 2), stride, 2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{40, 1}));
    EXPECT_EQ(assembler.counters().restarts, 1U);
}

TEST_F(BlockAssembler, FollowsADeviceThatStartsAnewAfterFewBlocks)
{
    queue(6, 64);
    for (const std::uint64_t id : {1U, 2U, 3U})
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, 100 + id));
    for (const std::uint64_t id : {1U, 2U, 3U})
        receive(packets::image_block({.id = id}, image_8x8, picture(64, id), stride, 200 + id));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 3, 1, 2, 3}));
    EXPECT_EQ(assembler.counters().restarts, 1U);
    EXPECT_EQ(assembler.counters().block_ids_missing, 0U);
}

TEST_F(BlockAssembler, FollowsADeviceThatStartsAnewAfterManyBlocks)
{
    queue(2, 64);
    receive(packets::image_block({.id = 5000}, image_8x8, picture(64, 1), stride, 1));
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 2), stride, 2));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{5000, 1}));
    EXPECT_EQ(assembler.counters().restarts, 1U);
}

TEST_F(BlockAssembler, FollowsARestartWithoutTimestampsOnceOldPacketsCannotCome)
{
    queue(3, 64);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 0));
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 0));
    pass(101ms);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 3), stride, 0));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2, 1}));
}

TEST_F(BlockAssembler, EndsAHalfReceivedBlockWhenItsNumberStartsAnew)
{
    queue(2, 64);
    const std::vector<Bytes> old = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    receive(old[0]);
    receive(old[1]);
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 2), stride, 2));
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1, 1}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    EXPECT_EQ(port.delivered[1].data(64), picture(64, 2));
}

TEST_F(BlockAssembler, DoesNotTakeALateDuplicateOfALeaderForARestart)
{
    queue(2, 64);
    const std::vector<Bytes> first = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 11);
    receive(first);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 12));
    receive(first[0]);
    EXPECT_EQ(packets(PacketFate::late), 1U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
}

TEST_F(BlockAssembler, ReceivesRawData)
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

TEST_F(BlockAssembler, ReceivesChunkDataOfUnannouncedSize)
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

TEST_F(BlockAssembler, LearnsTheSizeOfUnannouncedBlocks)
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

TEST_F(BlockAssembler, ReceivesAnImageWithChunksBehindIt)
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

TEST_F(BlockAssembler, ReceivesABlockInOnePacket)
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

TEST_F(BlockAssembler, ReportsPayloadLayoutsThatItDoesNotKnow)
{
    queue(1, 64);
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    Bytes multi_part = packets::header({.id = 1}, 7, 1);
    multi_part.resize(60);
    receive(multi_part);
    receive(packets::image_trailer({.id = 1}, 2, 8));
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::InvalidDataFormat);
    EXPECT_EQ(packets(PacketFate::unsupported), 1U);
}

TEST_F(BlockAssembler, PacketsWithAnErrorStatusCarryNoData)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block[2] = packets::header({.id = 1, .status = 0x800C}, 3, 2);
    block[3] = packets::header({.id = 1, .status = 0x800D}, 3, 3);
    receive(block);
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::MissingPackets);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 3}}));
    EXPECT_EQ(packets(PacketFate::unavailable), 2U);
    EXPECT_TRUE(port.delivered[0].buffer->GetImage()->IsDataOverrun());
    EXPECT_EQ(assembler.counters().data_overruns, 1U);
}

TEST_F(BlockAssembler, CountsPacketsMarkedAsSentAgain)
{
    queue(2, 64);
    std::vector<Bytes> standard = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    standard[2][0] = 0x01;  // status 0x0100
    receive(standard);
    std::vector<Bytes> extended =
        packets::image_block({.id = 2, .extended = true}, image_8x8, picture(64, 2), stride, 10);
    extended[3][3] = 0x01;  // flag 0x0001
    receive(extended);
    ASSERT_EQ(port.delivered.size(), 2U);
    for (const Delivered& block : port.delivered) {
        EXPECT_EQ(block.result(), PvResult::OK);
        EXPECT_EQ(block.buffer->GetExpectedResendCount(), 1U);
    }
    EXPECT_EQ(assembler.counters().packets_resent, 2U);
}

TEST_F(BlockAssembler, TellsPartialFromWholeMissingLines)
{
    // 8 bytes a line, 20 bytes a packet: one packet always holds a whole line and parts of others
    queue(2, 64);
    const std::vector<Bytes> wide = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U})
        receive(wide[i]);
    pass(100ms);
    // 32 bytes a line, 20 bytes a packet: no packet holds a whole line
    const std::vector<Bytes> narrow =
        packets::image_block({.id = 2}, {.width = 32, .height = 2}, picture(64, 2), stride, 2);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U})
        receive(narrow[i]);
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_TRUE(port.delivered[0].buffer->GetImage()->IsFullLineMissing());
    EXPECT_TRUE(port.delivered[0].buffer->GetImage()->IsPartialLineMissing());
    EXPECT_FALSE(port.delivered[1].buffer->GetImage()->IsFullLineMissing());
    EXPECT_TRUE(port.delivered[1].buffer->GetImage()->IsPartialLineMissing());
}

TEST_F(BlockAssembler, CountsPayloadOutOfOrder)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    std::swap(block[1], block[2]);
    receive(block);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(assembler.counters().packets_out_of_order, 1U);
}

TEST_F(BlockAssembler, AbortDeliversBlocksInFlightAsAborted)
{
    queue(3, 64);
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload({.id = 1}, 1, picture(20, 1)));
    receive(packets::image_leader({.id = 2}, image_8x8, 2));  // has no buffer yet
    assembler.abort();
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::Aborted);
    EXPECT_EQ(blocks(BlockFate::aborted), 1U);
    EXPECT_EQ(blocks(BlockFate::discarded), 1U);
    EXPECT_EQ(port.idle.size(), 2U);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
}

TEST_F(BlockAssembler, DiscardPutsBuffersBackInTheirOrder)
{
    queue(3, 64);
    const std::deque<PvBuffer*> before = port.idle;
    for (std::uint64_t id = 1; id <= 2; ++id) {
        receive(packets::image_leader({.id = id}, image_8x8, id));
        receive(packets::payload({.id = id}, 1, picture(20, id)));
    }
    EXPECT_EQ(port.idle.size(), 1U);
    assembler.discard();
    EXPECT_EQ(port.idle, before);
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_EQ(blocks(BlockFate::discarded), 2U);
    // numbering is forgotten: block 1 is not late
    receive(packets::image_block({.id = 1}, image_8x8, picture(64, 3), stride, 1));
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1}));
}

TEST_F(BlockAssembler, ForgetsABufferThatGoesAway)
{
    auto buffer = std::make_unique<PvBuffer>();
    port.idle.push_back(buffer.get());
    receive(packets::image_leader({.id = 1}, image_8x8, 1));
    receive(packets::payload({.id = 1}, 1, picture(20, 1)));
    EXPECT_TRUE(assembler.forget(*buffer));
    EXPECT_FALSE(assembler.forget(*buffer));
    buffer.reset();
    receive(packets::payload({.id = 1}, 2, picture(20, 1)));
    pass(100ms);
    EXPECT_TRUE(port.delivered.empty());
    EXPECT_EQ(blocks(BlockFate::no_buffer), 1U);
}

TEST_F(BlockAssembler, ALyingPacketIdDoesNotMakeBuffersGrow)
{
    PvBuffer buffer;
    port.idle.push_back(&buffer);
    const BlockForm form{.id = 1, .extended = true};
    receive(packets::chunk_leader(form, 1));
    receive(packets::payload(form, 1, picture(1000, 1)));
    receive(packets::payload(form, 0xFFFFFFFF, picture(1000, 1)));
    pass(1s);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::BufferTooSmall);
    EXPECT_LE(buffer.GetSize(), 1000U);
    PvBuffer next;
    port.idle.push_back(&next);
    receive(packets::chunk_leader({.id = 2, .extended = true}, 2));
    receive(packets::payload({.id = 2, .extended = true}, 1, picture(1000, 1)));
    EXPECT_LE(next.GetSize(), 1000U);
}

TEST_F(BlockAssembler, AnImageTooLargeForAnyBufferFailsAlone)
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
