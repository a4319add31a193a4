// Stream packets of the rarer payload types against the golden messages, in both directions.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "sdk/wire/gvsp.h"
#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

using namespace vex::wire::gvsp;
using golden::copy;
using Decoded = golden::Decoded<decode_packet>;

golden::Bytes joined(const Header& header, std::span<const std::uint8_t> payload)
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
    return joined(header, std::span(out).first(encode_leader(leader, out)));
}

golden::Bytes encoded(const Header& header, const Trailer& trailer)
{
    std::array<std::uint8_t, largest_trailer> out;
    out.fill(0xEE);
    return joined(header, std::span(out).first(encode_trailer(trailer, out)));
}

/// The message's leader, having looked that it is encoded to the same message again.
Leader leader_of(const Decoded& decoded)
{
    const auto leader = decode_leader(decoded.view.payload, decoded.view.header.part_count);
    EXPECT_TRUE(leader);
    if (!leader) {
        return {};
    }
    EXPECT_EQ(encoded(decoded.view.header, *leader), decoded.bytes);
    return *leader;
}

Trailer trailer_of(const Decoded& decoded)
{
    const auto trailer = decode_trailer(decoded.view.payload);
    EXPECT_TRUE(trailer);
    if (!trailer) {
        return {};
    }
    EXPECT_EQ(encoded(decoded.view.header, *trailer), decoded.bytes);
    return *trailer;
}

void expect_image(const std::optional<ImageInfo>& image, std::uint16_t padding_x = 0, std::uint16_t padding_y = 0)
{
    ASSERT_TRUE(image);
    EXPECT_EQ(image->pixel_format, 0x01080001U);
    EXPECT_EQ(image->size_x, 640U);
    EXPECT_EQ(image->size_y, 480U);
    EXPECT_EQ(image->offset_x, 4U);
    EXPECT_EQ(image->offset_y, 6U);
    EXPECT_EQ(image->padding_x, padding_x);
    EXPECT_EQ(image->padding_y, padding_y);
}

TEST(GvspTypes, AFieldOfAnInterlacedImageHasIdAndCount)
{
    const Decoded decoded(golden::interlaced_leader());
    const Leader leader = leader_of(decoded);
    EXPECT_EQ(leader.field_id, 1U);
    EXPECT_EQ(leader.field_count, 2U);
    EXPECT_EQ(leader.flags, 0x80U);
    expect_image(leader.image);
}

TEST(GvspTypes, ATrailerOfFourBytesEndsAnImageWithoutTellingItsLines)
{
    const Decoded decoded(golden::short_image_trailer());
    const auto trailer = decode_trailer(decoded.view.payload);
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->payload_type, payload_type::image);
    EXPECT_FALSE(trailer->size_y);
    // what tells chunks is of a later version, which has the lines in any case
    golden::Bytes with_chunks = decoded.bytes;
    with_chunks[10] = 0x40;
    EXPECT_FALSE(decode_trailer(std::span(with_chunks).subspan(8)));
    // nor is it the beginning of a longer one
    for (const std::size_t more : {1U, 2U, 3U}) {
        golden::Bytes longer = decoded.bytes;
        longer.resize(longer.size() + more);
        EXPECT_FALSE(decode_trailer(std::span(longer).subspan(8))) << more;
    }
}

TEST(GvspTypes, CompressedImagesTellFrequencyAndFormat)
{
    const Decoded decoded(golden::jpeg2000_leader());
    const Leader leader = leader_of(decoded);
    EXPECT_EQ(leader.payload_type, payload_type::jpeg2000);
    EXPECT_EQ(leader.timestamp, 999U);
    EXPECT_EQ(leader.payload_size, 5000U);
    EXPECT_EQ(leader.compressed, (CompressedInfo{1000000000, 2}));
    EXPECT_EQ(trailer_of(Decoded(golden::jpeg_trailer())).payload_type, payload_type::jpeg);
}

TEST(GvspTypes, ExtendedChunkDescribesTheImageInIt)
{
    const Leader leader = leader_of(Decoded(golden::extended_chunk_leader()));
    EXPECT_EQ(leader.payload_type, payload_type::extended_chunk_data);
    expect_image(leader.image);
    EXPECT_FALSE(leader.payload_size);
}

TEST(GvspTypes, OfAMakersOwnTypeTheCommonFieldsAreKnown)
{
    const Decoded decoded(golden::device_specific_leader());
    const auto leader = decode_leader(decoded.view.payload);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payload_type, 0x8001U);
    EXPECT_EQ(leader->timestamp, 999U);
    EXPECT_FALSE(leader->image || leader->payload_size);
    EXPECT_EQ(trailer_of(Decoded(golden::device_specific_trailer())).payload_type, 0x8001U);
}

TEST(GvspTypes, H264PacketsBringTheirTimestamp)
{
    const Decoded decoded(golden::h264_payload());
    EXPECT_EQ(decoded.view.header.format, Format::h264);
    const auto payload = decode_h264_payload(decoded.view.payload);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->timestamp, 77U);
    EXPECT_EQ(copy(payload->data), golden::Bytes(8, 0xDD));
    std::array<std::uint8_t, payload_head_size> head{};
    encode_h264_head(77, head);
    EXPECT_EQ(copy(head), copy(decoded.view.payload.first(8)));
    EXPECT_FALSE(decode_h264_payload(decoded.view.payload.first(7)));
    EXPECT_EQ(trailer_of(Decoded(golden::h264_trailer())).payload_type, payload_type::h264);
}

TEST(GvspTypes, ZonesHaveDirectionsAndTheirPacketsPlaces)
{
    const Decoded decoded(golden::multi_zone_leader_extended());
    EXPECT_EQ(decoded.view.header.part_count, 2U);
    const Leader leader = leader_of(decoded);
    EXPECT_EQ(leader.payload_type, payload_type::multi_zone);
    EXPECT_EQ(leader.zone_directions, 0x80000000U);
    expect_image(leader.image);
    EXPECT_FALSE(leader.payload_size);

    const Decoded packet(golden::multi_zone_payload_extended());
    EXPECT_EQ(packet.view.header.format, Format::multi_zone);
    const auto payload = decode_placed_payload(packet.view.payload);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->zone, 2U);
    EXPECT_TRUE(payload->end_of_zone);
    EXPECT_EQ(payload->offset, 0x010203040506U);
    EXPECT_EQ(copy(payload->data), golden::Bytes(8, 0xDD));
    std::array<std::uint8_t, payload_head_size> head{};
    encode_placed_head(*payload, head);
    EXPECT_EQ(copy(head), copy(packet.view.payload.first(8)));
    EXPECT_EQ(trailer_of(Decoded(golden::multi_zone_trailer_extended())).size_y, 480U);
}

TEST(GvspTypes, PacketsOfPartsTellPartAndPlace)
{
    const Decoded decoded(golden::multi_part_payload_extended());
    const auto payload = decode_placed_payload(decoded.view.payload);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->part, 0U);
    EXPECT_TRUE(payload->end_of_part);
    EXPECT_FALSE(payload->end_of_zone);
    EXPECT_EQ(payload->offset, 4096U);
    EXPECT_EQ(copy(payload->data), golden::Bytes(16, 0xCC));
    std::array<std::uint8_t, payload_head_size> head{};
    encode_placed_head(*payload, head);
    EXPECT_EQ(copy(head), copy(decoded.view.payload.first(8)));
    EXPECT_FALSE(decode_placed_payload(decoded.view.payload.first(7)));
    for (const std::uint8_t zone : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{31}}) {
        encode_placed_head({.part = 200, .zone = zone, .end_of_zone = zone == 1, .offset = 0xFFFFFFFFFFFF}, head);
        const auto again = decode_placed_payload(head);
        ASSERT_TRUE(again);
        EXPECT_EQ(again->part, 200U);
        EXPECT_EQ(again->zone, zone);
        EXPECT_EQ(again->end_of_zone, zone == 1);
        EXPECT_FALSE(again->end_of_part);
        EXPECT_EQ(again->offset, 0xFFFFFFFFFFFFU);
    }
}

TEST(GvspTypes, PartsAreDescribedOneByOne)
{
    const Decoded decoded(golden::three_parts_leader_extended());
    const Leader leader = leader_of(decoded);
    EXPECT_EQ(leader.base_type(), payload_type::multi_part);
    ASSERT_EQ(leader.parts.size(), 3 * part_size);
    golden::Bytes records;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto part = decode_part(leader, i);
        ASSERT_TRUE(part) << i;
        std::array<std::uint8_t, part_size> record;
        record.fill(0xEE);
        encode_part(*part, record);
        records.insert(records.end(), record.begin(), record.end());
    }
    EXPECT_EQ(records, copy(leader.parts));
    EXPECT_FALSE(decode_part(leader, 3));

    const auto image = decode_part(leader, 0);
    EXPECT_EQ(image->data_type, part_type::image_2d);
    EXPECT_EQ(image->length, 307200U);
    EXPECT_EQ(image->source_id, 3U);
    EXPECT_EQ(image->additional_zones, 2U);
    EXPECT_EQ(image->zone_directions, 0x80000000U);
    EXPECT_EQ(image->purpose, 1U);
    EXPECT_EQ(image->region, 2U);
    expect_image(image->image, 1, 2);
    EXPECT_FALSE(image->compressed);

    const auto jpeg = decode_part(leader, 1);
    EXPECT_EQ(jpeg->data_type, part_type::jpeg);
    EXPECT_EQ(jpeg->length, 0x010000001388U);
    EXPECT_EQ(jpeg->format, 7U);
    EXPECT_EQ(jpeg->compression_flags, 0x80U);
    EXPECT_EQ(jpeg->compressed, (CompressedInfo{1000000000, 1}));
    EXPECT_FALSE(jpeg->image);

    const auto chunks = decode_part(leader, 2);
    EXPECT_EQ(chunks->data_type, part_type::chunk_data);
    EXPECT_FALSE(chunks->image || chunks->compressed);
}

TEST(GvspTypes, NoMorePartsAreTakenThanAnnouncedOrThanThereIsRoomFor)
{
    const Decoded decoded(golden::three_parts_leader_extended());
    const auto parts = [](std::span<const std::uint8_t> payload, std::size_t announced) {
        const auto leader = decode_leader(payload, announced);
        return leader ? leader->parts.size() / part_size : 99;
    };
    EXPECT_EQ(parts(decoded.view.payload, 2), 2U);
    EXPECT_EQ(parts(decoded.view.payload, 0), 0U);
    EXPECT_EQ(parts(decoded.view.payload, 255), 3U);
    EXPECT_EQ(parts(decoded.view.payload.first(decoded.view.payload.size() - 1), 255), 2U);
    EXPECT_EQ(parts(decoded.view.payload.first(12), 255), 0U);
}

TEST(GvspTypes, PartsAreCutToTheLargestLeaderAndTrailer)
{
    const golden::Bytes records(1000 * part_size);
    Leader leader;
    leader.payload_type = payload_type::multi_part;
    leader.parts = records;
    golden::Bytes out(largest_leader);
    EXPECT_EQ(encode_leader(leader, out), 12 + most_encoded_parts * part_size);
    Trailer trailer;
    trailer.payload_type = payload_type::multi_part | payload_type::chunks_appended;
    trailer.parts = records;
    out.resize(largest_trailer);
    EXPECT_EQ(encode_trailer(trailer, out), largest_trailer);
}

TEST(GvspTypes, TrailerTellsWhatBecameOfTheParts)
{
    const Decoded decoded(golden::three_parts_trailer_extended());
    const Trailer trailer = trailer_of(decoded);
    EXPECT_EQ(trailer.chunk_data_length, 64U);
    EXPECT_EQ(trailer.chunk_layout_id, 7U);
    ASSERT_EQ(trailer.parts.size(), 3 * trailer_part_size);
    const auto image = decode_trailer_part(trailer, 0);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->data_type, part_type::image_2d);
    EXPECT_EQ(image->length, 307200U);
    EXPECT_EQ(image->size_y, 480U);
    const auto jpeg = decode_trailer_part(trailer, 1);
    ASSERT_TRUE(jpeg);
    EXPECT_EQ(jpeg->length, 0x010000001388U);
    EXPECT_FALSE(decode_trailer_part(trailer, 3));
    std::array<std::uint8_t, trailer_part_size> record;
    record.fill(0xEE);
    encode_trailer_part(*image, record);
    EXPECT_EQ(copy(record), copy(trailer.parts.first(trailer_part_size)));
}

/// What follows the header of an all-in packet.
golden::Bytes all_in(std::uint16_t type, const golden::Bytes& data)
{
    const golden::Bytes name{'a', '.', 'b'};
    Leader leader;
    leader.payload_type = type;
    leader.timestamp = 5;
    leader.image = ImageInfo{};
    leader.payload_size = data.size();
    leader.file_name = name;
    Trailer trailer;
    trailer.payload_type = type;
    trailer.size_y = 3;
    trailer.chunk_data_length = 4;
    trailer.chunk_layout_id = 7;
    golden::Bytes payload(largest_leader + largest_trailer + payload_head_size, 0xEE);
    payload.resize(encode_all_in_head(leader, trailer, 77, payload));
    payload.insert(payload.end(), data.begin(), data.end());
    return payload;
}

TEST(GvspAllIn, HoldsTheTrailerAndTheDataBehindTheLeader)
{
    const golden::Bytes data{1, 2, 3, 4, 5};
    for (std::uint16_t base = payload_type::image; base <= payload_type::multi_zone; ++base) {
        for (const std::uint16_t chunks : {std::uint16_t{0}, payload_type::chunks_appended}) {
            const auto type = static_cast<std::uint16_t>(base | chunks);
            SCOPED_TRACE(type);
            const golden::Bytes payload = all_in(type, data);
            const auto leader = decode_leader(payload);
            ASSERT_TRUE(leader);
            EXPECT_TRUE(has_all_in_layout(*leader));
            const auto rest = decode_all_in(payload, *leader);
            ASSERT_TRUE(rest);
            EXPECT_EQ(rest->trailer.payload_type, type);
            const bool has_lines = base == payload_type::image || base == payload_type::extended_chunk_data ||
                                   base == payload_type::multi_zone;
            EXPECT_EQ(rest->trailer.size_y.has_value(), has_lines);
            EXPECT_EQ(rest->trailer.chunk_layout_id.has_value(),
                      chunks != 0 || base == payload_type::extended_chunk_data);
            EXPECT_EQ(rest->timestamp, base == payload_type::h264 ? 77U : 0U);
            EXPECT_EQ(copy(rest->data), data);
            for (std::size_t cut = data.size(); cut <= payload.size(); ++cut) {
                EXPECT_FALSE(decode_all_in(std::span(payload).first(payload.size() - cut), *leader)) << cut;
            }
        }
    }
}

TEST(GvspAllIn, OtherTypesHaveNoLayout)
{
    for (const std::uint16_t type : {payload_type::multi_part, payload_type::gendc, std::uint16_t{0x8001}}) {
        Leader leader;
        leader.payload_type = type;
        EXPECT_FALSE(has_all_in_layout(leader)) << type;
        EXPECT_FALSE(decode_all_in(golden::Bytes(600), leader)) << type;
    }
}

TEST(GvspAllIn, AreReadFromAndWrittenAsTheGoldenPackets)
{
    struct Case {
        const char* name;
        golden::Bytes message;
    };
    for (const auto& [name, message] :
         {Case{"image", golden::all_in_image()}, Case{"raw data", golden::all_in_raw()},
          Case{"file", golden::all_in_file()}, Case{"chunk data", golden::all_in_chunk()},
          Case{"extended chunk", golden::all_in_extended_chunk()}, Case{"JPEG", golden::all_in_jpeg()},
          Case{"JPEG 2000", golden::all_in_jpeg2000()}, Case{"H.264", golden::all_in_h264()},
          Case{"multi-zone", golden::all_in_multi_zone()},
          Case{"image with chunks", golden::all_in_image_chunks_extended()}}) {
        SCOPED_TRACE(name);
        const Decoded decoded(message);
        const auto leader = decode_leader(decoded.view.payload);
        ASSERT_TRUE(leader);
        const auto rest = decode_all_in(decoded.view.payload, *leader);
        ASSERT_TRUE(rest);
        EXPECT_EQ(copy(rest->data), golden::Bytes(8, 0xDD));
        EXPECT_EQ(rest->timestamp, leader->base_type() == payload_type::h264 ? 77U : 0U);
        EXPECT_EQ(rest->trailer.size_y.value_or(480), 480U);
        EXPECT_EQ(rest->trailer.chunk_data_length.value_or(8) & ~24U, 0U);
        golden::Bytes head(largest_leader + largest_trailer + payload_head_size, 0xEE);
        head.resize(encode_all_in_head(*leader, rest->trailer, rest->timestamp, head));
        head.insert(head.end(), rest->data.begin(), rest->data.end());
        EXPECT_EQ(joined(decoded.view.header, head), message);
    }
}

TEST(GvspAllIn, DamagedOnesAreMalformed)
{
    const auto is_well_formed = [](golden::Bytes message, std::size_t at, std::uint8_t value) {
        message.at(at) = value;
        const Decoded decoded(message);
        const auto leader = decode_leader(decoded.view.payload);
        return leader && decode_all_in(decoded.view.payload, *leader);
    };
    // the trailer is of another type than the leader
    EXPECT_TRUE(is_well_formed(golden::all_in_raw(), 8 + 20 + 3, 2));
    EXPECT_FALSE(is_well_formed(golden::all_in_raw(), 8 + 20 + 3, 6));
    // the file name does not end
    EXPECT_TRUE(is_well_formed(golden::all_in_file(), 8 + 25, 0));
    golden::Bytes endless = golden::all_in_file();
    std::replace(endless.begin() + 8 + 20, endless.end(), std::uint8_t{0}, std::uint8_t{'x'});
    EXPECT_FALSE(is_well_formed(endless, 8 + 20, 'x'));
    // a part of a zone, but the whole block is in the packet
    EXPECT_TRUE(is_well_formed(golden::all_in_multi_zone(), 8 + 40 + 8 + 7, 0));
    EXPECT_FALSE(is_well_formed(golden::all_in_multi_zone(), 8 + 40 + 8 + 7, 1));
}

}  // namespace
