// GVSP, the GigE Vision streaming protocol: packet layouts, encoded and decoded, for both ends of the wire.
//
// A block (an image, say) travels as a leader, payload packets 1 to N and a trailer N+1. Decoders take one datagram,
// trust nothing in it and return nothing when it is malformed.
#pragma once

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
    std::uint8_t part_count = 0;  ///< extended form, byte 7: parts of a multi-part leader

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

/// A leader of the image, raw data, file, chunk and extended chunk types; of other types only the common fields and,
/// where the leader tells it, the payload size.
struct Leader {
    std::uint8_t field_id = 0;
    std::uint8_t field_count = 0;
    std::uint8_t flags = 0;
    std::uint16_t payload_type = 0;             ///< as on the wire, chunks_appended included
    std::uint64_t timestamp = 0;                ///< device ticks; 0 for H.264, whose packets carry it
    std::optional<ImageInfo> image;             ///< image and extended chunk types
    std::optional<std::uint64_t> payload_size;  ///< raw data, file, JPEG, H.264, GenDC: bytes
    std::span<const std::uint8_t> file_name;    ///< file type: the name without its terminating zero

    [[nodiscard]] std::uint16_t base_type() const noexcept
    {
        return static_cast<std::uint16_t>(payload_type & ~payload_type::chunks_appended);
    }
};
inline constexpr std::size_t largest_leader = 512;
[[nodiscard]] std::optional<Leader> decode_leader(std::span<const std::uint8_t> payload) noexcept;
/// For the image, raw data, file, chunk and extended chunk types. Returns the bytes written; `out` has room for
/// largest_leader bytes.
std::size_t encode_leader(const Leader& leader, std::span<std::uint8_t> out) noexcept;

struct Trailer {
    std::uint16_t payload_type = 0;
    std::optional<std::uint32_t> size_y;  ///< image types: lines actually delivered
    std::optional<std::uint32_t> chunk_data_length;
    std::optional<std::uint32_t> chunk_layout_id;
};
inline constexpr std::size_t largest_trailer = 24;
[[nodiscard]] std::optional<Trailer> decode_trailer(std::span<const std::uint8_t> payload) noexcept;
std::size_t encode_trailer(const Trailer& trailer, std::span<std::uint8_t> out) noexcept;

/// What follows the leader in an all-in packet, which holds a whole block.
struct AllIn {
    Trailer trailer;
    std::span<const std::uint8_t> data;
};
/// Whether blocks of the leader's type travel in all-in packets whose layout is known here: images, raw data and chunk
/// data.
[[nodiscard]] bool has_all_in_layout(const Leader& leader) noexcept;
/// Reads on behind the leader of an all-in packet's payload. Malformed: a type without such a layout, no trailer, no
/// data.
[[nodiscard]] std::optional<AllIn> decode_all_in(std::span<const std::uint8_t> payload, const Leader& leader) noexcept;

}  // namespace vex::wire::gvsp
