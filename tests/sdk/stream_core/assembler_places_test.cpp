// Blocks whose packets tell their places: zones of an image, and several parts.
#include <vector>

#include "tests/sdk/stream_core/assembler_fixture.h"
#include "tests/sdk/stream_core/type_packets.h"

using namespace vex;
using namespace assembly;
using namespace packets;
using stream::PacketFate;

namespace {

class AssemblerPlaces : public Assembly {
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

struct PartForm {
    std::uint16_t type = 1;
    std::uint64_t length = 0;
    std::uint32_t width = 0;  // of images
    std::uint32_t height = 0;
};

Bytes parts_leader(const std::vector<PartForm>& parts, std::uint16_t type = 10)
{
    Bytes bytes = leader_of(extended, type);
    bytes[7] = static_cast<std::uint8_t>(parts.size());
    for (const PartForm& part : parts) {
        packets::put(bytes, part.type, 2);
        packets::put(bytes, part.length, 6);
        packets::put(bytes, part.type <= 9 ? 0x01080001 : 0, 4);
        packets::put(bytes, 3, 3);  // source
        packets::put(bytes, 0, 5);
        packets::put(bytes, 0x00070008, 4);  // purpose, region
        packets::put(bytes, part.width, 4);
        packets::put(bytes, part.height, 4);
        packets::put(bytes, 0, 16);
    }
    return bytes;
}

Bytes parts_trailer(std::uint32_t packet_id, const std::vector<PartForm>& parts, std::uint16_t type = 10)
{
    Bytes bytes = trailer_of(extended, packet_id, type);
    for (const PartForm& part : parts) {
        packets::put(bytes, part.type, 2);
        packets::put(bytes, part.length, 6);
        packets::put(bytes, part.height, 4);
        packets::put(bytes, 0, 4);
    }
    return bytes;
}

Bytes bytes_of(const PvBufferPart& part) { return {part.Data, part.Data + part.Size}; }

}  // namespace

// ---- zones ----

TEST_F(AssemblerPlaces, ZonesAreOneImageWhereverTheirPacketsBegin)
{
    queue(1, 64);
    const Bytes pixels = picture(64, 1);
    receive(zone_leader(extended));
    // one zone from the bottom up, one from the top down, in packets of different lengths
    receive(placed(extended, 6, 1, 0, 24, slice(pixels, 24, 32)));
    receive(placed(extended, 6, 2, 0, 8, slice(pixels, 8, 24)));
    receive(placed(extended, 6, 3, 0, 32, slice(pixels, 32, 62)));
    receive(placed(extended, 6, 4, 0, 0, slice(pixels, 0, 8)));
    receive(placed(extended, 6, 5, 0, 62, slice(pixels, 62, 64)));
    receive(packets::image_trailer(extended, 6, 8, 9));
    ASSERT_EQ(only().result(), PvResult::OK);
    ASSERT_NE(only().buffer->GetImage(), nullptr);
    EXPECT_EQ(only().buffer->GetImage()->GetHeight(), 8U);
    EXPECT_EQ(only().data(64), pixels);
}

TEST_F(AssemblerPlaces, ZonesThatOverlapLeaveAHoleThatIsSeen)
{
    queue(1, 64);
    receive(zone_leader(extended));
    receive(placed(extended, 6, 1, 0, 0, picture(40, 1)));
    receive(placed(extended, 6, 2, 0, 0, picture(24, 1)));
    receive(packets::image_trailer(extended, 3, 8, 9));
    EXPECT_EQ(only().result(), PvResult::MissingPackets);
    EXPECT_TRUE(only().buffer->GetImage()->IsFullLineMissing());
    EXPECT_FALSE(only().buffer->GetImage()->IsPartialLineMissing());
    EXPECT_EQ(only().buffer->GetAcquiredSize(), 40U);
}

TEST_F(AssemblerPlaces, ZonesAreCompleteWithoutATrailer)
{
    queue(1, 64);
    receive(zone_leader(extended));
    receive(placed(extended, 6, 2, 0, 0, picture(32, 1)));
    receive(placed(extended, 6, 1, 0, 32, picture(32, 2)));
    pass(2ms);
    EXPECT_EQ(only().result(), PvResult::OK);
}

TEST_F(AssemblerPlaces, ZonesOutsideTheImageOrTheBufferAreNotWritten)
{
    queue(1, 50);
    receive(zone_leader(extended));
    receive(placed(extended, 6, 1, 0, 60, picture(5, 1)));
    receive(placed(extended, 6, 2, 0, 0xFFFFFFFFFFFF, picture(5, 1)));
    EXPECT_EQ(Assembly::packets(PacketFate::malformed), 2U);
    receive(placed(extended, 6, 1, 0, 0, picture(40, 1)));
    receive(placed(extended, 6, 2, 0, 40, picture(24, 2)));
    receive(packets::image_trailer(extended, 3, 8, 9));
    EXPECT_EQ(only().result(), PvResult::BufferTooSmall);
    EXPECT_EQ(only().data(40), picture(40, 1));
    EXPECT_EQ(slice(only().data(50), 40, 50), slice(picture(24, 2), 0, 10));
}

TEST_F(AssemblerPlaces, PlainPacketsAndThoseOfZonesDoNotMix)
{
    queue(2, 64);
    const Bytes pixels = picture(64, 1);
    // a plain image takes none of zones
    std::vector<Bytes> block = packets::image_block(standard, image_8x8, pixels, stride, 9);
    block.insert(block.begin() + 2, placed(standard, 6, 2, 0, 0, picture(20, 2)));
    receive(block);
    EXPECT_EQ(only().result(), PvResult::OK);
    EXPECT_EQ(only().data(64), pixels);
    EXPECT_EQ(Assembly::packets(PacketFate::malformed), 1U);
    // one whose packets came before a leader of the other kind cannot be made sense of
    receive(placed({.id = 2}, 6, 1, 0, 0, picture(64, 1)));
    receive(packets::image_leader({.id = 2}, image_8x8, 10));
    receive(packets::image_trailer({.id = 2}, 2, 8));
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_EQ(port.delivered[1].result(), PvResult::InvalidDataFormat);
}

// ---- parts ----

TEST_F(AssemblerPlaces, TheFirstImageOfSeveralPartsIsTheImageAndAllAreFoundByIndex)
{
    queue(1, 200);
    const Bytes chunks = chunk(0xA1, {1, 2, 3, 4});
    const std::vector<PartForm> parts{{.type = 0x000B, .length = 30},
                                      {.type = 1, .length = 64, .width = 8, .height = 8},
                                      {.type = 9, .length = 16, .width = 4, .height = 4},
                                      {.type = 0x000A, .length = chunks.size()}};
    receive(parts_leader(parts));
    receive(placed(extended, 7, 1, 0, 0, picture(30, 1)));
    receive(placed(extended, 7, 2, 1, 0, picture(40, 2)));
    receive(placed(extended, 7, 3, 2, 0, picture(16, 3)));
    receive(placed(extended, 7, 4, 1, 40, picture(24, 4)));
    receive(placed(extended, 7, 5, 3, 0, chunks));
    receive(parts_trailer(6, parts));
    ASSERT_EQ(only().result(), PvResult::OK);
    const PvBuffer& buffer = *only().buffer;
    ASSERT_NE(buffer.GetImage(), nullptr);
    EXPECT_EQ(buffer.GetImage()->GetWidth(), 8U);
    EXPECT_EQ(buffer.GetImage()->GetHeight(), 8U);
    EXPECT_EQ(only().data(40), picture(40, 2));
    EXPECT_EQ(buffer.GetAcquiredSize(), 30U + 64U + 16U + chunks.size());
    ASSERT_EQ(buffer.GetPartCount(), 4U);
    PvBufferPart part;
    ASSERT_TRUE(buffer.GetPart(0, part).IsOK());
    EXPECT_EQ(part.Type, PvPartTypeJPEG);
    EXPECT_EQ(bytes_of(part), picture(30, 1));
    ASSERT_TRUE(buffer.GetPart(1, part).IsOK());
    EXPECT_EQ(part.Data, buffer.GetDataPointer());
    EXPECT_EQ(part.Size, 64U);
    EXPECT_EQ(part.SourceID, 3U);
    EXPECT_EQ(part.PurposeID, 7U);
    EXPECT_EQ(part.RegionID, 8U);
    ASSERT_TRUE(buffer.GetPart(2, part).IsOK());
    EXPECT_EQ(part.Type, PvPartTypeConfidenceMap);
    EXPECT_EQ(part.Width, 4U);
    EXPECT_EQ(bytes_of(part), picture(16, 3));
    ASSERT_EQ(buffer.GetChunkCount(), 1U);
}

TEST_F(AssemblerPlaces, PartsWithoutAnImageAreRawData)
{
    queue(1, 64);
    const std::vector<PartForm> parts{{.type = 0x000B, .length = 30}, {.type = 0x8001, .length = 10}};
    receive(parts_leader(parts));
    receive(placed(extended, 7, 1, 0, 0, picture(30, 1)));
    receive(placed(extended, 7, 2, 1, 0, picture(10, 2)));
    receive(parts_trailer(3, parts));
    ASSERT_EQ(only().result(), PvResult::OK);
    ASSERT_NE(only().buffer->GetRawData(), nullptr);
    EXPECT_STREQ(only().buffer->GetRawData()->GetFormatName(), "Multi-part");
    EXPECT_EQ(only().buffer->GetRawData()->GetPayloadLength(), 40U);
    EXPECT_EQ(only().data(30), picture(30, 1));
}

TEST_F(AssemblerPlaces, APartMayBeShorterThanAnnouncedWhenTheTrailerSaysSo)
{
    for (const bool told : {true, false}) {
        SCOPED_TRACE(told);
        port.delivered.clear();
        assembler.discard();
        queue(1, 200);
        std::vector<PartForm> parts{{.type = 1, .length = 64, .width = 8, .height = 8}, {.type = 0x000B, .length = 30}};
        receive(parts_leader(parts));
        receive(placed(extended, 7, 1, 0, 0, picture(40, 1)));
        receive(placed(extended, 7, 2, 1, 0, picture(20, 2)));
        if (told) {
            parts[0].length = 40;
            parts[0].height = 5;
            parts[1].length = 20;
        }
        receive(parts_trailer(3, parts));
        EXPECT_EQ(only().result(), told ? PvResult::OK : PvResult::MissingPackets);
        if (told) {
            PvBufferPart part;
            ASSERT_TRUE(only().buffer->GetPart(0, part).IsOK());
            EXPECT_EQ(part.Height, 5U);
            EXPECT_EQ(part.Size, 40U);
            EXPECT_EQ(only().buffer->GetImage()->GetHeight(), 5U);
        }
    }
}

TEST_F(AssemblerPlaces, PartsOutsideThemselvesAreNotWritten)
{
    queue(1, 200);
    const std::vector<PartForm> parts{{.type = 1, .length = 64, .width = 8, .height = 8},
                                      {.type = 0x000B, .length = 30}};
    receive(parts_leader(parts));
    receive(placed(extended, 7, 1, 0, 60, picture(5, 1)));   // into the next part
    receive(placed(extended, 7, 1, 2, 0, picture(5, 1)));    // there is no such part
    receive(placed(extended, 6, 1, 0, 0, picture(5, 1)));    // of zones
    receive(packets::payload(extended, 1, picture(20, 1)));  // plain
    EXPECT_EQ(Assembly::packets(PacketFate::malformed), 4U);
    EXPECT_EQ(Assembly::packets(PacketFate::stored), 1U);
}

TEST_F(AssemblerPlaces, PacketsOfPartsThatCameBeforeTheLeaderAreAskedForAgain)
{
    settings.resend_packet_enable = true;
    settings.resend_delay_us = 0;
    apply_settings();
    queue(1, 64);
    const std::vector<PartForm> parts{{.type = 1, .length = 64, .width = 8, .height = 8}};
    receive(placed(extended, 7, 1, 0, 0, picture(32, 1)));
    receive(parts_leader(parts));
    receive(placed(extended, 7, 2, 0, 32, picture(32, 2)));
    receive(parts_trailer(3, parts));
    EXPECT_EQ(Assembly::packets(PacketFate::unsupported), 1U);
    EXPECT_TRUE(port.delivered.empty());
    ASSERT_FALSE(port.requests.empty());
    EXPECT_EQ(port.requests.front().first_packet, 1U);
    EXPECT_EQ(port.requests.front().last_packet, 1U);
    receive(placed(extended, 7, 1, 0, 0, picture(32, 1)));
    EXPECT_EQ(only().result(), PvResult::OK);
}

TEST_F(AssemblerPlaces, AnImageThatItsPartHasNoRoomForIsNoFormat)
{
    queue(1, 64);
    const std::vector<PartForm> parts{{.type = 1, .length = 63, .width = 8, .height = 8}};
    receive(parts_leader(parts));
    receive(placed(extended, 7, 1, 0, 0, picture(63, 1)));
    receive(parts_trailer(2, parts));
    EXPECT_EQ(only().result(), PvResult::InvalidDataFormat);
}
