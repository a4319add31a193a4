// GVSP, the GigE Vision streaming protocol: packet layouts, encoded and decoded, for both ends of the wire.
//
// A block (an image, say) travels as a leader, payload packets 1 to N and a trailer N+1. Decoders take one datagram,
// trust nothing in it and return nothing when it is malformed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/wire/gvcp.h"

namespace vex::wire::gvsp {

using Status = gvcp::Status;

inline constexpr std::size_t standard_header_size = 8;
inline constexpr std::size_t extended_header_size = 20;
/// IP and UDP headers, which the packet size register counts in.
inline constexpr std::size_t ip_udp_header_size = 28;

enum class Format : std::uint8_t {
    leader = 1,
    trailer = 2,
    payload = 3,
    all_in = 4,
    h264 = 5,
    multi_zone = 6,
    multi_part = 7,
    gendc = 8,
};

namespace payload_type {
inline constexpr std::uint16_t image = 0x0001;
inline constexpr std::uint16_t raw_data = 0x0002;
inline constexpr std::uint16_t file = 0x0003;
inline constexpr std::uint16_t chunk_data = 0x0004;
inline constexpr std::uint16_t extended_chunk_data = 0x0005;
inline constexpr std::uint16_t jpeg = 0x0006;
inline constexpr std::uint16_t jpeg2000 = 0x0007;
inline constexpr std::uint16_t h264 = 0x0008;
inline constexpr std::uint16_t multi_zone = 0x0009;
inline constexpr std::uint16_t multi_part = 0x000A;
inline constexpr std::uint16_t gendc = 0x000B;
inline constexpr std::uint16_t chunks_appended = 0x4000;  ///< ORed in: chunks follow the data
}  // namespace payload_type

/// The packet header in both its forms.
struct Header {
    Status status{};
    bool extended_ids = false;
    std::uint16_t flags = 0;  ///< extended form only
    Format format{};
    std::uint64_t block_id = 0;
    std::uint32_t packet_id = 0;
    /// Extended form, byte 7 of leaders: the parts of a multi-part block, the zones beside the first of a multi-zone
    /// one.
    std::uint8_t part_count = 0;

    [[nodiscard]] std::size_t size() const noexcept
    {
        return extended_ids ? extended_header_size : standard_header_size;
    }
};

namespace header_flag {
inline constexpr std::uint16_t resend_range_error = 0x0004;
inline constexpr std::uint16_t previous_block_dropped = 0x0002;
inline constexpr std::uint16_t resent = 0x0001;
}  // namespace header_flag

/// Whether the device marked the packet as sent again: with a status of its own, in either form of the header, or with
/// a flag.
[[nodiscard]] constexpr bool is_resent(const Header& header) noexcept
{
    return header.status == Status::packet_resend || (header.extended_ids && (header.flags & header_flag::resent) != 0);
}

/// A packet: its header and what follows it.
struct Packet {
    Header header;
    std::span<const std::uint8_t> payload;
};

/// Reads the header in the form that the packet itself announces. Malformed: shorter than its header.
[[nodiscard]] std::optional<Packet> decode_packet(std::span<const std::uint8_t> datagram) noexcept;

/// Writes the header into `out`, which has room for header.size() bytes, and returns that size.
std::size_t encode_header(const Header& header, std::span<std::uint8_t> out) noexcept;

/// Tells whether packets follow each other, with one look at the bytes of each header and without decoding them.
class HeaderSequence {
public:
    /// The headers of packets `first_id`, `first_id` + 1 and so on, otherwise equal to `header`. Of the standard form
    /// the IDs must not exceed 24 bits.
    HeaderSequence(Header header, std::uint32_t first_id) noexcept;

    /// Whether the datagram begins with the next header; if so, the one after it comes next.
    [[nodiscard]] bool next_is(std::span<const std::uint8_t> datagram) noexcept;

private:
    std::array<std::uint8_t, extended_header_size> bytes_{};
    std::size_t fixed_size_;  ///< bytes in front of the packet ID
    std::size_t size_;
    std::uint32_t id_;
};

/// Block IDs of the standard form count from 1 to this and begin again at 1; those of the extended form just count up.
/// 0 is no block's ID in either, though some devices count through it.
inline constexpr std::uint64_t largest_standard_block_id = 0xFFFF;

[[nodiscard]] constexpr std::uint64_t next_block_id(std::uint64_t id, bool extended_ids) noexcept
{
    return !extended_ids && id >= largest_standard_block_id ? 1 : id + 1;
}

/// How many blocks after `from` the block `to` comes, by the shorter way round; negative when it comes before.
[[nodiscard]] constexpr std::int64_t block_id_distance(std::uint64_t from, std::uint64_t to, bool extended_ids) noexcept
{
    const auto distance = static_cast<std::int64_t>(to - from);
    constexpr auto cycle = static_cast<std::int64_t>(largest_standard_block_id);
    if (extended_ids || (distance <= cycle / 2 && distance >= -(cycle / 2))) {
        return distance;
    }
    return distance > 0 ? distance - cycle : distance + cycle;
}

/// Data bytes that one payload packet carries when the packet size register holds `packet_size`; 0 when it is too small
/// to carry any.
[[nodiscard]] constexpr std::size_t data_per_packet(std::size_t packet_size, bool extended_ids) noexcept
{
    const std::size_t overhead = ip_udp_header_size + (extended_ids ? extended_header_size : standard_header_size);
    return packet_size > overhead ? packet_size - overhead : 0;
}

/// Geometry and format of an image as a leader carries it.
struct ImageInfo {
    std::uint32_t pixel_format = 0;
    std::uint32_t size_x = 0;
    std::uint32_t size_y = 0;
    std::uint32_t offset_x = 0;
    std::uint32_t offset_y = 0;
    std::uint16_t padding_x = 0;
    std::uint16_t padding_y = 0;
};

/// What leaders of JPEG and JPEG 2000 blocks tell beside the size.
struct CompressedInfo {
    std::uint64_t tick_frequency = 0;  ///< Hz, of the timestamp
    std::uint32_t data_format = 0;     ///< by the standard of the compression

    friend bool operator==(const CompressedInfo&, const CompressedInfo&) = default;
};

/// What leaders of H.264 blocks tell beside the size; meanings and units are those of the codec's own standard.
struct H264Info {
    std::uint8_t packetization_mode = 0;
    std::uint16_t packet_size = 0;
    std::uint8_t profile = 0;
    std::uint8_t constraints = 0;  ///< the upper 4 bits
    std::uint8_t level = 0;
    std::uint16_t interleaving_depth = 0;
    std::uint16_t largest_order_difference = 0;
    std::uint32_t deinterleaving_buffer = 0;
    std::uint32_t initial_buffering_time = 0;

    friend bool operator==(const H264Info&, const H264Info&) = default;
};

/// A leader. Which fields are there follows from the payload type; of device-specific types only the common ones are
/// known.
struct Leader {
    std::uint8_t field_id = 0;     ///< 4 bits; of an interlaced image
    std::uint8_t field_count = 0;  ///< 4 bits
    std::uint8_t flags = 0;
    std::uint16_t payload_type = 0;                ///< as on the wire, chunks_appended included
    std::uint64_t timestamp = 0;                   ///< device ticks; 0 for H.264, whose packets carry it
    std::optional<ImageInfo> image;                ///< image, extended chunk and multi-zone types
    std::optional<std::uint32_t> zone_directions;  ///< multi-zone type: bit 31 for zone 0, set when it runs bottom up
    std::optional<std::uint64_t> payload_size;     ///< raw data, file, JPEG, JPEG 2000, H.264, GenDC: bytes
    std::optional<CompressedInfo> compressed;      ///< JPEG, JPEG 2000
    std::optional<H264Info> h264;
    std::span<const std::uint8_t> file_name;  ///< file type: the name without its terminating zero
    std::span<const std::uint8_t> parts;      ///< multi-part type: records of part_size bytes, for decode_part

    [[nodiscard]] std::uint16_t base_type() const noexcept
    {
        return static_cast<std::uint16_t>(payload_type & ~payload_type::chunks_appended);
    }
};
inline constexpr std::size_t largest_leader = 512;
/// `announced_parts` is the header's number of parts, of which no more are taken than the leader has room for.
/// Malformed: shorter than the fixed fields of its type.
[[nodiscard]] std::optional<Leader> decode_leader(std::span<const std::uint8_t> payload,
                                                  std::size_t announced_parts = 255) noexcept;
/// Returns the bytes written; `out` has room for largest_leader bytes. File names and parts beyond that are cut off.
std::size_t encode_leader(const Leader& leader, std::span<std::uint8_t> out) noexcept;

/// What a part of a multi-part block holds. Values from 0x8000 on are a maker's own.
namespace part_type {
inline constexpr std::uint16_t image_2d = 0x0001;
inline constexpr std::uint16_t plane_2d_of_two = 0x0002;
inline constexpr std::uint16_t plane_2d_of_three = 0x0003;
inline constexpr std::uint16_t plane_2d_of_four = 0x0004;
inline constexpr std::uint16_t image_3d = 0x0005;
inline constexpr std::uint16_t plane_3d_of_two = 0x0006;
inline constexpr std::uint16_t plane_3d_of_three = 0x0007;
inline constexpr std::uint16_t plane_3d_of_four = 0x0008;
inline constexpr std::uint16_t confidence_map = 0x0009;
inline constexpr std::uint16_t chunk_data = 0x000A;
inline constexpr std::uint16_t jpeg = 0x000B;
inline constexpr std::uint16_t jpeg2000 = 0x000C;
}  // namespace part_type

/// One part as the leader of a multi-part block describes it.
struct Part {
    std::uint16_t data_type = 0;
    std::uint64_t length = 0;  ///< bytes, 48 bits
    std::uint32_t format = 0;  ///< of parts without an image: what the data type says
    std::uint8_t source_id = 0;
    std::uint8_t additional_zones = 0;  ///< 5 bits
    std::uint32_t zone_directions = 0;
    std::uint16_t purpose = 0;
    std::uint16_t region = 0;
    std::optional<ImageInfo> image;            ///< data types image_2d to confidence_map
    std::optional<CompressedInfo> compressed;  ///< data types jpeg and jpeg2000
    std::uint8_t compression_flags = 0;        ///< of those
};
inline constexpr std::size_t part_size = 48;
/// Parts that a leader of largest_leader bytes has room for.
inline constexpr std::size_t most_encoded_parts = (largest_leader - 12) / part_size;
/// The record of the part with that index; nothing beyond the last.
[[nodiscard]] std::optional<Part> decode_part(const Leader& leader, std::size_t index) noexcept;
/// Writes one record into `out`, which has room for part_size bytes.
void encode_part(const Part& part, std::span<std::uint8_t> out) noexcept;

struct Trailer {
    std::uint16_t payload_type = 0;
    std::optional<std::uint32_t> size_y;  ///< image types: lines actually delivered
    std::optional<std::uint32_t> chunk_data_length;
    std::optional<std::uint32_t> chunk_layout_id;
    std::span<const std::uint8_t> parts;  ///< multi-part type: records of trailer_part_size bytes
};
inline constexpr std::size_t trailer_part_size = 16;
inline constexpr std::size_t largest_trailer = 4 + most_encoded_parts * trailer_part_size + 8;
/// Image trailers may end behind the payload type, as those of cameras before version 1.1 of the standard do; they have
/// no `size_y` then. Malformed: any other that is shorter than the fixed fields of its type. A packet is known to be a
/// trailer by its format alone, so one whose fields are malformed still ends its block.
[[nodiscard]] std::optional<Trailer> decode_trailer(std::span<const std::uint8_t> payload) noexcept;
/// Returns the bytes written; `out` has room for largest_trailer bytes. Parts beyond that are cut off.
std::size_t encode_trailer(const Trailer& trailer, std::span<std::uint8_t> out) noexcept;

/// What became of one part, by the trailer of its block.
struct TrailerPart {
    std::uint16_t data_type = 0;
    std::uint64_t length = 0;  ///< bytes, 48 bits
    std::uint32_t size_y = 0;  ///< image types: lines actually delivered
};
/// The record of the part with that index; nothing beyond the last.
[[nodiscard]] std::optional<TrailerPart> decode_trailer_part(const Trailer& trailer, std::size_t index) noexcept;
/// Writes one record into `out`, which has room for trailer_part_size bytes.
void encode_trailer_part(const TrailerPart& part, std::span<std::uint8_t> out) noexcept;

/// What stands before the data in payload packets of the types that have something there.
inline constexpr std::size_t payload_head_size = 8;

/// A payload packet of format h264.
struct H264Payload {
    std::uint64_t timestamp = 0;  ///< device ticks
    std::span<const std::uint8_t> data;
};
[[nodiscard]] std::optional<H264Payload> decode_h264_payload(std::span<const std::uint8_t> payload) noexcept;

/// A payload packet of format multi_zone or multi_part: it says itself where its data belongs.
struct PlacedPayload {
    std::uint8_t part = 0;  ///< multi_part only
    bool end_of_part = false;
    std::uint8_t zone = 0;  ///< 5 bits
    bool end_of_zone = false;
    std::uint64_t offset = 0;  ///< bytes, 48 bits; in the image, or in the part
    std::span<const std::uint8_t> data{};
};
[[nodiscard]] std::optional<PlacedPayload> decode_placed_payload(std::span<const std::uint8_t> payload) noexcept;

/// Write what stands before the data into `out`, which has room for payload_head_size bytes.
void encode_h264_head(std::uint64_t timestamp, std::span<std::uint8_t> out) noexcept;
void encode_placed_head(const PlacedPayload& payload, std::span<std::uint8_t> out) noexcept;

/// What follows the leader in an all-in packet, which holds a whole block.
struct AllIn {
    Trailer trailer;
    std::uint64_t timestamp = 0;  ///< H.264 type: device ticks
    std::span<const std::uint8_t> data;
};
/// Whether blocks of the leader's type travel in all-in packets: all but multi-part and GenDC ones, and those of types
/// that a maker defined, whose leaders have a length that is not known here.
[[nodiscard]] bool has_all_in_layout(const Leader& leader) noexcept;
/// Reads on behind the leader of an all-in packet's payload. Malformed: a type without such a layout, no trailer, no
/// data, the data of a multi-zone image from elsewhere than its beginning.
[[nodiscard]] std::optional<AllIn> decode_all_in(std::span<const std::uint8_t> payload, const Leader& leader) noexcept;
/// Writes all that stands before the data in an all-in packet of a type that has_all_in_layout. Returns the bytes
/// written; `out` has room for largest_leader + largest_trailer + payload_head_size bytes. `timestamp` is used for
/// H.264 blocks.
std::size_t encode_all_in_head(const Leader& leader, const Trailer& trailer, std::uint64_t timestamp,
                               std::span<std::uint8_t> out) noexcept;

}  // namespace vex::wire::gvsp
