// Stream packets laid out byte by byte from the protocol's tables. On purpose this shares nothing with the codec that
// the receiver uses: a mistake that both had would go unseen.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "sdk/net/packet_receiver.h"

namespace packets {

using Bytes = std::vector<std::uint8_t>;

inline void put(Bytes& bytes, std::uint64_t value, int count)
{
    for (int i = count - 1; i >= 0; --i) {
        bytes.push_back(i < 8 ? static_cast<std::uint8_t>(value >> (8 * i)) : std::uint8_t{0});
    }
}

/// How the packets of one block are written.
struct BlockForm {
    std::uint64_t id = 1;
    bool extended = false;
    std::uint16_t status = 0;
    std::uint16_t flags = 0;  // extended headers only
};

inline Bytes header(const BlockForm& block, std::uint8_t format, std::uint32_t packet_id)
{
    Bytes bytes;
    put(bytes, block.status, 2);
    if (block.extended) {
        put(bytes, block.flags, 2);
        put(bytes, 0x80U | format, 1);
        put(bytes, 0, 3);
        put(bytes, block.id, 8);
        put(bytes, packet_id, 4);
    } else {
        put(bytes, block.id, 2);
        put(bytes, format, 1);
        put(bytes, packet_id, 3);
    }
    return bytes;
}

struct ImageForm {
    std::uint32_t pixel_format = 0x01080001;  // Mono8
    std::uint32_t width = 8;
    std::uint32_t height = 8;
    std::uint32_t offset_x = 0;
    std::uint32_t offset_y = 0;
    std::uint16_t padding_x = 0;
    std::uint16_t padding_y = 0;
    std::uint16_t payload_type = 0x0001;
};

inline Bytes image_leader(const BlockForm& block, const ImageForm& image, std::uint64_t timestamp)
{
    Bytes bytes = header(block, 1, 0);
    put(bytes, 0, 2);
    put(bytes, image.payload_type, 2);
    put(bytes, timestamp, 8);
    put(bytes, image.pixel_format, 4);
    put(bytes, image.width, 4);
    put(bytes, image.height, 4);
    put(bytes, image.offset_x, 4);
    put(bytes, image.offset_y, 4);
    put(bytes, image.padding_x, 2);
    put(bytes, image.padding_y, 2);
    return bytes;
}

inline Bytes image_trailer(const BlockForm& block, std::uint32_t packet_id, std::uint32_t lines,
                           std::uint16_t payload_type = 0x0001)
{
    Bytes bytes = header(block, 2, packet_id);
    put(bytes, 0, 2);
    put(bytes, payload_type, 2);
    put(bytes, lines, 4);
    return bytes;
}

inline Bytes raw_leader(const BlockForm& block, std::uint64_t size, std::uint64_t timestamp)
{
    Bytes bytes = header(block, 1, 0);
    put(bytes, 0x00000002, 4);
    put(bytes, timestamp, 8);
    put(bytes, size, 8);
    return bytes;
}

inline Bytes raw_trailer(const BlockForm& block, std::uint32_t packet_id)
{
    Bytes bytes = header(block, 2, packet_id);
    put(bytes, 0x00000002, 4);
    return bytes;
}

inline Bytes chunk_leader(const BlockForm& block, std::uint64_t timestamp)
{
    Bytes bytes = header(block, 1, 0);
    put(bytes, 0x00000004, 4);
    put(bytes, timestamp, 8);
    return bytes;
}

inline Bytes chunk_trailer(const BlockForm& block, std::uint32_t packet_id, std::uint32_t length)
{
    Bytes bytes = header(block, 2, packet_id);
    put(bytes, 0x00000004, 4);
    put(bytes, length, 4);
    return bytes;
}

inline Bytes payload(const BlockForm& block, std::uint32_t packet_id, const Bytes& data)
{
    Bytes bytes = header(block, 3, packet_id);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

/// `size` bytes that tell their place and their block.
inline Bytes picture(std::size_t size, std::uint64_t seed)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(1 + (i * 7 + i / 251 + seed * 13) % 255);
    }
    return bytes;
}

/// Payload packets of `stride` bytes each, the last one with the rest, IDs from 1.
inline std::vector<Bytes> payload_packets(const BlockForm& block, const Bytes& data, std::size_t stride)
{
    std::vector<Bytes> out;
    for (std::size_t at = 0; at < data.size(); at += stride) {
        const std::size_t end = std::min(at + stride, data.size());
        out.push_back(payload(
            block, static_cast<std::uint32_t>(out.size() + 1),
            Bytes(data.begin() + static_cast<std::ptrdiff_t>(at), data.begin() + static_cast<std::ptrdiff_t>(end))));
    }
    return out;
}

/// Leader, payload, trailer of an image whose pixels are `data`.
inline std::vector<Bytes> image_block(const BlockForm& block, const ImageForm& image, const Bytes& data,
                                      std::size_t stride, std::uint64_t timestamp)
{
    std::vector<Bytes> out{image_leader(block, image, timestamp)};
    for (Bytes& packet : payload_packets(block, data, stride)) {
        out.push_back(std::move(packet));
    }
    out.push_back(image_trailer(block, static_cast<std::uint32_t>(out.size()), image.height));
    return out;
}

}  // namespace packets
