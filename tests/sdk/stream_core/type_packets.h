// Packets of the rarer payload types, laid out byte by byte like those of packets.h.
#pragma once

#include "tests/sdk/stream_core/packets.h"

namespace packets {

/// The fields that all leaders begin with.
inline Bytes leader_of(const BlockForm& block, std::uint16_t type, std::uint64_t timestamp = 5)
{
    Bytes bytes = header(block, 1, 0);
    put(bytes, type, 4);
    put(bytes, timestamp, 8);
    return bytes;
}

inline Bytes sized_leader(const BlockForm& block, std::uint16_t type, std::uint64_t size)
{
    Bytes bytes = leader_of(block, type);
    put(bytes, size, 8);
    if (type == 6 || type == 7) {
        put(bytes, 1'000'000'000, 8);
        put(bytes, 1, 4);
    }
    return bytes;
}

inline Bytes trailer_of(const BlockForm& block, std::uint32_t packet_id, std::uint16_t type)
{
    Bytes bytes = header(block, 2, packet_id);
    put(bytes, type, 4);
    return bytes;
}

inline void append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

inline Bytes slice(const Bytes& bytes, std::size_t from, std::size_t to)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

/// A packet that tells its place.
inline Bytes placed(const BlockForm& block, std::uint8_t format, std::uint32_t packet_id, unsigned part,
                    std::uint64_t offset, const Bytes& data)
{
    Bytes bytes = header(block, format, packet_id);
    put(bytes, part, 1);
    put(bytes, 0, 1);
    put(bytes, offset, 6);
    append(bytes, data);
    return bytes;
}

inline Bytes chunk(std::uint32_t id, const Bytes& data)
{
    Bytes bytes = data;
    put(bytes, id, 4);
    put(bytes, data.size(), 4);
    return bytes;
}

/// Of an image of 8 x 8 pixels.
inline Bytes zone_leader(const BlockForm& block)
{
    Bytes bytes = leader_of(block, 9);
    put(bytes, 0x80000000, 4);
    for (const std::uint32_t field : {0x01080001U, 8U, 8U, 0U, 0U, 0U}) {
        put(bytes, field, 4);
    }
    return bytes;
}

}  // namespace packets
