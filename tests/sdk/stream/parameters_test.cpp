// The parameters of a stream: every setting changes what the stream does, every figure is moved by what it counts.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream/PvStream.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/stream_core/flood.h"
#include "tests/sdk/stream_core/packets.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using packets::Bytes;
using packets::picture;

const Ipv4Address camera{under_wine() ? 0x7F000001U : 0x7F00002AU};  // 127.0.0.42
constexpr Ipv4Address host{0x7F000001};
constexpr std::uint32_t ample = 10'000;

class StreamParameters : public testing::Test {
protected:
    void SetUp() override
    {
        const PvResult result = stream.Open(camera.to_string(), 0, 0, host.to_string());
        ASSERT_TRUE(result.IsOK()) << result.description();
        parameters = stream.GetParameters();
        ASSERT_NE(parameters, nullptr);
        // nobody answers; the tests of requests switch them on
        ASSERT_TRUE(parameters->SetBooleanValue("ResendPacketEnable", false).IsOK());
        for (PvBuffer& buffer : buffers) {
            ASSERT_TRUE(buffer.Alloc(64).IsOK());
        }
    }

    void send(const Bytes& packet) { ASSERT_FALSE(sender.send_to({host, stream.GetLocalPort()}, packet)); }
    void send(const std::vector<Bytes>& packets)
    {
        for (const Bytes& packet : packets) {
            send(packet);
        }
    }
    void queue(PvBuffer& buffer) { ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK()); }
    PvResult::Code retrieve(std::uint32_t timeout = ample)
    {
        PvBuffer* buffer = nullptr;
        PvResult operation_result;
        stream.RetrieveBuffer(&buffer, &operation_result, timeout);
        return operation_result.GetCode();
    }

    std::int64_t count(const char* name)
    {
        std::int64_t value = -1;
        const PvResult result = parameters->GetIntegerValue(name, value);
        EXPECT_TRUE(result.IsOK()) << name << ": " << result.description();
        return value;
    }
    double rate(const char* name)
    {
        double value = -1;
        const PvResult result = parameters->GetFloatValue(name, value);
        EXPECT_TRUE(result.IsOK()) << name << ": " << result.description();
        return value;
    }
    std::string last_error()
    {
        PvString value;
        EXPECT_TRUE(parameters->GetString("LastError", value).IsOK());
        return value.str();
    }
    /// Figures of packets are brought up to date with each batch, so a datagram may need a moment.
    void expect_count(const char* name, std::int64_t expected)
    {
        for (int i = 0; i < 1000 && count(name) != expected; ++i) {
            std::this_thread::sleep_for(5ms);
        }
        EXPECT_EQ(count(name), expected) << name;
    }

    std::array<PvBuffer, 4> buffers;
    PvStream stream;
    PvGenParameterArray* parameters = nullptr;
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
};

std::vector<Bytes> block(std::uint64_t id) { return packets::image_block({.id = id}, {}, picture(64, id), 20, id); }

TEST_F(StreamParameters, AreThereBeforeTheStreamIsOpen)
{
    PvStream closed;
    ASSERT_NE(closed.GetParameters(), nullptr);
    EXPECT_EQ(closed.GetParameters(), closed.GetParameters());
    std::int64_t value = -1;
    EXPECT_TRUE(closed.GetParameters()->GetIntegerValue("BlockCount", value).IsOK());
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(closed.GetParameters()->SetIntegerValue("RequestTimeout", 500).IsOK());
    EXPECT_TRUE(closed.GetParameters()->GetIntegerValue("RequestTimeout", value).IsOK());
    EXPECT_EQ(value, 500);
}

TEST_F(StreamParameters, SettingsHaveDefaultsAndLimits)
{
    EXPECT_EQ(count("RequestTimeout"), 0);
    EXPECT_EQ(count("InterPacketTimeout"), 1000);
    EXPECT_EQ(count("PacketTimeout"), 100);
    EXPECT_EQ(count("ReorderingTimeout"), 2);
    EXPECT_FALSE(parameters->SetIntegerValue("RequestTimeout", -1).IsOK());
    EXPECT_FALSE(parameters->SetIntegerValue("RequestTimeout", 3'600'001).IsOK());
    EXPECT_EQ(count("RequestTimeout"), 0);
    EXPECT_FALSE(parameters->SetIntegerValue("BlockCount", 0).IsOK());
}

TEST_F(StreamParameters, PacketTimeoutDecidesHowLongABlockWithAHoleIsKept)
{
    ASSERT_TRUE(parameters->SetIntegerValue("PacketTimeout", 60'000).IsOK());
    queue(buffers[0]);
    std::vector<Bytes> packets = block(1);
    packets.erase(packets.begin() + 2);
    send(packets);
    EXPECT_EQ(retrieve(300), PvResult::Timeout);
    ASSERT_TRUE(parameters->SetIntegerValue("PacketTimeout", 10).IsOK());
    EXPECT_EQ(retrieve(), PvResult::MissingPackets);
}

TEST_F(StreamParameters, InterPacketTimeoutDecidesHowLongABlockMayPause)
{
    ASSERT_TRUE(parameters->SetIntegerValue("InterPacketTimeout", 60'000).IsOK());
    queue(buffers[0]);
    send(block(1)[0]);
    send(block(1)[1]);
    EXPECT_EQ(retrieve(1300), PvResult::Timeout);
    ASSERT_TRUE(parameters->SetIntegerValue("InterPacketTimeout", 10).IsOK());
    EXPECT_EQ(retrieve(), PvResult::MissingPackets);
}

TEST_F(StreamParameters, ReorderingTimeoutDecidesHowLongACompleteBlockWaits)
{
    ASSERT_TRUE(parameters->SetIntegerValue("PacketTimeout", 60'000).IsOK());
    ASSERT_TRUE(parameters->SetIntegerValue("ReorderingTimeout", 60'000).IsOK());
    queue(buffers[0]);
    queue(buffers[1]);
    std::vector<Bytes> packets = block(1);
    packets.erase(packets.begin() + 2);
    send(packets);
    send(block(2));
    EXPECT_EQ(retrieve(300), PvResult::Timeout);
    ASSERT_TRUE(parameters->SetIntegerValue("ReorderingTimeout", 1).IsOK());
    EXPECT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(retrieve(), PvResult::OK);
}

TEST_F(StreamParameters, CompleteBlocksCount)
{
    for (PvBuffer& buffer : buffers) {
        queue(buffer);
    }
    for (std::uint64_t id = 1; id <= 3; ++id) {
        send(block(id));
        ASSERT_EQ(retrieve(), PvResult::OK);
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(count("BlockCount"), 3);
    EXPECT_EQ(count("ImageCount"), 3);
    EXPECT_EQ(count("BytesCount"), 192);
    EXPECT_EQ(count("PacketCount"), 18);
    EXPECT_EQ(count("IgnoredPacketCount"), 0);
    EXPECT_EQ(count("ErrorCount"), 0);
    EXPECT_EQ(last_error(), "OK");
    EXPECT_GE(count("SamplingTime"), 20);
    EXPECT_GT(rate("AcquisitionRate"), 0);
    EXPECT_LE(rate("AcquisitionRate"), 100);
    EXPECT_NEAR(rate("AcquisitionRate"), rate("AcquisitionRateAverage"), 0.01);
    EXPECT_NEAR(rate("Bandwidth"), rate("AcquisitionRate") * 64 * 8, 0.1);
    EXPECT_NEAR(rate("BandwidthAverage"), rate("AcquisitionRateAverage") * 64 * 8, 0.1);
    std::this_thread::sleep_for(1100ms);
    EXPECT_EQ(rate("AcquisitionRate"), 0);
    EXPECT_EQ(rate("Bandwidth"), 0);
}

TEST_F(StreamParameters, LossesCount)
{
    queue(buffers[0]);
    std::vector<Bytes> packets = block(1);
    packets.erase(packets.begin() + 2);
    send(packets);
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(count("ResultMissingPackets"), 1);
    EXPECT_EQ(count("LostPacketCount"), 1);
    EXPECT_EQ(count("FullLineMissing"), 1);
    EXPECT_EQ(count("PartialLineMissing"), 1);
    EXPECT_EQ(count("ErrorCount"), 1);
    EXPECT_EQ(count("BlockCount"), 1);
    EXPECT_EQ(count("ImageCount"), 0);
    EXPECT_EQ(last_error(), "Block 1: 1 of 6 packets did not arrive");
    expect_count("LatePacket", 0);
    send(block(1)[2]);
    expect_count("LatePacket", 1);
    EXPECT_EQ(count("IgnoredPacketCount"), 1);
}

TEST_F(StreamParameters, OtherFailuresCount)
{
    Bytes memory(40);
    PvBuffer small;
    ASSERT_TRUE(small.Attach(memory.data(), 40).IsOK());
    queue(small);
    send(block(1));
    EXPECT_EQ(retrieve(), PvResult::BufferTooSmall);
    EXPECT_EQ(count("ResultBufferTooSmall"), 1);

    queue(buffers[0]);
    std::vector<Bytes> packets = block(2);
    packets[1] = packets::header({.id = 2}, 8, 1);  // of a kind that is not known
    packets[1].resize(40);
    send(packets);
    EXPECT_EQ(retrieve(), PvResult::InvalidDataFormat);
    EXPECT_EQ(count("ResultInvalidDataFormat"), 1);

    send(block(3));
    expect_count("BlocksDropped", 1);
    EXPECT_EQ(count("BlockCount"), 2);

    queue(buffers[1]);
    send(block(6));
    EXPECT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(count("BlockIDsMissing"), 2);

    queue(buffers[2]);
    packets = packets::image_block({.id = 1}, {}, picture(64, 9), 20, 99);
    packets[1] = packets::header({.id = 1, .status = 0x800D}, 3, 1);
    send(packets);
    EXPECT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(count("RestartCount"), 1);
    EXPECT_EQ(count("DataOverrunCount"), 1);
    EXPECT_EQ(count("PacketUnavailable"), 1);

    queue(buffers[3]);
    send(packets::image_leader({.id = 2}, {}, 100));
    send(packets::payload({.id = 2}, 1, picture(20, 1)));
    expect_count("PacketCount", 6 + 6 + 6 + 6 + 6 + 2);
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    EXPECT_EQ(retrieve(), PvResult::Aborted);
    EXPECT_EQ(count("ResultAborted"), 1);
}

TEST_F(StreamParameters, AbortedBlocksAreNoneOfTheRates)
{
    queue(buffers[0]);
    queue(buffers[1]);
    send(block(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    send(packets::image_leader({.id = 2}, {}, 2));
    send(packets::payload({.id = 2}, 1, picture(20, 1)));
    expect_count("BytesCount", 64 + 20);
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    ASSERT_EQ(retrieve(), PvResult::Aborted);
    EXPECT_EQ(rate("AcquisitionRateAverage"), 0);
    EXPECT_EQ(rate("BandwidthAverage"), 0);
    EXPECT_EQ(count("LostPacketCount"), 0);
}

TEST_F(StreamParameters, OddPacketsCount)
{
    queue(buffers[0]);
    std::vector<Bytes> packets = block(1);
    std::swap(packets[1], packets[2]);
    packets[3][0] = 0x01;  // sent again
    packets.insert(packets.begin() + 1, packets[0]);
    packets.insert(packets.begin() + 1, Bytes(5));
    send(packets);
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(count("PacketOutOfOrder"), 1);
    EXPECT_EQ(count("ResentPacketCount"), 1);
    EXPECT_EQ(count("RedundantPacket"), 1);
    EXPECT_EQ(count("MalformedPacket"), 1);
    EXPECT_EQ(count("IgnoredPacketCount"), 2);
}

TEST(StreamOverload, Counts)
{
    flooding::Flood flood;
    flood.blocks = 60'000;
    const net::AddedBackend added(std::make_shared<flooding::FloodBackend>(flood));
    PvStream stream;
    ASSERT_TRUE(stream.Open(flooding::camera.to_string(), 0, 0, host.to_string()).IsOK());
    const auto overloads = [&stream] {
        std::int64_t value = -1;
        EXPECT_TRUE(stream.GetParameters()->GetIntegerValue("OverloadCount", value).IsOK());
        return value;
    };
    EXPECT_EQ(overloads(), 0);
    flood.begin();
    for (int i = 0; i < 2000 && overloads() == 0; ++i) {
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_GT(overloads(), 0);
}

TEST_F(StreamParameters, ForeignPacketsCount)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    net::UdpSocket other = net::UdpSocket::open({Ipv4Address{camera.value + 1}, 0});
    ASSERT_FALSE(other.send_to({host, stream.GetLocalPort()}, block(1)[0]));
    expect_count("ForeignPacket", 1);
}

TEST_F(StreamParameters, ResetStartsAllFiguresFromZero)
{
    queue(buffers[0]);
    queue(buffers[1]);
    std::vector<Bytes> packets = block(1);
    packets.erase(packets.begin() + 2);
    send(packets);
    send(block(2));
    ASSERT_EQ(retrieve(), PvResult::MissingPackets);
    ASSERT_EQ(retrieve(), PvResult::OK);
    ASSERT_TRUE(parameters->ExecuteCommand("Reset").IsOK());
    for (const char* name : {"BlockCount", "ImageCount", "BytesCount", "PacketCount", "ErrorCount", "LostPacketCount",
                             "ResultMissingPackets", "SamplingTime", "FullLineMissing", "BlockIDsMissing"}) {
        EXPECT_EQ(count(name), 0) << name;
    }
    EXPECT_EQ(rate("AcquisitionRateAverage"), 0);
    EXPECT_EQ(last_error(), "OK");
    queue(buffers[2]);
    send(block(3));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(count("BlockCount"), 1);
}

TEST_F(StreamParameters, FiguresStayAfterCloseAndStartFromZeroWithTheNextOpening)
{
    queue(buffers[0]);
    send(block(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    stream.Close();
    EXPECT_EQ(count("BlockCount"), 1);
    ASSERT_TRUE(stream.Open(camera.to_string(), 0, 0, host.to_string()).IsOK());
    EXPECT_EQ(count("BlockCount"), 0);
}

TEST_F(StreamParameters, AResetEndsWithItsOpening)
{
    queue(buffers[0]);
    send(block(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    ASSERT_TRUE(parameters->ExecuteCommand("Reset").IsOK());
    stream.Close();
    ASSERT_TRUE(stream.Open(camera.to_string(), 0, 0, host.to_string()).IsOK());
    EXPECT_EQ(count("BlockCount"), 0);
    EXPECT_EQ(count("BytesCount"), 0);
    queue(buffers[0]);
    send(block(1));
    ASSERT_EQ(retrieve(), PvResult::OK);
    EXPECT_EQ(count("BlockCount"), 1);
    EXPECT_EQ(count("BytesCount"), 64);
}

}  // namespace
