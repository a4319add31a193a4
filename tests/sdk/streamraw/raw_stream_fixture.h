// A raw stream over a real socket, and a sender of made packets.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "sdk/streamraw/PvStreamRaw.h"
#include "tests/sdk/stream_core/stream_fixture.h"

namespace raw_stream_test {

using namespace stream_test;
using packets::Bytes;

/// Images are 8 by 8 pixels of one byte in packets of `stride` bytes: packet 1 is the first with pixels.
constexpr std::size_t image_bytes = 64;
constexpr std::size_t stride = 8;
constexpr std::uint32_t last_packet = 8;
constexpr std::uint16_t resent = 0x0100;

class RawStream : public testing::Test {
protected:
    void SetUp() override { open(); }

    void open()
    {
        const PvResult result = stream.Open(camera_ip, 0, 3, "127.0.0.1");
        ASSERT_TRUE(result.IsOK()) << result.description();
    }
    /// Waits neither for reordered packets nor for late ones: what is missing ends its block soon. The sender may
    /// pause, though: nothing is missing then.
    void be_impatient()
    {
        ASSERT_TRUE(stream.SetPacketTimeout(1).IsOK());
        ASSERT_TRUE(stream.SetResendDelay(0).IsOK());
        ASSERT_TRUE(stream.SetResendRequestTimeout(1).IsOK());
    }
    void queue(int count = 1)
    {
        for (int i = 0; i < count; ++i) {
            buffers.push_back(std::make_unique<PvBuffer>());
            ASSERT_TRUE(stream.QueueBuffer(buffers.back().get()).IsOK());
        }
    }
    void send(const Bytes& packet) { ASSERT_FALSE(sender.send_to({host, stream.GetLocalPort()}, packet)); }
    void send(const std::vector<Bytes>& packets)
    {
        for (const Bytes& packet : packets) {
            send(packet);
        }
    }
    [[nodiscard]] static std::vector<Bytes> image(std::uint64_t id, std::uint64_t timestamp = 0)
    {
        return packets::image_block({.id = id}, {}, packets::picture(image_bytes, id), stride, timestamp);
    }
    [[nodiscard]] static std::vector<Bytes> without(std::vector<Bytes> block, std::size_t first, std::size_t count = 1)
    {
        const auto at = block.begin() + static_cast<std::ptrdiff_t>(first);
        block.erase(at, at + static_cast<std::ptrdiff_t>(count));
        return block;
    }
    [[nodiscard]] static Bytes packet_of(std::uint64_t id, std::uint32_t packet, std::uint16_t status = 0)
    {
        const Bytes picture = packets::picture(image_bytes, id);
        const auto from = picture.begin() + static_cast<std::ptrdiff_t>((packet - 1) * stride);
        return packets::payload({.id = id, .status = status}, packet, Bytes(from, from + stride));
    }
    /// A packet with a status instead of data.
    [[nodiscard]] static Bytes answer(std::uint64_t id, std::uint32_t packet, std::uint16_t status)
    {
        return packets::header({.id = id, .status = status}, 3, packet);
    }
    PvResult::Code retrieve(std::uint32_t timeout = ample)
    {
        const PvResult::Code code = stream.RetrieveBuffer(&retrieved, &operation, timeout).GetCode();
        return code == PvResult::OK ? operation.GetCode() : code;
    }

    std::vector<std::unique_ptr<PvBuffer>> buffers;  // outlive the stream
    PvStreamRaw stream;
    PvStatistics& statistics = *stream.GetStatistics();
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    PvBuffer* retrieved = nullptr;
    PvResult operation;
};

}  // namespace raw_stream_test
