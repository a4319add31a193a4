// Stream packets read by hand, without the project's own decoders.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/sdk/virtualdevice/host_socket.h"

struct StreamPacket {
    unsigned status = 0;
    bool extended = false;
    unsigned flags = 0;
    unsigned format = 0;
    std::uint64_t block_id = 0;
    std::uint32_t packet_id = 0;
    std::vector<std::uint8_t> payload;
    std::vector<std::uint8_t> bytes;
};

inline std::uint64_t number_at(const std::vector<std::uint8_t>& bytes, std::size_t at, std::size_t count)
{
    std::uint64_t value = 0;
    for (std::size_t i = at; i < at + count && i < bytes.size(); ++i) {
        value = (value << 8) | bytes[i];
    }
    return value;
}

inline StreamPacket parse(std::vector<std::uint8_t> bytes)
{
    StreamPacket packet;
    EXPECT_GE(bytes.size(), 8U);
    packet.status = static_cast<unsigned>(number_at(bytes, 0, 2));
    packet.extended = (bytes[4] & 0x80) != 0;
    packet.format = bytes[4] & 0x7F;
    std::size_t header = 8;
    if (packet.extended) {
        header = 20;
        packet.flags = static_cast<unsigned>(number_at(bytes, 2, 2));
        packet.block_id = number_at(bytes, 8, 8);
        packet.packet_id = static_cast<std::uint32_t>(number_at(bytes, 16, 4));
    } else {
        packet.block_id = number_at(bytes, 2, 2);
        packet.packet_id = static_cast<std::uint32_t>(number_at(bytes, 5, 3));
    }
    EXPECT_GE(bytes.size(), header);
    packet.payload.assign(bytes.begin() + static_cast<std::ptrdiff_t>(header), bytes.end());
    packet.bytes = std::move(bytes);
    return packet;
}

/// Receives packets until a trailer has come; fails the test when none comes in time.
inline std::vector<StreamPacket> receive_block(HostSocket& socket)
{
    std::vector<StreamPacket> packets;
    while (true) {
        auto answer = socket.receive();
        if (!answer) {
            ADD_FAILURE() << "no trailer after " << packets.size() << " packets";
            return packets;
        }
        packets.push_back(parse(std::move(answer->bytes)));
        if (packets.back().format == 2) {
            return packets;
        }
    }
}

/// The payload of all data packets, in order of arrival.
inline std::vector<std::uint8_t> data_of(const std::vector<StreamPacket>& packets)
{
    std::vector<std::uint8_t> data;
    for (const StreamPacket& packet : packets) {
        if (packet.format == 3) {
            data.insert(data.end(), packet.payload.begin(), packet.payload.end());
        }
    }
    return data;
}
