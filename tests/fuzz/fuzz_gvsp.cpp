// GVSP packets as a stream receives them. What decodes is encoded again and must decode to the same.
#include <array>

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

void check_leader(View payload)
{
    const auto leader = decode_leader(payload);
    if (!leader) {
        return;
    }
    require_within(leader->file_name, payload);
    // the size of an H.264 stream stands where its encoder writes a timestamp
    if (leader->base_type() == payload_type::h264) {
        return;
    }
    std::array<std::uint8_t, largest_leader> bytes;
    const std::size_t size = encode_leader(*leader, bytes);
    require(size <= bytes.size());
    const auto again = decode_leader(View(bytes).first(size));
    require(again && again->field_id == leader->field_id && again->field_count == leader->field_count &&
            again->flags == leader->flags && again->payload_type == leader->payload_type &&
            again->timestamp == leader->timestamp && again->payload_size == leader->payload_size &&
            same(again->image, leader->image));
    require(fuzz::equal(again->file_name, leader->file_name.first(again->file_name.size())));
}

void check_trailer(View payload)
{
    const auto trailer = decode_trailer(payload);
    if (!trailer) {
        return;
    }
    std::array<std::uint8_t, largest_trailer> bytes;
    const std::size_t size = encode_trailer(*trailer, bytes);
    require(size <= bytes.size());
    const auto again = decode_trailer(View(bytes).first(size));
    require(again && again->payload_type == trailer->payload_type && again->size_y == trailer->size_y &&
            again->chunk_data_length == trailer->chunk_data_length &&
            again->chunk_layout_id == trailer->chunk_layout_id);
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

    check_leader(packet->payload);
    check_trailer(packet->payload);
    return 0;
}
