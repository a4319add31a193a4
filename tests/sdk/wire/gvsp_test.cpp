// Stream packets against the golden messages, in both directions.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "sdk/wire/gvsp.h"
#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

using namespace vex::wire::gvsp;
using golden::copy;
using Decoded = golden::Decoded<decode_packet>;

golden::Bytes encoded(const Header& header, const golden::Bytes& payload)
{
    golden::Bytes out(header.size());
    EXPECT_EQ(encode_header(header, out), header.size());
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

golden::Bytes encoded(const Header& header, const Leader& leader)
{
    std::array<std::uint8_t, largest_leader> out;
    out.fill(0xEE);
    const std::size_t size = encode_leader(leader, out);
    return encoded(header, golden::Bytes(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(size)));
}

golden::Bytes encoded(const Header& header, const Trailer& trailer)
{
    std::array<std::uint8_t, largest_trailer> out;
    out.fill(0xEE);
    const std::size_t size = encode_trailer(trailer, out);
    return encoded(header, golden::Bytes(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(size)));
}

void expect_header(const Header& header, Format format, std::uint64_t block_id, std::uint32_t packet_id, bool extended)
{
    EXPECT_EQ(header.format, format);
    EXPECT_EQ(header.block_id, block_id);
    EXPECT_EQ(header.packet_id, packet_id);
    EXPECT_EQ(header.extended_ids, extended);
    EXPECT_EQ(header.size(), extended ? 20U : 8U);
}

void expect_mono8_image(const Leader& leader)
{
    ASSERT_TRUE(leader.image);
    EXPECT_EQ(leader.image->pixel_format, 0x01080001U);
    EXPECT_EQ(leader.image->size_x, 640U);
    EXPECT_EQ(leader.image->size_y, 480U);
    EXPECT_EQ(leader.image->offset_x, 4U);
    EXPECT_EQ(leader.image->offset_y, 6U);
    EXPECT_EQ(leader.image->padding_x, 0U);
    EXPECT_EQ(leader.image->padding_y, 0U);
}

TEST(GvspLeader, DescribesAnImage)
{
    const Decoded decoded(golden::image_leader());
    expect_header(decoded.view.header, Format::leader, 1, 0, false);
    EXPECT_EQ(decoded.view.header.status, Status::success);
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->field_id, 1U);
    EXPECT_EQ(leader->field_count, 1U);
    EXPECT_EQ(leader->flags, 0U);
    EXPECT_EQ(leader->payload_type, payload_type::image);
    EXPECT_EQ(leader->timestamp, 999U);
    EXPECT_FALSE(leader->payload_size);
    expect_mono8_image(*leader);
    EXPECT_EQ(encoded(decoded.view.header, *leader), golden::image_leader());
}

TEST(GvspLeader, PaddingsAreTheLastFieldsOfAnImage)
{
    golden::Bytes message = golden::image_leader();
    message[41] = 3;
    message[43] = 5;
    const Decoded decoded(message);
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader && leader->image);
    EXPECT_EQ(leader->image->padding_x, 3U);
    EXPECT_EQ(leader->image->padding_y, 5U);
    EXPECT_EQ(encoded(decoded.view.header, *leader), message);
}

TEST(GvspLeader, ImageWithChunksKeepsItsGeometry)
{
    const Decoded decoded(golden::image_chunks_leader_extended());
    expect_header(decoded.view.header, Format::leader, 2, 0, true);
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payload_type, 0x4001U);
    EXPECT_EQ(leader->base_type(), payload_type::image);
    expect_mono8_image(*leader);
    EXPECT_EQ(encoded(decoded.view.header, *leader), golden::image_chunks_leader_extended());
}

TEST(GvspLeader, ExtendedChunkIsLaidOutAsAnImage)
{
    Leader leader;
    leader.payload_type = payload_type::extended_chunk_data;
    leader.image = ImageInfo{0x01080001, 2, 3, 4, 5, 6, 7};
    std::array<std::uint8_t, largest_leader> bytes{};
    EXPECT_EQ(encode_leader(leader, bytes), 36U);
    const auto decoded = decode_leader(std::span(bytes).first(36));
    ASSERT_TRUE(decoded && decoded->image);
    EXPECT_EQ(decoded->image->size_y, 3U);
    EXPECT_EQ(decoded->image->padding_y, 7U);
}

TEST(GvspLeader, RawDataTellsItsSize)
{
    const Decoded decoded(golden::raw_leader());
    expect_header(decoded.view.header, Format::leader, 4, 0, false);
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payload_type, payload_type::raw_data);
    EXPECT_EQ(leader->timestamp, 999U);
    EXPECT_EQ(leader->payload_size, 1000U);
    EXPECT_FALSE(leader->image);
    EXPECT_EQ(encoded(decoded.view.header, *leader), golden::raw_leader());
}

TEST(GvspLeader, FileTellsSizeAndName)
{
    const Decoded decoded(golden::file_leader());
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payload_type, payload_type::file);
    EXPECT_EQ(leader->payload_size, 1000U);
    EXPECT_EQ(std::string(leader->file_name.begin(), leader->file_name.end()), "f.bin");
    EXPECT_EQ(encoded(decoded.view.header, *leader), golden::file_leader());
}

TEST(GvspLeader, FileNameWithoutZeroEndsWithThePacket)
{
    golden::Bytes message = golden::file_leader();
    message.pop_back();
    const auto leader = decode_leader(Decoded(message).view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->file_name.size(), 5U);
}

TEST(GvspLeader, FileNameIsCutToTheLargestLeader)
{
    const golden::Bytes name(1000, 'n');
    Leader leader;
    leader.payload_type = payload_type::file;
    leader.file_name = name;
    std::array<std::uint8_t, largest_leader> bytes{};
    EXPECT_EQ(encode_leader(leader, bytes), largest_leader);
    EXPECT_EQ(bytes.back(), 0U);
}

TEST(GvspLeader, ChunkDataHasOnlyTheCommonFields)
{
    const Decoded decoded(golden::chunk_leader());
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payload_type, payload_type::chunk_data);
    EXPECT_EQ(leader->timestamp, 999U);
    EXPECT_FALSE(leader->image);
    EXPECT_EQ(encoded(decoded.view.header, *leader), golden::chunk_leader());
}

TEST(GvspLeader, CompressedImagesTellTheirSize)
{
    const Decoded jpeg_packet(golden::jpeg_leader());
    const auto jpeg = decode_leader(jpeg_packet.view.payload);
    ASSERT_TRUE(jpeg);
    EXPECT_EQ(jpeg->payload_type, payload_type::jpeg);
    EXPECT_EQ(jpeg->timestamp, 999U);
    EXPECT_EQ(jpeg->payload_size, 5000U);
    EXPECT_EQ(jpeg->compressed, (CompressedInfo{1000000000, 1}));
    EXPECT_EQ(encoded(jpeg_packet.view.header, *jpeg), golden::jpeg_leader());

    const Decoded h264_packet(golden::h264_leader());
    const auto h264 = decode_leader(h264_packet.view.payload);
    ASSERT_TRUE(h264);
    EXPECT_EQ(h264->payload_type, payload_type::h264);
    EXPECT_EQ(h264->timestamp, 0U);
    EXPECT_EQ(h264->payload_size, 5000U);
    EXPECT_EQ(h264->h264, (H264Info{1, 1400, 0x64, 0xF0, 31, 1, 2, 3, 4}));
    EXPECT_EQ(encoded(h264_packet.view.header, *h264), golden::h264_leader());
}

TEST(GvspLeader, MultiPartKeepsTheCommonFieldsAndTheHeaderItsPartCount)
{
    const Decoded decoded(golden::multi_part_leader_extended());
    expect_header(decoded.view.header, Format::leader, 3, 0, true);
    EXPECT_EQ(decoded.view.header.part_count, 1U);
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payload_type, payload_type::multi_part);
    EXPECT_EQ(leader->timestamp, 999U);
}

TEST(GvspLeader, AllInPacketStartsWithIt)
{
    const Decoded decoded(golden::all_in_image());
    expect_header(decoded.view.header, Format::all_in, 10, 0, false);
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    expect_mono8_image(*leader);
}

TEST(GvspPayload, IsWhatFollowsTheHeader)
{
    const Decoded decoded(golden::payload());
    expect_header(decoded.view.header, Format::payload, 1, 1, false);
    EXPECT_EQ(copy(decoded.view.payload), golden::Bytes(16, 0xAA));
    EXPECT_EQ(encoded(decoded.view.header, golden::Bytes(16, 0xAA)), golden::payload());

    const Decoded multi_part(golden::multi_part_payload_extended());
    expect_header(multi_part.view.header, Format::multi_part, 3, 1, true);
    EXPECT_EQ(encoded(multi_part.view.header, copy(multi_part.view.payload)), golden::multi_part_payload_extended());
}

TEST(GvspPayload, ResentPacketSaysSoInStatusAndFlags)
{
    const Decoded decoded(golden::resent_payload_extended());
    expect_header(decoded.view.header, Format::payload, 2, 1, true);
    EXPECT_EQ(decoded.view.header.status, Status::packet_resend);
    EXPECT_EQ(decoded.view.header.flags, header_flag::resent);
    EXPECT_EQ(copy(decoded.view.payload), golden::Bytes(16, 0xBB));
    EXPECT_EQ(encoded(decoded.view.header, golden::Bytes(16, 0xBB)), golden::resent_payload_extended());
}

TEST(GvspHeader, KeepsWideIdsInTheExtendedForm)
{
    Header header;
    header.extended_ids = true;
    header.format = Format::payload;
    header.block_id = 0x1122334455667788;
    header.packet_id = 0x99AABBCC;
    header.flags = 0x0102;
    header.part_count = 9;
    header.status = Status::data_overrun;
    const golden::Bytes bytes = encoded(header, golden::Bytes{});
    EXPECT_EQ(bytes, golden::bytes("800d0102830000091122334455667788"
                                   "99aabbcc"));
    const Decoded decoded(bytes);
    EXPECT_EQ(decoded.view.header.block_id, header.block_id);
    EXPECT_EQ(decoded.view.header.packet_id, header.packet_id);
}

TEST(GvspHeader, BlockIdZeroIsReadAsItIs)
{
    golden::Bytes standard = golden::payload();
    standard[2] = standard[3] = 0;
    EXPECT_EQ(Decoded(standard).view.header.block_id, 0U);
    golden::Bytes extended = golden::resent_payload_extended();
    extended[15] = 0;
    EXPECT_EQ(Decoded(extended).view.header.block_id, 0U);
}

TEST(GvspHeader, APacketIsMarkedAsSentAgainByItsStatusOrByAFlag)
{
    Header header;
    EXPECT_FALSE(is_resent(header));
    header.status = Status::packet_resend;
    EXPECT_TRUE(is_resent(header));
    header.status = Status::success;
    header.flags = header_flag::resent;
    EXPECT_FALSE(is_resent(header)) << "the standard form has no flags";
    header.extended_ids = true;
    EXPECT_TRUE(is_resent(header));
    header.flags = header_flag::resend_range_error | header_flag::previous_block_dropped;
    EXPECT_FALSE(is_resent(header));
}

TEST(GvspTrailer, ImageTellsTheLinesDelivered)
{
    const Decoded decoded(golden::image_trailer());
    expect_header(decoded.view.header, Format::trailer, 1, 2, false);
    const auto trailer = decode_trailer(decoded.view.payload);
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->payload_type, payload_type::image);
    EXPECT_EQ(trailer->size_y, 480U);
    EXPECT_FALSE(trailer->chunk_data_length);
    EXPECT_EQ(encoded(decoded.view.header, *trailer), golden::image_trailer());
}

TEST(GvspTrailer, ZonesOfAnImageTellTheLinesDelivered)
{
    const auto trailer = decode_trailer(golden::bytes("00000009000001e0"));
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->payload_type, payload_type::multi_zone);
    EXPECT_EQ(trailer->size_y, 480U);
}

TEST(GvspTrailer, AppendedChunksTellLengthAndLayout)
{
    const Decoded decoded(golden::image_chunks_trailer_extended());
    const auto trailer = decode_trailer(decoded.view.payload);
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->payload_type, 0x4001U);
    EXPECT_EQ(trailer->size_y, 480U);
    EXPECT_EQ(trailer->chunk_data_length, 16U);
    EXPECT_EQ(trailer->chunk_layout_id, 7U);
    EXPECT_EQ(encoded(decoded.view.header, *trailer), golden::image_chunks_trailer_extended());
}

TEST(GvspTrailer, RawDataHasOnlyTheType)
{
    const Decoded decoded(golden::raw_trailer());
    const auto trailer = decode_trailer(decoded.view.payload);
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->payload_type, payload_type::raw_data);
    EXPECT_FALSE(trailer->size_y);
    EXPECT_EQ(encoded(decoded.view.header, *trailer), golden::raw_trailer());
}

TEST(GvspTrailer, ChunkTypesTellTheChunkLength)
{
    const Decoded chunk_packet(golden::chunk_trailer());
    const auto chunk = decode_trailer(chunk_packet.view.payload);
    ASSERT_TRUE(chunk);
    EXPECT_EQ(chunk->chunk_data_length, 64U);
    EXPECT_FALSE(chunk->size_y);
    EXPECT_EQ(encoded(chunk_packet.view.header, *chunk), golden::chunk_trailer());

    const Decoded extended_packet(golden::extended_chunk_trailer());
    const auto extended = decode_trailer(extended_packet.view.payload);
    ASSERT_TRUE(extended);
    EXPECT_EQ(extended->chunk_data_length, 64U);
    EXPECT_EQ(extended->size_y, 480U);
    EXPECT_EQ(extended->chunk_layout_id, 9U);
    EXPECT_EQ(encoded(extended_packet.view.header, *extended), golden::extended_chunk_trailer());
}

TEST(GvspTrailer, MultiPartKeepsTheType)
{
    const auto trailer = decode_trailer(Decoded(golden::multi_part_trailer_extended()).view.payload);
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->payload_type, payload_type::multi_part);
    EXPECT_FALSE(trailer->size_y);
}

TEST(GvspTrailer, ChunkFieldsOfAMultiPartFollowTheRecordsOfItsParts)
{
    for (const std::size_t parts : {0U, 1U, 3U}) {
        SCOPED_TRACE(parts);
        golden::Bytes payload = golden::bytes("0000400a");
        for (std::size_t part = 0; part < parts; ++part) {
            const golden::Bytes record = golden::bytes("e1e2e3e4e5e6e7e8e9eaebecedeeeff0");
            payload.insert(payload.end(), record.begin(), record.end());
        }
        const golden::Bytes chunks = golden::bytes("0102030405060708");
        payload.insert(payload.end(), chunks.begin(), chunks.end());
        const auto trailer = decode_trailer(payload);
        ASSERT_TRUE(trailer);
        EXPECT_EQ(trailer->chunk_data_length, 0x01020304U);
        EXPECT_EQ(trailer->chunk_layout_id, 0x05060708U);
    }
}

TEST(GvspTrailer, EveryTypeWithChunksAppendedEndsWithTheChunkFields)
{
    for (std::uint16_t base = payload_type::image; base <= payload_type::gendc; ++base) {
        Trailer trailer;
        trailer.payload_type = base | payload_type::chunks_appended;
        trailer.chunk_data_length = 0x01020304;
        trailer.chunk_layout_id = 0x05060708;
        std::array<std::uint8_t, largest_trailer> bytes{};
        const std::size_t size = encode_trailer(trailer, bytes);
        ASSERT_GE(size, 12U) << base;
        EXPECT_EQ(copy(std::span(bytes).first(size).last(8)), golden::bytes("0102030405060708")) << base;
        const auto decoded = decode_trailer(std::span(bytes).first(size));
        ASSERT_TRUE(decoded) << base;
        EXPECT_EQ(decoded->payload_type, trailer.payload_type);
        EXPECT_EQ(decoded->chunk_data_length, trailer.chunk_data_length) << base;
        EXPECT_EQ(decoded->chunk_layout_id, trailer.chunk_layout_id) << base;
        EXPECT_FALSE(decode_trailer(std::span(bytes).first(size - 1))) << base;
    }
}

TEST(GvspBlockId, IsNeverZeroAndWrapsIn16Bits)
{
    EXPECT_EQ(next_block_id(0, false), 1U);
    EXPECT_EQ(next_block_id(0xFFFE, false), 0xFFFFU);
    EXPECT_EQ(next_block_id(0xFFFF, false), 1U);
    EXPECT_EQ(next_block_id(0xFFFF, true), 0x10000U);
}

TEST(GvspBlockId, DistancesGoTheShorterWayRound)
{
    struct Case {
        std::uint64_t from;
        std::uint64_t to;
        std::int64_t standard;
        std::int64_t extended;
    };
    for (const auto& [from, to, standard, extended] :
         {Case{1, 1, 0, 0}, Case{1, 2, 1, 1}, Case{2, 1, -1, -1}, Case{65535, 1, 1, -65534}, Case{1, 65535, -1, 65534},
          Case{65535, 2, 2, -65533}, Case{1, 32768, 32767, 32767}, Case{1, 32769, -32767, 32768},
          Case{32769, 1, 32767, -32768}}) {
        EXPECT_EQ(block_id_distance(from, to, false), standard) << from << " to " << to;
        EXPECT_EQ(block_id_distance(from, to, true), extended) << from << " to " << to;
    }
    EXPECT_EQ(block_id_distance(0xFFFFFFFFFFFFFFFF, 1, true), 2);
    // every step of a whole cycle
    std::uint64_t id = 1;
    for (std::uint64_t i = 0; i < largest_standard_block_id; ++i) {
        const std::uint64_t next = next_block_id(id, false);
        ASSERT_EQ(block_id_distance(id, next, false), 1) << id;
        ASSERT_EQ(block_id_distance(next, id, false), -1) << id;
        id = next;
    }
    EXPECT_EQ(id, 1U);
}

TEST(GvspPacketSize, CountsTheHeadersIn)
{
    EXPECT_EQ(data_per_packet(1500, false), 1464U);
    EXPECT_EQ(data_per_packet(1500, true), 1452U);
    EXPECT_EQ(data_per_packet(36, false), 0U);
    EXPECT_EQ(data_per_packet(37, false), 1U);
    EXPECT_EQ(data_per_packet(0, true), 0U);
}

}  // namespace
