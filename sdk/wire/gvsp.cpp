#include "sdk/wire/gvsp.h"

#include <algorithm>
#include <cassert>

#include "sdk/wire/bytes.h"

namespace vex::wire::gvsp {

namespace {

constexpr std::uint8_t extended_bit = 0x80;
constexpr std::uint32_t packet_id_mask = 0xFFFFFF;

constexpr std::size_t common_leader_size = 12;
constexpr std::size_t image_leader_size = 36;
constexpr std::size_t sized_leader_size = 20;

constexpr std::size_t common_trailer_size = 4;
constexpr std::size_t image_trailer_size = 8;
constexpr std::size_t chunk_trailer_size = 8;
constexpr std::size_t extended_chunk_trailer_size = 16;
constexpr std::size_t appended_chunk_size = 8;

std::uint16_t base_of(std::uint16_t type) noexcept
{
    return static_cast<std::uint16_t>(type & ~payload_type::chunks_appended);
}

bool has_image_info(std::uint16_t base_type) noexcept
{
    return base_type == payload_type::image || base_type == payload_type::extended_chunk_data;
}

bool has_payload_size(std::uint16_t base_type) noexcept
{
    switch (base_type) {
    case payload_type::raw_data:
    case payload_type::file:
    case payload_type::jpeg:
    case payload_type::jpeg2000:
    case payload_type::gendc: return true;
    default: return false;
    }
}

ImageInfo load_image(const std::uint8_t* at) noexcept
{
    ImageInfo image;
    image.pixel_format = load_be32(at);
    image.size_x = load_be32(at + 4);
    image.size_y = load_be32(at + 8);
    image.offset_x = load_be32(at + 12);
    image.offset_y = load_be32(at + 16);
    image.padding_x = load_be16(at + 20);
    image.padding_y = load_be16(at + 22);
    return image;
}

void store_image(std::uint8_t* at, const ImageInfo& image) noexcept
{
    store_be32(at, image.pixel_format);
    store_be32(at + 4, image.size_x);
    store_be32(at + 8, image.size_y);
    store_be32(at + 12, image.offset_x);
    store_be32(at + 16, image.offset_y);
    store_be16(at + 20, image.padding_x);
    store_be16(at + 22, image.padding_y);
}

/// Bytes of a trailer before chunk fields that are appended to it.
std::size_t trailer_size(std::uint16_t base_type) noexcept
{
    switch (base_type) {
    case payload_type::image:
    case payload_type::multi_zone: return image_trailer_size;
    case payload_type::chunk_data: return chunk_trailer_size;
    case payload_type::extended_chunk_data: return extended_chunk_trailer_size;
    default: return common_trailer_size;
    }
}

/// Bytes of a leader in an all-in packet; 0 for types that do not travel that way or are not known here.
std::size_t all_in_leader_size(std::uint16_t base_type) noexcept
{
    switch (base_type) {
    case payload_type::image: return image_leader_size;
    case payload_type::raw_data: return sized_leader_size;
    case payload_type::chunk_data: return common_leader_size;
    default: return 0;
    }
}

}  // namespace

std::optional<Packet> decode_packet(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < standard_header_size) {
        return std::nullopt;
    }
    Packet packet;
    Header& header = packet.header;
    header.status = static_cast<Status>(load_be16(&datagram[0]));
    header.extended_ids = (datagram[4] & extended_bit) != 0;
    header.format = static_cast<Format>(datagram[4] & ~extended_bit);
    if (datagram.size() < header.size()) {
        return std::nullopt;
    }
    if (header.extended_ids) {
        header.flags = load_be16(&datagram[2]);
        header.part_count = datagram[7];
        header.block_id = load_be64(&datagram[8]);
        header.packet_id = load_be32(&datagram[16]);
    } else {
        header.block_id = load_be16(&datagram[2]);
        header.packet_id = load_be24(&datagram[5]);
    }
    packet.payload = datagram.subspan(header.size());
    return packet;
}

std::size_t encode_header(const Header& header, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= header.size());
    store_be16(&out[0], static_cast<std::uint16_t>(header.status));
    const auto format = static_cast<std::uint8_t>(header.format);
    if (header.extended_ids) {
        store_be16(&out[2], header.flags);
        out[4] = static_cast<std::uint8_t>(format | extended_bit);
        out[5] = 0;
        out[6] = 0;
        out[7] = header.part_count;
        store_be64(&out[8], header.block_id);
        store_be32(&out[16], header.packet_id);
    } else {
        store_be16(&out[2], static_cast<std::uint16_t>(header.block_id));
        out[4] = format;
        store_be24(&out[5], header.packet_id & packet_id_mask);
    }
    return header.size();
}

std::optional<Leader> decode_leader(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < common_leader_size) {
        return std::nullopt;
    }
    Leader leader;
    leader.field_id = payload[0] >> 4;
    leader.field_count = payload[0] & 0xF;
    leader.flags = payload[1];
    leader.payload_type = load_be16(&payload[2]);
    const std::uint16_t type = leader.base_type();
    if (type == payload_type::h264) {
        // carries its size where all others carry the timestamp, which each of its packets brings along instead
        leader.payload_size = load_be64(&payload[4]);
        return leader;
    }
    leader.timestamp = load_be64(&payload[4]);
    if (has_image_info(type)) {
        if (payload.size() < image_leader_size) {
            return std::nullopt;
        }
        leader.image = load_image(&payload[12]);
    } else if (has_payload_size(type)) {
        if (payload.size() < sized_leader_size) {
            return std::nullopt;
        }
        leader.payload_size = load_be64(&payload[12]);
    }
    if (type == payload_type::file) {
        const auto name = payload.subspan(sized_leader_size);
        const auto end = std::find(name.begin(), name.end(), std::uint8_t{0});
        leader.file_name = name.first(static_cast<std::size_t>(end - name.begin()));
    }
    return leader;
}

std::size_t encode_leader(const Leader& leader, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= largest_leader);
    const std::uint16_t type = leader.base_type();
    out[0] = static_cast<std::uint8_t>((leader.field_id << 4) | (leader.field_count & 0xF));
    out[1] = leader.flags;
    store_be16(&out[2], leader.payload_type);
    store_be64(&out[4], leader.timestamp);
    if (has_image_info(type)) {
        store_image(&out[12], leader.image.value_or(ImageInfo{}));
        return image_leader_size;
    }
    if (!has_payload_size(type)) {
        return common_leader_size;
    }
    store_be64(&out[12], leader.payload_size.value_or(0));
    if (type != payload_type::file) {
        return sized_leader_size;
    }
    // room is left for the terminating zero
    const auto name = leader.file_name.first(std::min(leader.file_name.size(), largest_leader - sized_leader_size - 1));
    std::copy(name.begin(), name.end(), out.begin() + sized_leader_size);
    out[sized_leader_size + name.size()] = 0;
    return sized_leader_size + name.size() + 1;
}

std::optional<Trailer> decode_trailer(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < common_trailer_size) {
        return std::nullopt;
    }
    Trailer trailer;
    trailer.payload_type = load_be16(&payload[2]);
    const std::uint16_t type = base_of(trailer.payload_type);
    const bool appended = trailer.payload_type != type;
    const std::size_t size = trailer_size(type);
    if (payload.size() < size + (appended ? appended_chunk_size : 0)) {
        return std::nullopt;
    }
    switch (type) {
    case payload_type::image:
    case payload_type::multi_zone: trailer.size_y = load_be32(&payload[4]); break;
    case payload_type::chunk_data: trailer.chunk_data_length = load_be32(&payload[4]); break;
    case payload_type::extended_chunk_data:
        trailer.chunk_data_length = load_be32(&payload[4]);
        trailer.size_y = load_be32(&payload[8]);
        trailer.chunk_layout_id = load_be32(&payload[12]);
        break;
    default: break;
    }
    if (appended) {
        // a multi-part trailer has a record per part before them; they are always the last fields
        const std::size_t at = type == payload_type::multi_part ? payload.size() - appended_chunk_size : size;
        trailer.chunk_data_length = load_be32(&payload[at]);
        trailer.chunk_layout_id = load_be32(&payload[at + 4]);
    }
    return trailer;
}

std::size_t encode_trailer(const Trailer& trailer, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= largest_trailer);
    const std::uint16_t type = base_of(trailer.payload_type);
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
    default: break;
    }
    std::size_t size = trailer_size(type);
    if (trailer.payload_type != type) {
        store_be32(&out[size], trailer.chunk_data_length.value_or(0));
        store_be32(&out[size + 4], trailer.chunk_layout_id.value_or(0));
        size += appended_chunk_size;
    }
    return size;
}

bool has_all_in_layout(const Leader& leader) noexcept { return all_in_leader_size(leader.base_type()) != 0; }

std::optional<AllIn> decode_all_in(std::span<const std::uint8_t> payload, const Leader& leader) noexcept
{
    const std::uint16_t type = leader.base_type();
    const std::size_t trailer_at = all_in_leader_size(type);
    const std::size_t data_at =
        trailer_at + trailer_size(type) + (leader.payload_type != type ? appended_chunk_size : 0);
    if (trailer_at == 0 || payload.size() <= data_at) {
        return std::nullopt;
    }
    const std::optional<Trailer> trailer = decode_trailer(payload.subspan(trailer_at, data_at - trailer_at));
    if (!trailer.has_value()) {
        return std::nullopt;
    }
    return AllIn{*trailer, payload.subspan(data_at)};
}

}  // namespace vex::wire::gvsp
