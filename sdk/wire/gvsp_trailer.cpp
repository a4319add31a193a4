// Trailers of blocks, what stands before the data of payload packets, and all-in packets, which hold all of these.
#include <algorithm>
#include <cassert>

#include "sdk/wire/bytes.h"
#include "sdk/wire/gvsp.h"

namespace vex::wire::gvsp {

namespace {

constexpr std::size_t common_size = 4;
constexpr std::size_t image_size = 8;
constexpr std::size_t chunk_size = 8;
constexpr std::size_t extended_chunk_size = 16;
constexpr std::size_t appended_chunk_size = 8;

constexpr std::uint8_t end_of_part_bit = 0x40;
constexpr std::uint8_t end_of_zone_bit = 0x01;
constexpr std::uint8_t zone_mask = 0x1F;

std::uint16_t base_of(std::uint16_t type) noexcept
{
    return static_cast<std::uint16_t>(type & ~payload_type::chunks_appended);
}

/// Bytes of a trailer before the records of parts and the chunk fields that are appended to it.
std::size_t fixed_size(std::uint16_t base_type) noexcept
{
    switch (base_type) {
    case payload_type::image:
    case payload_type::multi_zone: return image_size;
    case payload_type::chunk_data: return chunk_size;
    case payload_type::extended_chunk_data: return extended_chunk_size;
    default: return common_size;
    }
}

/// Bytes of the leader that an all-in packet begins with; 0 where the data cannot be told from it.
std::size_t all_in_leader_size(const Leader& leader) noexcept
{
    switch (leader.base_type()) {
    case payload_type::image:
    case payload_type::extended_chunk_data: return 36;
    case payload_type::raw_data: return 20;
    case payload_type::file: return 20 + leader.file_name.size() + 1;
    case payload_type::chunk_data: return 12;
    case payload_type::jpeg:
    case payload_type::jpeg2000:
    case payload_type::h264: return 32;
    case payload_type::multi_zone: return 40;
    default: return 0;
    }
}

std::size_t payload_head_of(std::uint16_t base_type) noexcept
{
    return base_type == payload_type::h264 || base_type == payload_type::multi_zone ? payload_head_size : 0;
}

}  // namespace

std::optional<Trailer> decode_trailer(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < common_size) {
        return std::nullopt;
    }
    Trailer trailer;
    trailer.payload_type = load_be16(&payload[2]);
    const std::uint16_t type = base_of(trailer.payload_type);
    if (trailer.payload_type == payload_type::image && payload.size() == common_size) {
        return trailer;
    }
    const std::size_t appended = trailer.payload_type != type ? appended_chunk_size : 0;
    const std::size_t size = fixed_size(type);
    if (payload.size() < size + appended) {
        return std::nullopt;
    }
    std::size_t chunks_at = size;
    switch (type) {
    case payload_type::image:
    case payload_type::multi_zone: trailer.size_y = load_be32(&payload[4]); break;
    case payload_type::chunk_data: trailer.chunk_data_length = load_be32(&payload[4]); break;
    case payload_type::extended_chunk_data:
        trailer.chunk_data_length = load_be32(&payload[4]);
        trailer.size_y = load_be32(&payload[8]);
        trailer.chunk_layout_id = load_be32(&payload[12]);
        break;
    case payload_type::multi_part: {
        const std::size_t records = (payload.size() - size - appended) / trailer_part_size * trailer_part_size;
        trailer.parts = payload.subspan(size, records);
        chunks_at = payload.size() - appended;  // the last fields, whatever stands before them
        break;
    }
    default: break;
    }
    if (appended != 0) {
        trailer.chunk_data_length = load_be32(&payload[chunks_at]);
        trailer.chunk_layout_id = load_be32(&payload[chunks_at + 4]);
    }
    return trailer;
}

std::size_t encode_trailer(const Trailer& trailer, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= largest_trailer);
    const std::uint16_t type = base_of(trailer.payload_type);
    std::size_t size = fixed_size(type);
    store_be16(&out[0], 0);
    store_be16(&out[2], trailer.payload_type);
    switch (type) {
    case payload_type::image:
    case payload_type::multi_zone: store_be32(&out[4], trailer.size_y.value_or(0)); break;
    case payload_type::chunk_data: store_be32(&out[4], trailer.chunk_data_length.value_or(0)); break;
    case payload_type::extended_chunk_data:
        store_be32(&out[4], trailer.chunk_data_length.value_or(0));
        store_be32(&out[8], trailer.size_y.value_or(0));
        store_be32(&out[12], trailer.chunk_layout_id.value_or(0));
        break;
    case payload_type::multi_part: {
        const std::size_t parts = std::min(trailer.parts.size() / trailer_part_size, most_encoded_parts);
        std::copy_n(trailer.parts.begin(), parts * trailer_part_size, out.begin() + common_size);
        size += parts * trailer_part_size;
        break;
    }
    default: break;
    }
    if (trailer.payload_type != type) {
        store_be32(&out[size], trailer.chunk_data_length.value_or(0));
        store_be32(&out[size + 4], trailer.chunk_layout_id.value_or(0));
        size += appended_chunk_size;
    }
    return size;
}

std::optional<TrailerPart> decode_trailer_part(const Trailer& trailer, std::size_t index) noexcept
{
    if (index >= trailer.parts.size() / trailer_part_size) {
        return std::nullopt;
    }
    const std::uint8_t* at = trailer.parts.data() + index * trailer_part_size;
    return TrailerPart{load_be16(at), load_be48(at + 2), load_be32(at + 8)};
}

void encode_trailer_part(const TrailerPart& part, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= trailer_part_size);
    store_be16(&out[0], part.data_type);
    store_be48(&out[2], part.length);
    store_be32(&out[8], part.size_y);
    store_be32(&out[12], 0);
}

std::optional<H264Payload> decode_h264_payload(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < payload_head_size) {
        return std::nullopt;
    }
    return H264Payload{load_be64(payload.data()), payload.subspan(payload_head_size)};
}

std::optional<PlacedPayload> decode_placed_payload(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < payload_head_size) {
        return std::nullopt;
    }
    PlacedPayload placed;
    placed.part = payload[0];
    placed.end_of_part = (payload[1] & end_of_part_bit) != 0;
    placed.zone = (payload[1] >> 1) & zone_mask;
    placed.end_of_zone = (payload[1] & end_of_zone_bit) != 0;
    placed.offset = load_be48(&payload[2]);
    placed.data = payload.subspan(payload_head_size);
    return placed;
}

void encode_h264_head(std::uint64_t timestamp, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= payload_head_size);
    store_be64(out.data(), timestamp);
}

void encode_placed_head(const PlacedPayload& payload, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= payload_head_size);
    out[0] = payload.part;
    out[1] = static_cast<std::uint8_t>((payload.end_of_part ? end_of_part_bit : 0) | ((payload.zone & zone_mask) << 1) |
                                       (payload.end_of_zone ? end_of_zone_bit : 0));
    store_be48(&out[2], payload.offset);
}

bool has_all_in_layout(const Leader& leader) noexcept { return all_in_leader_size(leader) != 0; }

std::optional<AllIn> decode_all_in(std::span<const std::uint8_t> payload, const Leader& leader) noexcept
{
    const std::uint16_t type = leader.base_type();
    const std::size_t trailer_at = all_in_leader_size(leader);
    const std::size_t head_at = trailer_at + fixed_size(type) + (leader.payload_type != type ? appended_chunk_size : 0);
    const std::size_t data_at = head_at + payload_head_of(type);
    if (trailer_at == 0 || payload.size() <= data_at) {
        return std::nullopt;
    }
    const std::optional<Trailer> trailer = decode_trailer(payload.subspan(trailer_at, head_at - trailer_at));
    if (!trailer.has_value() || trailer->payload_type != leader.payload_type) {
        return std::nullopt;
    }
    AllIn rest{.trailer = *trailer, .data = payload.subspan(data_at)};
    if (type == payload_type::h264) {
        rest.timestamp = load_be64(&payload[head_at]);
    } else if (type == payload_type::multi_zone && load_be48(&payload[head_at + 2]) != 0) {
        return std::nullopt;
    }
    return rest;
}

std::size_t encode_all_in_head(const Leader& leader, const Trailer& trailer, std::uint64_t timestamp,
                               std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= largest_leader + largest_trailer + payload_head_size);
    std::size_t size = encode_leader(leader, out);
    size += encode_trailer(trailer, out.subspan(size));
    if (leader.base_type() == payload_type::h264) {
        encode_h264_head(timestamp, out.subspan(size));
    } else if (leader.base_type() == payload_type::multi_zone) {
        encode_placed_head({.end_of_zone = true}, out.subspan(size));
    }
    return size + payload_head_of(leader.base_type());
}

}  // namespace vex::wire::gvsp
