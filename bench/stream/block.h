// The block that the senders of this benchmark send.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bench/stream/load.h"
#include "sdk/wire/gvsp.h"

namespace bench {

namespace gvsp = vex::wire::gvsp;

/// One block as a train of equal datagrams; the last payload packet is filled up so that all have one size.
class Block {
public:
    explicit Block(const Load& load)
        : data_(gvsp::data_per_packet(load.packet_size, false)), datagram_(data_ + gvsp::standard_header_size),
          packets_((load.block_bytes() + data_ - 1) / data_), bytes_(packets_ * datagram_, 0x5A)
    {
        std::array<std::uint8_t, gvsp::largest_leader> fields{};
        gvsp::Leader leader;
        leader.payload_type = gvsp::payload_type::image;
        leader.image = gvsp::ImageInfo{.pixel_format = 0x01080001, .size_x = width, .size_y = load.lines};
        std::size_t size = gvsp::encode_leader(leader, fields);
        leader_.assign(gvsp::standard_header_size, 0);
        leader_.insert(leader_.end(), fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(size));
        gvsp::Trailer trailer;
        trailer.payload_type = gvsp::payload_type::image;
        trailer.size_y = load.lines;
        size = gvsp::encode_trailer(trailer, fields);
        trailer_.assign(gvsp::standard_header_size, 0);
        trailer_.insert(trailer_.end(), fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(size));
    }

    void number(std::uint64_t block_id)
    {
        gvsp::Header header;
        header.block_id = block_id;
        header.format = gvsp::Format::leader;
        gvsp::encode_header(header, leader_);
        header.format = gvsp::Format::payload;
        for (std::size_t i = 0; i < packets_; ++i) {
            header.packet_id = static_cast<std::uint32_t>(i + 1);
            gvsp::encode_header(header, std::span(bytes_).subspan(i * datagram_, datagram_));
        }
        header.format = gvsp::Format::trailer;
        header.packet_id = static_cast<std::uint32_t>(packets_ + 1);
        gvsp::encode_header(header, trailer_);
    }

    /// Payload packets.
    [[nodiscard]] std::size_t packets() const { return packets_; }
    /// The packet with that ID: 0 is the leader, packets() + 1 the trailer.
    [[nodiscard]] std::span<std::uint8_t> packet(std::size_t id)
    {
        if (id == 0) {
            return leader_;
        }
        return id > packets_ ? std::span<std::uint8_t>(trailer_)
                             : std::span(bytes_).subspan((id - 1) * datagram_, datagram_);
    }

    [[nodiscard]] std::size_t datagram() const { return datagram_; }
    [[nodiscard]] std::span<std::uint8_t> leader() { return leader_; }
    [[nodiscard]] std::span<std::uint8_t> trailer() { return trailer_; }
    [[nodiscard]] std::span<std::uint8_t> payload() { return bytes_; }

private:
    std::size_t data_;
    std::size_t datagram_;
    std::size_t packets_;
    std::vector<std::uint8_t> leader_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> trailer_;
};

}  // namespace bench
