// The camera of the stream's fuzz target: blocks of all payload types, and their packets.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "sdk/wire/gvsp.h"
#include "tests/fuzz/input.h"

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;
namespace gvsp = vex::wire::gvsp;
namespace type = vex::wire::gvsp::payload_type;

/// What to do, byte by byte; zeros after the end.
class Script {
public:
    explicit Script(View bytes) : bytes_(bytes) {}

    [[nodiscard]] bool is_over() const { return bytes_.empty(); }
    unsigned next()
    {
        if (bytes_.empty()) {
            return 0;
        }
        const unsigned byte = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return byte;
    }
    unsigned next16() { return next() << 8 | next(); }

private:
    View bytes_;
};

/// Never 0, which stands for a byte that nobody wrote.
inline std::uint8_t true_byte(std::uint64_t block_id, std::size_t offset)
{
    return static_cast<std::uint8_t>(1 + (block_id * 131 + offset * 7 + offset / 251) % 255);
}

/// A block as the camera has it.
struct Block {
    gvsp::Header header;
    gvsp::Leader leader;
    gvsp::Trailer trailer;
    gvsp::Format format = gvsp::Format::payload;
    Bytes data;
    std::size_t first_part = 0;  ///< bytes of the first of two parts
    Bytes part_records;
    Bytes part_results;
    std::size_t stride = 1;
    bool forged = false;  ///< something was sent in its name that the camera does not have

    [[nodiscard]] std::uint32_t payload_packets() const
    {
        return static_cast<std::uint32_t>((data.size() + stride - 1) / stride);
    }

    void describe_parts()
    {
        const std::array<std::size_t, 2> lengths{first_part, data.size() - first_part};
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            gvsp::Part part;
            part.data_type = i == 0 ? gvsp::part_type::image_2d : gvsp::part_type::confidence_map;
            part.length = lengths[i];
            const auto width = static_cast<std::uint32_t>(lengths[i]);
            part.image = gvsp::ImageInfo{.pixel_format = 0x01080001, .size_x = width, .size_y = 1};
            part_records.resize(part_records.size() + gvsp::part_size);
            gvsp::encode_part(part, std::span(part_records).last(gvsp::part_size));
            part_results.resize(part_results.size() + gvsp::trailer_part_size);
            gvsp::encode_trailer_part({part.data_type, part.length, 1},
                                      std::span(part_results).last(gvsp::trailer_part_size));
        }
        leader.parts = part_records;
        trailer.parts = part_results;
        header.part_count = 2;
    }

    [[nodiscard]] Bytes packet(std::uint32_t id, bool resent) const
    {
        gvsp::Header packet_header = header;
        packet_header.packet_id = id;
        if (resent) {
            packet_header.status = gvsp::Status::packet_resend;
            packet_header.flags |= gvsp::header_flag::resent;
        }
        std::array<std::uint8_t, gvsp::largest_leader + gvsp::largest_trailer> body;
        std::size_t size = 0;
        View content;
        std::array<std::uint8_t, gvsp::payload_head_size> head{};
        std::size_t head_size = 0;
        if (id == 0) {
            packet_header.format = gvsp::Format::leader;
            size = gvsp::encode_leader(leader, body);
        } else if (id > payload_packets()) {
            packet_header.format = gvsp::Format::trailer;
            size = gvsp::encode_trailer(trailer, body);
        } else {
            packet_header.format = format;
            const std::size_t offset = (id - 1) * stride;
            content = View(data).subspan(offset, std::min(stride, data.size() - offset));
            head_size = put_head(offset, head);
        }
        Bytes datagram(packet_header.size());
        gvsp::encode_header(packet_header, datagram);
        datagram.insert(datagram.end(), body.begin(), body.begin() + static_cast<std::ptrdiff_t>(size));
        datagram.insert(datagram.end(), head.begin(), head.begin() + static_cast<std::ptrdiff_t>(head_size));
        datagram.insert(datagram.end(), content.begin(), content.end());
        return datagram;
    }

private:
    std::size_t put_head(std::size_t offset, std::span<std::uint8_t> head) const
    {
        switch (format) {
        case gvsp::Format::h264: gvsp::encode_h264_head(7, head); return head.size();
        case gvsp::Format::multi_zone: gvsp::encode_placed_head({.offset = offset}, head); return head.size();
        case gvsp::Format::multi_part: {
            gvsp::PlacedPayload place;
            place.part = offset >= first_part ? 1 : 0;
            place.offset = offset >= first_part ? offset - first_part : offset;
            gvsp::encode_placed_head(place, head);
            return head.size();
        }
        default: return 0;
        }
    }
};

/// The next block, by the input; `next_id` is the number that it may have.
inline Block make_block(Script& script, std::uint64_t& next_id)
{
    constexpr std::array types{
        type::image,    type::raw_data, type::file,       type::chunk_data, type::extended_chunk_data, type::jpeg,
        type::jpeg2000, type::h264,     type::multi_zone, type::multi_part, std::uint16_t{0x8001}};
    const unsigned how = script.next();
    Block block;
    const unsigned step = how >> 6;
    next_id += step == 3 ? script.next16() : step;
    block.header.extended_ids = (how & 0x20) != 0;
    block.header.block_id = block.header.extended_ids ? next_id : next_id & 0xFFFF;
    if (block.header.block_id == 0) {
        block.header.block_id = 1;
    }
    ++next_id;
    block.stride = 1 + script.next() % 64;
    const std::size_t width = 1 + script.next() % 30;
    const std::size_t height = 1 + script.next() % 15;
    block.data.resize(width * height);
    for (std::size_t i = 0; i < block.data.size(); ++i) {
        block.data[i] = true_byte(block.header.block_id, i);
    }
    const std::uint16_t base = types[(how & 0x0F) % types.size()];
    const bool appended = (how & 0x10) != 0 && base != type::chunk_data && base != type::extended_chunk_data;
    block.leader.payload_type = static_cast<std::uint16_t>(base | (appended ? type::chunks_appended : 0));
    block.trailer.payload_type = block.leader.payload_type;
    block.leader.timestamp = next_id * 1000;
    const gvsp::ImageInfo image{.pixel_format = 0x01080001,
                                .size_x = static_cast<std::uint32_t>(width),
                                .size_y = static_cast<std::uint32_t>(height)};
    if (base == type::image || base == type::multi_zone) {
        block.leader.image = image;
    } else if (base == type::extended_chunk_data) {
        block.leader.image = gvsp::ImageInfo{.pixel_format = 0x01080001, .size_x = 1, .size_y = 1};
    }
    block.trailer.size_y = image.size_y;
    block.leader.payload_size = block.data.size();
    block.trailer.chunk_data_length = script.next() % (block.data.size() + 1);
    switch (base) {
    case type::h264: block.format = gvsp::Format::h264; break;
    case type::multi_zone: block.format = gvsp::Format::multi_zone; break;
    case type::multi_part:
        block.format = gvsp::Format::multi_part;
        block.header.extended_ids = true;
        // a whole number of packets, as a packet belongs to one part
        block.first_part = block.data.size() / 2 / block.stride * block.stride;
        break;
    default: break;
    }
    return block;
}

}  // namespace fuzz
