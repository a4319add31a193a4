// GVSP packets as a stream receives them. What decodes is encoded again and must decode to the same.
#include <array>
#include <vector>

#include "sdk/wire/gvsp.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using namespace vex::wire::gvsp;
using fuzz::require;
using fuzz::require_within;
using fuzz::View;

bool same(const std::optional<ImageInfo>& a, const std::optional<ImageInfo>& b)
{
    if (!a || !b) {
        return a.has_value() == b.has_value();
    }
    return a->pixel_format == b->pixel_format && a->size_x == b->size_x && a->size_y == b->size_y &&
           a->offset_x == b->offset_x && a->offset_y == b->offset_y && a->padding_x == b->padding_x &&
           a->padding_y == b->padding_y;
}

bool same(const Part& a, const Part& b)
{
    return a.data_type == b.data_type && a.length == b.length && a.format == b.format && a.source_id == b.source_id &&
           a.additional_zones == b.additional_zones && a.zone_directions == b.zone_directions &&
           a.purpose == b.purpose && a.region == b.region && same(a.image, b.image) && a.compressed == b.compressed &&
           a.compression_flags == b.compression_flags;
}

void check_parts(const Leader& leader, View payload)
{
    require_within(leader.parts, payload);
    require(leader.parts.size() % part_size == 0);
    const std::size_t parts = leader.parts.size() / part_size;
    require(!decode_part(leader, parts));
    for (std::size_t i = 0; i < parts; ++i) {
        const auto part = decode_part(leader, i);
        require(part.has_value());
        std::array<std::uint8_t, part_size> bytes;
        encode_part(*part, bytes);
        Leader alone;
        alone.parts = bytes;
        const auto again = decode_part(alone, 0);
        require(again && same(*again, *part));
    }
}

void check_leader(View payload, std::size_t announced_parts)
{
    const auto leader = decode_leader(payload, announced_parts);
    if (!leader) {
        return;
    }
    require_within(leader->file_name, payload);
    check_parts(*leader, payload);
    require(leader->parts.size() <= announced_parts * part_size);
    std::array<std::uint8_t, largest_leader> bytes;
    const std::size_t size = encode_leader(*leader, bytes);
    require(size <= bytes.size());
    const auto again = decode_leader(View(bytes).first(size));
    require(again && again->field_id == leader->field_id && again->field_count == leader->field_count &&
            again->flags == leader->flags && again->payload_type == leader->payload_type &&
            again->timestamp == leader->timestamp && again->payload_size == leader->payload_size &&
            again->zone_directions == leader->zone_directions && again->compressed == leader->compressed &&
            again->h264 == leader->h264 && same(again->image, leader->image));
    require(fuzz::equal(again->file_name, leader->file_name.first(again->file_name.size())));
    require(fuzz::equal(again->parts, leader->parts.first(again->parts.size())));
}

bool same(const Trailer& a, const Trailer& b)
{
    return a.payload_type == b.payload_type && a.size_y == b.size_y && a.chunk_data_length == b.chunk_data_length &&
           a.chunk_layout_id == b.chunk_layout_id;
}

void check_trailer(View payload)
{
    const auto trailer = decode_trailer(payload);
    if (!trailer) {
        return;
    }
    require_within(trailer->parts, payload);
    require(trailer->parts.size() % trailer_part_size == 0);
    require(!decode_trailer_part(*trailer, trailer->parts.size() / trailer_part_size));
    std::array<std::uint8_t, largest_trailer> bytes;
    const std::size_t size = encode_trailer(*trailer, bytes);
    require(size <= bytes.size());
    const auto again = decode_trailer(View(bytes).first(size));
    require(again.has_value());
    // the encoder always tells the lines of an image
    Trailer expected = *trailer;
    if (expected.payload_type == payload_type::image) {
        expected.size_y = expected.size_y.value_or(0);
    }
    require(same(*again, expected));
    require(fuzz::equal(again->parts, trailer->parts.first(again->parts.size())));
}

void check_all_in(View payload)
{
    const auto leader = decode_leader(payload);
    if (!leader) {
        return;
    }
    const auto rest = decode_all_in(payload, *leader);
    if (!rest) {
        return;
    }
    require(has_all_in_layout(*leader) && !rest->data.empty());
    require_within(rest->data, payload);
    require(rest->data.data() + rest->data.size() == payload.data() + payload.size());
    std::array<std::uint8_t, largest_leader + largest_trailer + payload_head_size> head;
    const std::size_t size = encode_all_in_head(*leader, rest->trailer, rest->timestamp, head);
    // a name that was cut off makes it shorter
    require(size <= payload.size() - rest->data.size());
    std::vector<std::uint8_t> bytes(head.begin(), head.begin() + static_cast<std::ptrdiff_t>(size));
    bytes.push_back(1);
    const auto leader_again = decode_leader(bytes);
    require(leader_again.has_value());
    const auto again = decode_all_in(bytes, *leader_again);
    require(again && again->timestamp == rest->timestamp && same(again->trailer, rest->trailer));
}

void check_heads(View payload)
{
    std::array<std::uint8_t, payload_head_size> head;
    if (const auto placed = decode_placed_payload(payload)) {
        require_within(placed->data, payload);
        require(placed->data.size() + payload_head_size == payload.size());
        encode_placed_head(*placed, head);
        const auto again = decode_placed_payload(head);
        require(again && again->part == placed->part && again->end_of_part == placed->end_of_part &&
                again->zone == placed->zone && again->end_of_zone == placed->end_of_zone &&
                again->offset == placed->offset);
    }
    if (const auto coded = decode_h264_payload(payload)) {
        require_within(coded->data, payload);
        encode_h264_head(coded->timestamp, head);
        const auto again = decode_h264_payload(head);
        require(again && again->timestamp == coded->timestamp);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const View datagram(data, size);
    const auto packet = decode_packet(datagram);
    if (!packet) {
        return 0;
    }
    require_within(packet->payload, datagram);
    require(packet->payload.size() + packet->header.size() == size);

    std::array<std::uint8_t, extended_header_size> bytes;
    const auto again = decode_packet(View(bytes).first(encode_header(packet->header, bytes)));
    require(again && again->header.status == packet->header.status && again->header.format == packet->header.format &&
            again->header.block_id == packet->header.block_id && again->header.packet_id == packet->header.packet_id &&
            again->header.flags == packet->header.flags && again->header.part_count == packet->header.part_count &&
            again->header.extended_ids == packet->header.extended_ids);

    check_leader(packet->payload, 255);
    check_leader(packet->payload, packet->header.part_count);
    check_trailer(packet->payload);
    check_all_in(packet->payload);
    check_heads(packet->payload);
    return 0;
}
