// A stream over a real socket, and a sender on an address of its own.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <thread>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/stream_core/packets.h"

namespace stream_test {

using namespace vex;

/// Under Wine only sockets on 127.0.0.1 send from the address that they are bound to.
inline const Ipv4Address camera{under_wine() ? 0x7F000001U : 0x7F000028U};
inline const PvString camera_ip = camera.to_string();
constexpr Ipv4Address host{0x7F000001};
/// Long enough for a loaded machine; nothing waits for it when all is well.
constexpr std::uint32_t ample = 10'000;

class Stream : public PvStreamBase {
public:
    [[nodiscard]] stream::Counters counters() { return channel().statistics().counters; }
    void set(std::uint32_t stream::StreamSettings::*setting, std::uint32_t value)
    {
        EXPECT_TRUE(channel().set(stream::setting_of(setting), value).IsOK());
    }
    [[nodiscard]] std::uint64_t requests_expired() { return channel().statistics().queue.requests_expired; }
    [[nodiscard]] std::uint64_t pipeline_blocks_dropped() { return channel().statistics().pipeline_blocks_dropped; }
};

/// Waits until `condition` holds; a test that depends on it fails by its own check when it never does.
template <typename Condition>
void await(Condition condition)
{
    for (int i = 0; i < 2000 && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

class Streaming : public testing::Test {
protected:
    void SetUp() override
    {
        const PvResult result = stream.Open(camera_ip, 0, 0, "127.0.0.1");
        ASSERT_TRUE(result.IsOK()) << result.description();
    }

    void send(const packets::Bytes& packet, net::UdpSocket* from = nullptr)
    {
        net::UdpSocket& socket = from != nullptr ? *from : sender;
        ASSERT_FALSE(socket.send_to({host, stream.GetLocalPort()}, packet));
    }
    void send_image(std::uint64_t id, const packets::Bytes& pixels)
    {
        for (const packets::Bytes& packet : packets::image_block({.id = id}, {}, pixels, 20, id)) {
            send(packet);
        }
    }

    Stream stream;
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    PvBuffer* retrieved = nullptr;
    PvResult operation_result = PvResult::GenericError;
};

}  // namespace stream_test
