// The stream over real sockets: a sender on an address of its own that writes its packets byte by byte.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/known_path.h"
#include "sdk/net/receive_backends.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/stream_core/packets.h"
#include "tests/sdk/stream_core/stream_fixture.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using packets::Bytes;
using packets::picture;
using stream_test::ample;
using stream_test::await;
using stream_test::camera;
using stream_test::camera_ip;
using stream_test::host;
using stream_test::Stream;
using stream_test::Streaming;

using RetrieveBuffer = Streaming;

TEST(Open, TellsWhereItReceives)
{
    Stream stream;
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetLocalPort(), 0);
    EXPECT_EQ(stream.GetLocalIPAddress(), PvString());
    EXPECT_EQ(stream.GetMulticastIPAddress(), PvString());
    ASSERT_TRUE(stream.Open(camera_ip, 0, 2, "127.0.0.41").IsOK());
    EXPECT_TRUE(stream.IsOpen());
    EXPECT_NE(stream.GetLocalPort(), 0);
    EXPECT_EQ(stream.GetLocalIPAddress(), "127.0.0.41");
    EXPECT_EQ(stream.GetDeviceIPAddress(), camera_ip);
    EXPECT_EQ(stream.GetChannel(), 2);
    EXPECT_EQ(stream.GetMulticastIPAddress(), PvString());
    EXPECT_TRUE(stream.Close().IsOK());
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetLocalPort(), 0);
}

TEST(Open, FindsTheInterfaceTowardsTheDevice)
{
    Stream stream;
    ASSERT_TRUE(stream.Open(camera_ip).IsOK());
    EXPECT_EQ(stream.GetLocalIPAddress().view().substr(0, 4), "127.");
}

TEST(Open, ReceivesWhereTheProcessIsConnectedToTheDevice)
{
    Stream stream;
    {
        const net::KnownPath path(stream_test::camera, {0x7F00002A});
        ASSERT_TRUE(stream.Open(camera_ip).IsOK());
    }
    EXPECT_EQ(stream.GetLocalIPAddress(), "127.0.0.42");
    ASSERT_TRUE(stream.Close().IsOK());
    ASSERT_TRUE(stream.Open(camera_ip).IsOK());
    EXPECT_NE(stream.GetLocalIPAddress(), "127.0.0.42");
}

TEST(Open, RefusesWhatIsNoAddress)
{
    Stream stream;
    for (const char* address : {"", "camera", "127.0.0", "127.0.0.256", "0.0.0.0", "239.1.1.1"}) {
        EXPECT_EQ(stream.Open(address).GetCode(), PvResult::InvalidParameter) << address;
    }
    EXPECT_EQ(stream.Open(camera_ip, 0, 0, "here").GetCode(), PvResult::InvalidParameter);
    const PvResult result = stream.Open("127.0.0.999");
    EXPECT_EQ(result.description(), "The device address '127.0.0.999' is not an IPv4 address");
    EXPECT_FALSE(stream.IsOpen());
}

TEST(Open, ReportsAPortInUse)
{
    Stream first;
    Stream second;
    ASSERT_TRUE(first.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
    const PvResult result = second.Open(camera_ip, first.GetLocalPort(), 0, "127.0.0.1");
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_NE(result.description().find("127.0.0.1"), std::string_view::npos) << result.description();
    EXPECT_FALSE(second.IsOpen());
    // and nothing of the failure stays
    EXPECT_TRUE(second.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
}

TEST(Open, ReportsAnAddressThatIsNotThisHosts)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    Stream stream;
    EXPECT_EQ(stream.Open(camera_ip, 0, 0, "192.0.2.1").GetCode(), PvResult::NetworkError);
}

TEST_F(Streaming, OpensOnlyOnce)
{
    EXPECT_EQ(stream.Open(camera_ip).GetCode(), PvResult::StateError);
    EXPECT_TRUE(stream.IsOpen());
}

TEST_F(RetrieveBuffer, TimesOutWithNullBufferAndBothResults)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    retrieved = &buffer;
    const auto start = std::chrono::steady_clock::now();
    const PvResult result = stream.RetrieveBuffer(&retrieved, &operation_result, 50);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(operation_result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(retrieved, nullptr);
    EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
}

TEST_F(RetrieveBuffer, TimesOutAlsoWithNothingQueued)
{
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, &operation_result, 20).GetCode(), PvResult::Timeout);
}

TEST_F(RetrieveBuffer, ATimeoutTellsWhatHasCome)
{
    const auto text = [&] {
        const PvResult result = stream.RetrieveBuffer(&retrieved, &operation_result, 0);
        EXPECT_EQ(result.GetCode(), PvResult::Timeout);
        return std::string(result.description());
    };
    const std::string way = camera_ip.str() + " to 127.0.0.1, port " + std::to_string(stream.GetLocalPort());
    EXPECT_EQ(text(), "No block was completed within 0 ms: no packet has ever come from " + way);
    send(Bytes(5));
    await([&] { return stream.counters().of(stream::PacketFate::malformed) == 1; });
    EXPECT_EQ(text(), "No block was completed within 0 ms: what has come from " + way + " is not a stream");
    send(packets::image_leader({.id = 1}, {}, 1));
    await([&] { return stream.counters().blocks_begun == 1; });
    EXPECT_EQ(text(), "No block was completed within 0 ms: packets have come, but no block has ended");
}

TEST_F(RetrieveBuffer, NeedsPlacesForItsOutputs)
{
    EXPECT_EQ(stream.RetrieveBuffer(nullptr, &operation_result, 0).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(stream.RetrieveBuffer(&retrieved, nullptr, 0).GetCode(), PvResult::InvalidParameter);
}

TEST_F(RetrieveBuffer, ReturnsTheClientsBuffersInTheirOrder)
{
    std::array<PvBuffer, 3> buffers;
    for (PvBuffer& buffer : buffers) {
        ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    }
    EXPECT_EQ(stream.GetQueuedBufferCount(), 3U);
    for (std::uint64_t id = 1; id <= 3; ++id) {
        send_image(id, picture(64, id));
    }
    for (std::uint64_t id = 1; id <= 3; ++id) {
        const PvResult result = stream.RetrieveBuffer(&retrieved, &operation_result, ample);
        ASSERT_TRUE(result.IsOK()) << result.description();
        EXPECT_TRUE(operation_result.IsOK());
        ASSERT_EQ(retrieved, &buffers[static_cast<std::size_t>(id - 1)]);
        EXPECT_EQ(retrieved->GetBlockID(), id);
        const Bytes expected = picture(64, id);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), retrieved->GetDataPointer()));
        EXPECT_EQ(stream.GetQueuedBufferCount(), 3 - id);
    }
}

TEST_F(RetrieveBuffer, WakesWhenABlockArrives)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    std::thread camera_thread([this] { send_image(1, picture(64, 1)); });
    EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, PvStreamBase::wait_forever).IsOK());
    EXPECT_EQ(retrieved, &buffer);
    camera_thread.join();
}

TEST_F(RetrieveBuffer, GivesUpABlockThatLacksPackets)
{
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    const std::vector<Bytes> block = packets::image_block({.id = 9}, {}, picture(64, 1), 20, 1);
    for (const std::size_t i : {0U, 1U, 3U, 4U, 5U}) {
        send(block[i]);
    }
    EXPECT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(operation_result.GetCode(), PvResult::TooManyResends);
    EXPECT_EQ(operation_result.description(),
              "Block 9: 1 of 6 packets did not arrive although they were asked for again");
    ASSERT_EQ(retrieved, &buffer);
    EXPECT_EQ(buffer.GetLostPacketCount(), 1U);
}

TEST_F(RetrieveBuffer, ATimeoutTellsThatBlocksCameForWhichNoBufferWasQueued)
{
    std::atomic<bool> done{false};
    std::thread camera_thread([&] {
        for (std::uint64_t id = 1; !done; ++id) {
            send_image(id, picture(64, id));
            std::this_thread::sleep_for(2ms);
        }
    });
    const std::string_view reason = ": blocks arrived for which no buffer was queued";
    PvResult result;
    for (int i = 0; i < 50 && !result.description().ends_with(reason); ++i) {
        result = stream.RetrieveBuffer(&retrieved, &operation_result, 200);
        EXPECT_EQ(result.GetCode(), PvResult::Timeout);
        EXPECT_EQ(operation_result.GetCode(), PvResult::Timeout);
        EXPECT_EQ(retrieved, nullptr);
    }
    done = true;
    camera_thread.join();
    EXPECT_EQ(result.description(), "No block was completed within 200 ms" + std::string(reason));
}

TEST_F(RetrieveBuffer, HearsOnlyTheDevice)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    PvBuffer buffer;
    ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    net::UdpSocket other = net::UdpSocket::open({Ipv4Address{camera.value + 1}, 0});
    for (const Bytes& packet : packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1)) {
        send(packet, &other);
    }
    await([&] { return stream.counters().of(stream::PacketFate::foreign) == 6; });
    const PvResult timeout = stream.RetrieveBuffer(&retrieved, &operation_result, 0);
    EXPECT_NE(timeout.description().find("other senders"), std::string_view::npos) << timeout.description();
    send_image(2, picture(64, 2));
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved->GetBlockID(), 2U);
    EXPECT_EQ(stream.counters().of(stream::PacketFate::foreign), 6U);
}

TEST(Multicast, ReceivesFromTheGroup)
{
    constexpr Ipv4Address group{0xEFC0282AU};  // 239.192.40.42
    Stream stream;
    EXPECT_EQ(stream.Open(camera_ip, "192.168.1.1", 5000, 0, "127.0.0.1").GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(stream.Open(camera_ip, "239.192.40.42", 0, 0, "127.0.0.1").GetCode(), PvResult::InvalidParameter);
    // a port of the system's choice that is free at this moment
    const std::uint16_t port = net::UdpSocket::open({any_address, 0}).local().port;
    const PvResult opened = stream.Open(camera_ip, "239.192.40.42", port, 0, "127.0.0.1");
    ASSERT_TRUE(opened.IsOK()) << opened.description();
    EXPECT_EQ(stream.GetMulticastIPAddress(), "239.192.40.42");
    EXPECT_EQ(stream.GetLocalPort(), port);
    EXPECT_EQ(stream.GetLocalIPAddress(), "127.0.0.1");
    Stream monitor;
    ASSERT_TRUE(monitor.Open(camera_ip, "239.192.40.42", port, 0, "127.0.0.1").IsOK());

    PvBuffer buffers[2];
    ASSERT_TRUE(stream.QueueBuffer(&buffers[0]).IsOK());
    ASSERT_TRUE(monitor.QueueBuffer(&buffers[1]).IsOK());
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    ASSERT_FALSE(sender.set_multicast_interface(host, 1));
    for (const Bytes& packet : packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1)) {
        ASSERT_FALSE(sender.send_to({group, port}, packet));
    }
    PvBuffer* retrieved = nullptr;
    PvResult operation_result;
    ASSERT_TRUE(stream.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &buffers[0]);
    ASSERT_TRUE(monitor.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(retrieved, &buffers[1]);
}

TEST(Multicast, OnlyWhoControlsTheDeviceAsksForWhatIsMissing)
{
    constexpr Ipv4Address group{0xEFC0282BU};  // 239.192.40.43
    const std::uint16_t port = net::UdpSocket::open({any_address, 0}).local().port;
    const auto open = [port](Stream& stream) {
        return stream.Open(camera_ip, "239.192.40.43", port, 0, "127.0.0.1").IsOK();
    };
    Stream watcher;
    ASSERT_TRUE(open(watcher));
    Stream controller;
    {
        const net::KnownPath path(camera, host, true);
        ASSERT_TRUE(open(controller));
    }
    PvBuffer buffers[2];
    ASSERT_TRUE(watcher.QueueBuffer(&buffers[0]).IsOK());
    ASSERT_TRUE(controller.QueueBuffer(&buffers[1]).IsOK());
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});
    ASSERT_FALSE(sender.set_multicast_interface(host, 1));
    std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
    block.erase(block.begin() + 2);
    for (const Bytes& packet : block) {
        ASSERT_FALSE(sender.send_to({group, port}, packet));
    }
    PvBuffer* retrieved = nullptr;
    PvResult operation_result;
    ASSERT_TRUE(watcher.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(operation_result.GetCode(), PvResult::MissingPackets);
    EXPECT_EQ(watcher.counters().resend_requests, 0U);
    ASSERT_TRUE(controller.RetrieveBuffer(&retrieved, &operation_result, ample).IsOK());
    EXPECT_EQ(operation_result.GetCode(), PvResult::TooManyResends);
    EXPECT_NE(controller.counters().resend_requests, 0U);
}

/// A backend that serves one interface and receives nothing.
class OneInterface final : public net::ReceiveBackend {
public:
    OneInterface(Ipv4Address local_interface, bool privileged) noexcept
        : interface_(local_interface), privileged_(privileged)
    {}

    [[nodiscard]] std::string_view name() const noexcept override { return "test"; }
    [[nodiscard]] bool privileged() const noexcept override { return privileged_; }
    [[nodiscard]] bool serves(const net::ReceivePath& path) const noexcept override
    {
        return path.local_interface == interface_;
    }
    [[nodiscard]] std::unique_ptr<net::PacketReceiver> create(const net::ReceiverOptions&) const override
    {
        return nullptr;
    }

private:
    const Ipv4Address interface_;
    const bool privileged_;
};

bool is_driver_installed(const PvString& device, const PvString& local = PvString())
{
    bool installed = false;
    EXPECT_TRUE(PvStreamBase::IsDriverInstalled(device, installed, local).IsOK());
    return installed;
}

TEST(IsDriverInstalled, TellsOfABackendWithPrivilegesThatServesTheInterface)
{
    // no system has reserved addresses
    const Ipv4Address served = *Ipv4Address::parse("240.0.0.1");
    EXPECT_FALSE(is_driver_installed("240.0.0.9", "240.0.0.1"));
    {
        const net::AddedBackend ordinary(std::make_shared<OneInterface>(served, false));
        EXPECT_FALSE(is_driver_installed("240.0.0.9", "240.0.0.1"));
    }
    {
        const net::AddedBackend driver(std::make_shared<OneInterface>(served, true));
        EXPECT_TRUE(is_driver_installed("240.0.0.9", "240.0.0.1"));
        EXPECT_FALSE(is_driver_installed("240.0.0.9", "240.0.0.2"));
    }
    EXPECT_FALSE(is_driver_installed("240.0.0.9", "240.0.0.1"));
}

TEST(IsDriverInstalled, TellsOfTheSystemsOwn)
{
    const net::ReceivePath path{camera, host};
    EXPECT_EQ(is_driver_installed(camera_ip), net::privileged_backend_serves(path));
    // whoever takes the interface from the routes finds the same
    const net::AddedBackend driver(std::make_shared<OneInterface>(host, true));
    EXPECT_TRUE(is_driver_installed(camera_ip));
}

TEST(IsDriverInstalled, RefusesWhatIsNoAddress)
{
    bool installed = true;
    EXPECT_EQ(PvStreamBase::IsDriverInstalled("camera", installed).GetCode(), PvResult::InvalidParameter);
    EXPECT_FALSE(installed);
}

/// An added backend that gives no receiver is passed over.
TEST(AddedBackend, ThatGivesNoReceiverIsPassedOver)
{
    const net::AddedBackend driver(std::make_shared<OneInterface>(host, true));
    Stream stream;
    EXPECT_TRUE(stream.Open(camera_ip, 0, 0, host.to_string()).IsOK());
}

}  // namespace
