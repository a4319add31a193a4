// Leaders of blocks.
#include <algorithm>
#include <cassert>

#include "sdk/wire/bytes.h"
#include "sdk/wire/gvsp.h"

namespace vex::wire::gvsp {

namespace {

constexpr std::size_t common_size = 12;
constexpr std::size_t image_size = 36;
constexpr std::size_t sized_size = 20;
constexpr std::size_t compressed_size = 32;
constexpr std::size_t h264_size = 32;
constexpr std::size_t multi_zone_size = 40;
constexpr std::uint8_t zones_mask = 0x1F;
constexpr std::uint8_t constraints_mask = 0xF0;

bool is_compressed(std::uint16_t base_type) noexcept
{
    return base_type == payload_type::jpeg || base_type == payload_type::jpeg2000;
}

/// Bytes of a leader without the file name or parts that end it.
std::size_t fixed_size(std::uint16_t base_type) noexcept
{
    switch (base_type) {
    case payload_type::image:
    case payload_type::extended_chunk_data: return image_size;
    case payload_type::raw_data:
    case payload_type::file:
    case payload_type::gendc: return sized_size;
    case payload_type::jpeg:
    case payload_type::jpeg2000: return compressed_size;
    case payload_type::h264: return h264_size;
    case payload_type::multi_zone: return multi_zone_size;
    default: return common_size;
    }
}

/// Everything but the pixel format, which stands elsewhere in the records of parts.
ImageInfo load_area(const std::uint8_t* at, std::uint32_t pixel_format) noexcept
{
    ImageInfo image;
    image.pixel_format = pixel_format;
    image.size_x = load_be32(at);
    image.size_y = load_be32(at + 4);
    image.offset_x = load_be32(at + 8);
    image.offset_y = load_be32(at + 12);
    image.padding_x = load_be16(at + 16);
    image.padding_y = load_be16(at + 18);
    return image;
}

void store_area(std::uint8_t* at, const ImageInfo& image) noexcept
{
    store_be32(at, image.size_x);
    store_be32(at + 4, image.size_y);
    store_be32(at + 8, image.offset_x);
    store_be32(at + 12, image.offset_y);
    store_be16(at + 16, image.padding_x);
    store_be16(at + 18, image.padding_y);
}

ImageInfo load_image(const std::uint8_t* at) noexcept { return load_area(at + 4, load_be32(at)); }

void store_image(std::uint8_t* at, const ImageInfo& image) noexcept
{
    store_be32(at, image.pixel_format);
    store_area(at + 4, image);
}

H264Info load_h264(const std::uint8_t* leader) noexcept
{
    H264Info info;
    info.packetization_mode = leader[13];
    info.packet_size = load_be16(leader + 14);
    info.profile = leader[17];
    info.constraints = leader[18] & constraints_mask;
    info.level = leader[19];
    info.interleaving_depth = load_be16(leader + 20);
    info.largest_order_difference = load_be16(leader + 22);
    info.deinterleaving_buffer = load_be32(leader + 24);
    info.initial_buffering_time = load_be32(leader + 28);
    return info;
}

void store_h264(std::uint8_t* leader, const H264Info& info) noexcept
{
    leader[12] = 0;
    leader[13] = info.packetization_mode;
    store_be16(leader + 14, info.packet_size);
    leader[16] = 0;
    leader[17] = info.profile;
    leader[18] = info.constraints & constraints_mask;
    leader[19] = info.level;
    store_be16(leader + 20, info.interleaving_depth);
    store_be16(leader + 22, info.largest_order_difference);
    store_be32(leader + 24, info.deinterleaving_buffer);
    store_be32(leader + 28, info.initial_buffering_time);
}

std::span<const std::uint8_t> load_file_name(std::span<const std::uint8_t> at) noexcept
{
    const auto end = std::find(at.begin(), at.end(), std::uint8_t{0});
    return at.first(static_cast<std::size_t>(end - at.begin()));
}

/// Returns the bytes written, the terminating zero included.
std::size_t store_file_name(std::span<std::uint8_t> at, std::span<const std::uint8_t> name) noexcept
{
    const auto fitting = name.first(std::min(name.size(), at.size() - 1));
    std::copy(fitting.begin(), fitting.end(), at.begin());
    at[fitting.size()] = 0;
    return fitting.size() + 1;
}

bool is_image_part(std::uint16_t data_type) noexcept
{
    return data_type >= part_type::image_2d && data_type <= part_type::confidence_map;
}

}  // namespace

std::optional<Leader> decode_leader(std::span<const std::uint8_t> payload, std::size_t announced_parts) noexcept
{
    if (payload.size() < common_size) {
        return std::nullopt;
    }
    Leader leader;
    leader.field_id = payload[0] >> 4;
    leader.field_count = payload[0] & 0xF;
    leader.flags = payload[1];
    leader.payload_type = load_be16(&payload[2]);
    const std::uint16_t type = leader.base_type();
    const std::size_t size = fixed_size(type);
    if (payload.size() < size) {
        return std::nullopt;
    }
    if (type == payload_type::h264) {
        // carries its size where all others carry the timestamp, which each of its packets brings along instead
        leader.payload_size = load_be64(&payload[4]);
        leader.h264 = load_h264(payload.data());
        return leader;
    }
    leader.timestamp = load_be64(&payload[4]);
    if (size == image_size) {
        leader.image = load_image(&payload[12]);
    } else if (size == multi_zone_size) {
        leader.zone_directions = load_be32(&payload[12]);
        leader.image = load_image(&payload[16]);
    } else if (size != common_size) {
        leader.payload_size = load_be64(&payload[12]);
    }
    if (is_compressed(type)) {
        leader.compressed = CompressedInfo{load_be64(&payload[20]), load_be32(&payload[28])};
    } else if (type == payload_type::file) {
        leader.file_name = load_file_name(payload.subspan(sized_size));
    } else if (type == payload_type::multi_part) {
        const auto records = payload.subspan(common_size);
        leader.parts = records.first(std::min(announced_parts, records.size() / part_size) * part_size);
    }
    return leader;
}

std::size_t encode_leader(const Leader& leader, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= largest_leader);
    const std::uint16_t type = leader.base_type();
    const std::size_t size = fixed_size(type);
    out[0] = static_cast<std::uint8_t>((leader.field_id << 4) | (leader.field_count & 0xF));
    out[1] = leader.flags;
    store_be16(&out[2], leader.payload_type);
    if (type == payload_type::h264) {
        store_be64(&out[4], leader.payload_size.value_or(0));
        store_h264(out.data(), leader.h264.value_or(H264Info{}));
        return size;
    }
    store_be64(&out[4], leader.timestamp);
    if (size == image_size) {
        store_image(&out[12], leader.image.value_or(ImageInfo{}));
    } else if (size == multi_zone_size) {
        store_be32(&out[12], leader.zone_directions.value_or(0));
        store_image(&out[16], leader.image.value_or(ImageInfo{}));
    } else if (size != common_size) {
        store_be64(&out[12], leader.payload_size.value_or(0));
    }
    if (is_compressed(type)) {
        const CompressedInfo compressed = leader.compressed.value_or(CompressedInfo{});
        store_be64(&out[20], compressed.tick_frequency);
        store_be32(&out[28], compressed.data_format);
    } else if (type == payload_type::file) {
        return size + store_file_name(out.first(largest_leader).subspan(size), leader.file_name);
    } else if (type == payload_type::multi_part) {
        const std::size_t parts = std::min(leader.parts.size() / part_size, most_encoded_parts);
        std::copy_n(leader.parts.begin(), parts * part_size, out.begin() + common_size);
        return size + parts * part_size;
    }
    return size;
}

std::optional<Part> decode_part(const Leader& leader, std::size_t index) noexcept
{
    if (index >= leader.parts.size() / part_size) {
        return std::nullopt;
    }
    const std::uint8_t* at = leader.parts.data() + index * part_size;
    Part part;
    part.data_type = load_be16(at);
    part.length = load_be48(at + 2);
    part.format = load_be32(at + 8);
    part.source_id = at[14];
    part.additional_zones = at[15] & zones_mask;
    part.zone_directions = load_be32(at + 16);
    part.purpose = load_be16(at + 20);
    part.region = load_be16(at + 22);
    if (is_image_part(part.data_type)) {
        part.image = load_area(at + 24, part.format);
    } else if (part.data_type == part_type::jpeg || part.data_type == part_type::jpeg2000) {
        part.compression_flags = at[24];
        part.compressed = CompressedInfo{load_be64(at + 28), load_be32(at + 36)};
    }
    return part;
}

void encode_part(const Part& part, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= part_size);
    std::fill_n(out.begin(), part_size, std::uint8_t{0});
    store_be16(&out[0], part.data_type);
    store_be48(&out[2], part.length);
    store_be32(&out[8], part.image ? part.image->pixel_format : part.format);
    out[14] = part.source_id;
    out[15] = part.additional_zones & zones_mask;
    store_be32(&out[16], part.zone_directions);
    store_be16(&out[20], part.purpose);
    store_be16(&out[22], part.region);
    if (part.image) {
        store_area(&out[24], *part.image);
    } else if (part.compressed) {
        out[24] = part.compression_flags;
        store_be64(&out[28], part.compressed->tick_frequency);
        store_be32(&out[36], part.compressed->data_format);
    }
}

}  // namespace vex::wire::gvsp
