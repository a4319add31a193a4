// Blocks of compressed images, files and types of a maker's own, and blocks of all types in one packet.
#include <algorithm>
#include <vector>

#include "tests/sdk/stream_core/assembler_fixture.h"
#include "tests/sdk/stream_core/type_packets.h"

using namespace vex;
using namespace assembly;
using namespace packets;
using stream::PacketFate;

namespace {

class AssemblerTypes : public Assembly {
protected:
    const Delivered& only()
    {
        EXPECT_EQ(port.delivered.size(), 1U);
        static const Delivered none;
        return port.delivered.empty() ? none : port.delivered.back();
    }
};

const BlockForm standard{.id = 1};

}  // namespace

TEST_F(AssemblerTypes, CompressedImagesAreRawDataWithTheirFormatNamed)
{
    for (const auto& [type, name] : {std::pair{6, "JPEG"}, std::pair{7, "JPEG 2000"}}) {
        SCOPED_TRACE(name);
        queue(1, 64);
        const BlockForm block{.id = static_cast<std::uint64_t>(type)};
        const Bytes data = picture(50, 1);
        receive(sized_leader(block, static_cast<std::uint16_t>(type), 50));
        receive(packets::payload_packets(block, data, stride));
        receive(trailer_of(block, 4, static_cast<std::uint16_t>(type)));
        ASSERT_FALSE(port.delivered.empty());
        const Delivered& delivered = port.delivered.back();
        EXPECT_EQ(delivered.result(), PvResult::OK);
        EXPECT_EQ(delivered.buffer->GetPayloadType(), PvPayloadTypeRawData);
        ASSERT_NE(delivered.buffer->GetRawData(), nullptr);
        EXPECT_STREQ(delivered.buffer->GetRawData()->GetFormatName(), name);
        EXPECT_EQ(delivered.buffer->GetRawData()->GetPayloadLength(), 50U);
        EXPECT_EQ(delivered.data(50), data);
    }
}

TEST_F(AssemblerTypes, H264HasTheTimeThatItsPacketsTell)
{
    const auto packet = [](std::uint32_t id, const Bytes& data) {
        Bytes bytes = packets::header(standard, 5, id);
        packets::put(bytes, 77, 8);
        append(bytes, data);
        return bytes;
    };
    const Bytes data = picture(50, 1);
    Bytes leader = packets::header(standard, 1, 0);
    packets::put(leader, 8, 4);
    packets::put(leader, 50, 8);
    packets::put(leader, 0, 20);
    for (const bool late_leader : {false, true}) {
        SCOPED_TRACE(late_leader);
        port.delivered.clear();
        queue(1, 64);
        if (!late_leader) {
            receive(leader);
        }
        receive(packet(1, slice(data, 0, 20)));
        receive(packet(2, slice(data, 20, 40)));
        if (late_leader) {
            receive(leader);
        }
        receive(packet(3, slice(data, 40, 50)));
        receive(trailer_of(standard, 4, 8));
        ASSERT_EQ(only().result(), PvResult::OK);
        EXPECT_EQ(only().buffer->GetTimestamp(), 77U);
        EXPECT_STREQ(only().buffer->GetRawData()->GetFormatName(), "H.264");
        EXPECT_EQ(only().data(50), data);
        assembler.discard();
    }
    queue(1, 64);
    Bytes cut = packets::header({.id = 2}, 5, 1);
    packets::put(cut, 77, 7);
    receive(cut);
    EXPECT_EQ(Assembly::packets(PacketFate::malformed), 1U);
}

TEST_F(AssemblerTypes, FilesHaveTheirNameWheneverTheLeaderComes)
{
    for (const bool late_leader : {false, true}) {
        SCOPED_TRACE(late_leader);
        port.delivered.clear();
        assembler.discard();
        queue(1, 64);
        const Bytes data = picture(30, 1);
        Bytes leader = sized_leader(standard, 3, 30);
        append(leader, {'a', '.', 'x', 0});
        const std::vector<Bytes> payload = packets::payload_packets(standard, data, stride);
        if (!late_leader) {
            receive(leader);
        }
        receive(payload[0]);
        if (late_leader) {
            receive(leader);
        }
        receive(payload[1]);
        receive(trailer_of(standard, 3, 3));
        ASSERT_EQ(only().result(), PvResult::OK);
        EXPECT_EQ(only().buffer->GetPayloadType(), PvPayloadTypeFile);
        EXPECT_EQ(only().buffer->GetFileName().str(), "a.x");
        EXPECT_EQ(only().data(30), data);
    }
}

TEST_F(AssemblerTypes, AMakersOwnTypeIsItsBytes)
{
    queue(1, 64);
    const Bytes data = picture(30, 1);
    receive(leader_of(standard, 0x8123));
    receive(packets::payload_packets(standard, data, stride));
    receive(trailer_of(standard, 3, 0x8123));
    ASSERT_EQ(only().result(), PvResult::OK);
    EXPECT_EQ(only().buffer->GetPayloadType(), static_cast<PvPayloadType>(0x8123));
    EXPECT_EQ(only().buffer->GetAcquiredSize(), 30U);
    EXPECT_EQ(only().data(30), data);
}

TEST_F(AssemblerTypes, ALateLeaderWithALargerImageLosesNothingThatCame)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Alloc(30).IsOK());
    port.idle.push_back(&buffer);
    const Bytes pixels = picture(64, 1);
    std::vector<Bytes> block = packets::image_block(standard, image_8x8, pixels, stride, 9);
    std::rotate(block.begin(), block.begin() + 1, block.begin() + 2);  // payload 1 before the leader
    receive(block);
    ASSERT_EQ(only().result(), PvResult::OK);
    EXPECT_EQ(only().data(64), pixels);
}

TEST_F(AssemblerTypes, EveryTypeThatHasOneMayComeInOnePacket)
{
    std::uint64_t id = 0;
    const auto all_in = [&](const Bytes& leader, const Bytes& trailer, const Bytes& rest) {
        port.delivered.clear();
        queue(1, 64);
        Bytes packet = packets::header({.id = ++id}, 4, 0);
        packet.insert(packet.end(), leader.begin() + 8, leader.end());
        packet.insert(packet.end(), trailer.begin() + 8, trailer.end());
        append(packet, rest);
        receive(packet);
        EXPECT_EQ(only().result(), PvResult::OK) << id;
        return only().data(16);
    };
    const Bytes data = chunk(1, picture(8, 1));
    EXPECT_EQ(all_in(sized_leader(standard, 2, 16), trailer_of(standard, 2, 2), data), data);
    EXPECT_EQ(all_in(sized_leader(standard, 6, 16), trailer_of(standard, 2, 6), data), data);
    EXPECT_EQ(all_in(sized_leader(standard, 7, 16), trailer_of(standard, 2, 7), data), data);
    Bytes file = sized_leader(standard, 3, 16);
    append(file, {'n', 0});
    EXPECT_EQ(all_in(file, trailer_of(standard, 2, 3), data), data);
    EXPECT_EQ(only().buffer->GetFileName().str(), "n");
    EXPECT_EQ(all_in(packets::chunk_leader(standard, 5), packets::chunk_trailer(standard, 2, 16), data), data);
    EXPECT_EQ(only().buffer->GetChunkCount(), 1U);
    Bytes h264 = packets::header(standard, 1, 0);
    packets::put(h264, 8, 4);
    packets::put(h264, 16, 8);
    packets::put(h264, 0, 20);
    Bytes timed;
    packets::put(timed, 77, 8);
    append(timed, data);
    EXPECT_EQ(all_in(h264, trailer_of(standard, 2, 8), timed), data);
    EXPECT_EQ(only().buffer->GetTimestamp(), 77U);
    const Bytes pixels = picture(64, 3);
    Bytes zone(8, 0);
    append(zone, pixels);
    EXPECT_EQ(all_in(zone_leader(standard), packets::image_trailer(standard, 2, 8, 9), zone), slice(pixels, 0, 16));
}
