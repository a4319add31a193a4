#include "sdk/wire/gvsp.h"

#include <cassert>
#include <cstring>

#include "sdk/wire/bytes.h"

namespace vex::wire::gvsp {

namespace {

constexpr std::uint8_t extended_bit = 0x80;
constexpr std::uint32_t packet_id_mask = 0xFFFFFF;

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

HeaderSequence::HeaderSequence(Header header, std::uint32_t first_id) noexcept : size_(header.size()), id_(first_id)
{
    encode_header(header, bytes_);
    // the ID comes last in both forms
    fixed_size_ = header.extended_ids ? extended_header_size - 4 : standard_header_size - 3;
}

bool HeaderSequence::next_is(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < size_ || std::memcmp(datagram.data(), bytes_.data(), fixed_size_) != 0) {
        return false;
    }
    const std::uint32_t id = size_ == extended_header_size ? load_be32(&datagram[16]) : load_be24(&datagram[5]);
    if (id != id_) {
        return false;
    }
    ++id_;
    return true;
}

}  // namespace vex::wire::gvsp
