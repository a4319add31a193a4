// Assembling the packets of one block: their order, loss, repetition and damage.
#include <numeric>

#include "tests/sdk/stream_core/assembler_fixture.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::BlockForm;
using packets::picture;
using stream::PacketFate;

using AssemblerPackets = Assembly;

TEST_F(AssemblerPackets, DeliversTheSameForEveryOrderOfAnImagesPackets)
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
        own.set_settings(settings);
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

TEST_F(AssemblerPackets, DeliversTheSameForEveryOrderOfAFullLastPacket)
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
        own.set_settings(settings);
        for (const std::size_t i : order) {
            const net::Datagram datagram{block[i], {camera, 1}};
            own.process({&datagram, 1}, now);
        }
        ASSERT_EQ(own_port.delivered.size(), 1U);
        EXPECT_EQ(own_port.delivered[0].result(), PvResult::OK);
        EXPECT_EQ(buffer.data(), pixels);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(AssemblerPackets, TellsWhichPacketIsLost)
{
    const Bytes pixels = picture(64, 1);
    const std::vector<Bytes> block = packets::image_block({.id = 5}, image_8x8, pixels, stride, 9);
    for (std::uint32_t lost = 0; lost < block.size(); ++lost) {
        SCOPED_TRACE(lost);
        Port own_port;
        GuardedBuffer buffer(64);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        own.set_settings(settings);
        for (std::uint32_t i = 0; i < block.size(); ++i) {
            const net::Datagram datagram{block[i], {camera, 1}};
            if (i != lost) {
                own.process({&datagram, 1}, now);
            }
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
        if (lost >= 1 && lost <= 4) {
            std::fill(expected.begin() + (lost - 1) * 20, expected.begin() + std::min<std::ptrdiff_t>(lost * 20, 64),
                      GuardedBuffer::fill);
        }
        EXPECT_EQ(buffer.data(), expected);
    }
}

TEST_F(AssemblerPackets, MergesNeighbouringMissingPacketsIntoRanges)
{
    queue(1, 200);
    const std::vector<Bytes> block =
        packets::image_block({.id = 1}, {.width = 10, .height = 20}, picture(200, 1), stride, 9);
    for (const std::size_t i : {3U, 7U, 8U}) {  // of 0 to 11
        receive(block[i]);
    }
    pass(100ms);
    pass(1s);
    ASSERT_EQ(port.delivered.size(), 1U);
    // without leader and trailer nothing past the last packet seen is known, but that more must have followed
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{0, 2}, {4, 6}, {9, 9}}));
    EXPECT_EQ(port.delivered[0].buffer->GetLostPacketCount(), 7U);
}

TEST_F(AssemblerPackets, CountsDuplicatesOnce)
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

TEST_F(AssemblerPackets, IgnoresOtherSenders)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    for (const Bytes& packet : block) {
        receive(packet, Ipv4Address{camera.value + 1});
    }
    EXPECT_EQ(packets(PacketFate::foreign), block.size());
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
    EXPECT_EQ(port.idle.size(), 1U);
}

TEST_F(AssemblerPackets, CountsMalformedDatagramsAndGoesOn)
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

TEST_F(AssemblerPackets, ReplacesAPacketThatWasCutOnItsWay)
{
    for (std::uint32_t cut = 1; cut <= 4; ++cut) {
        SCOPED_TRACE(cut);
        Port own_port;
        GuardedBuffer buffer(64);
        own_port.idle.push_back(&buffer.buffer());
        stream::BlockAssembler own(own_port, camera);
        own.set_settings(settings);
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

TEST_F(AssemblerPackets, MissesAPacketThatWasCutAndNotReplaced)
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

TEST_F(AssemblerPackets, KeepsAWholeLastPacketWhenAnotherAndTheTrailerAreMissing)
{
    queue(1, 64);
    const std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    for (const std::size_t i : {0U, 1U, 3U, 4U}) {  // of 0 to 5; packet 4 is short because the image ends there
        receive(block[i]);
    }
    pass(100ms);
    pass(1s);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].missing(), (Ranges{{2, 2}, {5, 5}}));
    EXPECT_EQ(port.delivered[0].buffer->GetLostPacketCount(), 2U);
    EXPECT_EQ(packets(PacketFate::malformed), 0U);
}

TEST_F(AssemblerPackets, RefusesPacketsLongerThanTheOthers)
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

TEST_F(AssemblerPackets, AcceptsALastPacketThatIsFilledUp)
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

TEST_F(AssemblerPackets, PacketsWithAnErrorStatusCarryNoData)
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

TEST_F(AssemblerPackets, CountsPacketsMarkedAsSentAgain)
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
        EXPECT_EQ(block.buffer->GetExpectedResendCount(), 0U) << "nobody asked for them";
    }
    EXPECT_EQ(assembler.counters().packets_resent, 2U);
    EXPECT_EQ(assembler.counters().resends_unexpected, 2U);
}

TEST_F(AssemblerPackets, IgnoresWhatComesFromTheControlPort)
{
    queue(1, 64);
    const Bytes leader = packets::image_leader({.id = 1}, image_8x8, 9);
    const net::Datagram datagram{leader, {camera, 3956}};
    assembler.process({&datagram, 1}, now);
    ++sent;
    EXPECT_EQ(packets(PacketFate::foreign), 1U);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
}

TEST_F(AssemblerPackets, ATrailerIsKnownByItsIdAlone)
{
    queue(2, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block.back().resize(12);  // no lines, as older cameras send it
    receive(block);
    block = packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 10);
    block.back().resize(8);  // nothing but the header
    receive(block);
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(blocks(stream::BlockFate::complete), 2U);
    EXPECT_EQ(packets(PacketFate::malformed), 0U);
}

TEST_F(AssemblerPackets, ATrailerThatTellsOfAnOverrunEndsItsBlock)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block.back() = packets::image_trailer({.id = 1, .status = 0x800D}, 5, 8);
    receive(block);
    ASSERT_EQ(ids(), (std::vector<std::uint64_t>{1}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::ImageError);
    EXPECT_TRUE(port.delivered[0].buffer->GetImage()->IsDataOverrun());
    EXPECT_EQ(port.delivered[0].data(64), picture(64, 1));
    EXPECT_EQ(blocks(stream::BlockFate::image_error), 1U);
}

TEST_F(AssemblerPackets, AWholeImageDoesNotWaitForALostTrailer)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block.pop_back();
    receive(block);
    pass(std::chrono::milliseconds(settings.reordering_timeout_ms) - 1us);
    EXPECT_TRUE(port.delivered.empty());
    pass(1us);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(AssemblerPackets, OnlyADrainedReadTellsThatPacketsAreOverdue)
{
    queue(2, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    const Bytes late = block[2];
    block.erase(block.begin() + 2);
    receive(block);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 10));
    now += 1s;
    assembler.process({}, now, false);
    EXPECT_TRUE(port.delivered.empty()) << "the packet may wait to be read";
    receive(late);
    EXPECT_EQ(ids(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(port.delivered[0].result(), PvResult::OK);
}

TEST_F(AssemblerPackets, CountsStatusesOfPacketsWithoutData)
{
    queue(1, 64);
    receive(packets::header({.id = 1, .status = 0x8008}, 3, 2));
    receive(packets::header({.id = 1, .status = 0x8ABC}, 3, 2));
    receive(packets::header({.id = 1, .status = 0x800C}, 3, 2));
    EXPECT_EQ(assembler.counters().local_problems, 1U);
    EXPECT_EQ(assembler.counters().statuses_unknown, 1U);
    EXPECT_EQ(packets(PacketFate::unavailable), 3U);
    EXPECT_EQ(assembler.blocks_in_flight(), 0U) << "none of them opens a block";
}

TEST_F(AssemblerPackets, TellsPartialFromWholeMissingLines)
{
    // 8 bytes a line, 20 bytes a packet: one packet always holds a whole line and parts of others
    queue(2, 64);
    const std::vector<Bytes> wide = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 1);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U}) {
        receive(wide[i]);
    }
    pass(100ms);
    // 32 bytes a line, 20 bytes a packet: no packet holds a whole line
    const std::vector<Bytes> narrow =
        packets::image_block({.id = 2}, {.width = 32, .height = 2}, picture(64, 2), stride, 2);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U}) {
        receive(narrow[i]);
    }
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_TRUE(port.delivered[0].buffer->GetImage()->IsFullLineMissing());
    EXPECT_TRUE(port.delivered[0].buffer->GetImage()->IsPartialLineMissing());
    EXPECT_FALSE(port.delivered[1].buffer->GetImage()->IsFullLineMissing());
    EXPECT_TRUE(port.delivered[1].buffer->GetImage()->IsPartialLineMissing());
}

TEST_F(AssemblerPackets, MissingLinesDependOnWhereTheGapBeginsAndEnds)
{
    struct Case {
        std::size_t stride;
        std::size_t lost;  // packet ID
        bool full;
        bool partial;
    };
    // 8 lines of 8 bytes
    const std::vector<Case> cases{
        {8, 2, true, false},   // exactly one line
        {8, 8, true, false},   // exactly the last line
        {16, 2, true, false},  // exactly two lines
        {12, 1, true, true},   // a line and the first half of the next
        {12, 2, true, true},   // the second half of a line and the next
        {4, 1, false, true},   // the first half of a line
        {4, 2, false, true},   // the second half of a line
        {10, 2, false, true},  // the end of a line and the beginning of the next
    };
    std::uint64_t full = 0;
    std::uint64_t partial = 0;
    for (const Case& one : cases) {
        SCOPED_TRACE(std::to_string(one.stride) + " bytes a packet, without packet " + std::to_string(one.lost));
        queue(1, 64);
        const std::uint64_t id = port.delivered.size() + 1;
        std::vector<Bytes> block = packets::image_block({.id = id}, image_8x8, picture(64, id), one.stride, id);
        block.erase(block.begin() + static_cast<std::ptrdiff_t>(one.lost));
        receive(block);
        pass(100ms);
        ASSERT_EQ(port.delivered.size(), id);
        const PvImage& image = *port.delivered.back().buffer->GetImage();
        EXPECT_EQ(image.IsFullLineMissing(), one.full);
        EXPECT_EQ(image.IsPartialLineMissing(), one.partial);
        full += one.full ? 1 : 0;
        partial += one.partial ? 1 : 0;
        EXPECT_EQ(assembler.counters().full_line_missing, full);
        EXPECT_EQ(assembler.counters().partial_line_missing, partial);
    }
}

TEST_F(AssemblerPackets, WhatBefellABlockIsNotTheNextBlocks)
{
    queue(2, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    block[0][8] = 0x12;                                             // the second of two fields
    block[1][0] = 0x01;                                             // sent again
    block.insert(block.begin() + 2, block[1]);                      // twice
    block[3] = packets::header({.id = 1, .status = 0x800D}, 3, 2);  // overrun
    block[4] = packets::payload({.id = 1}, 9, Bytes{});             // malformed
    block.back() = packets::image_trailer({.id = 1}, 5, 6);         // two lines less
    receive(block);
    pass(100ms);
    receive(packets::image_block({.id = 2}, image_8x8, picture(64, 2), stride, 10));
    ASSERT_EQ(port.delivered.size(), 2U);
    const PvBuffer& first = *port.delivered[0].buffer;
    EXPECT_TRUE(first.GetImage()->IsDataOverrun());
    EXPECT_TRUE(first.GetImage()->IsInterlacedOdd());
    EXPECT_EQ(first.GetImage()->GetHeight(), 6U);
    EXPECT_NE(first.GetIgnoredPacketCount(), 0U);
    EXPECT_NE(first.GetLostPacketCount(), 0U);

    const PvBuffer& second = *port.delivered[1].buffer;
    EXPECT_EQ(port.delivered[1].result(), PvResult::OK);
    EXPECT_FALSE(second.GetImage()->IsDataOverrun());
    EXPECT_FALSE(second.GetImage()->IsInterlacedOdd());
    EXPECT_FALSE(second.GetImage()->IsInterlacedEven());
    EXPECT_FALSE(second.GetImage()->IsFullLineMissing());
    EXPECT_FALSE(second.GetImage()->IsPartialLineMissing());
    EXPECT_EQ(second.GetImage()->GetHeight(), 8U);
    EXPECT_EQ(second.GetExpectedResendCount(), 0U);
    EXPECT_EQ(second.GetIgnoredPacketCount(), 0U);
    EXPECT_EQ(second.GetLostPacketCount(), 0U);
    EXPECT_TRUE(port.delivered[1].missing().empty());
    EXPECT_EQ(assembler.counters().data_overruns, 1U);
}

TEST_F(AssemblerPackets, CountsPayloadOutOfOrder)
{
    queue(1, 64);
    std::vector<Bytes> block = packets::image_block({.id = 1}, image_8x8, picture(64, 1), stride, 9);
    std::swap(block[1], block[2]);
    receive(block);
    ASSERT_EQ(port.delivered.size(), 1U);
    EXPECT_EQ(assembler.counters().packets_out_of_order, 1U);
}

TEST_F(AssemblerPackets, ALyingPacketIdDoesNotMakeBuffersGrow)
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

}  // namespace
