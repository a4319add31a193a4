// Packets that are larger than the path's MTU, over a cable of its own.
#include <fstream>
#include <sstream>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "tests/sdk/net/two_hosts.h"
#include "tests/sdk/transmitterraw/packets.h"

using namespace vex;

using net::Trains;

namespace {

constexpr std::uint32_t too_large = 3000;  // bytes; the cable carries 1500
constexpr std::size_t block_bytes = 50'000;

/// A count of this thread's network, by the name that the kernel gives it.
std::uint64_t ip_count(const std::string& name)
{
    std::ifstream file("/proc/thread-self/net/snmp");
    std::string names;
    std::string values;
    while (std::getline(file, names) && std::getline(file, values)) {
        std::istringstream of_names(names);
        std::istringstream of_values(values);
        std::string one;
        std::string value;
        while (of_names >> one && of_values >> value) {
            if (names.starts_with("Ip:") && one == name) {
                return std::stoull(value);
            }
        }
    }
    ADD_FAILURE() << "the kernel does not count " << name;
    return 0;
}

class Fragments : public testing::Test {
protected:
    void SetUp() override
    {
        if (!hosts.ready()) {
            GTEST_SKIP() << "this process may not make networks";
        }
        ASSERT_TRUE(hosts.go_there());
        receiver = std::make_unique<HostSocket>("10.9.0.2");
        ASSERT_TRUE(hosts.go_here());
    }

    /// Sends a block whose packets are too large.
    std::error_code send(bool dont_fragment, Trains trains)
    {
        net::UdpSocket socket = net::UdpSocket::open({*Ipv4Address::parse("10.9.0.1"), 0},
                                                     {.dont_fragment = dont_fragment, .send_buffer_bytes = 1 << 20});
        transmitter::BlockTransmitter transmitter(socket, 0);
        transmitter.configure({.destination = receiver->local(), .packet_size = too_large, .trains = trains});
        auto block = std::make_shared<transmitter::Block>();
        block->block_id = 1;
        block->leader.payload_type = block->trailer.payload_type = 2;
        block->data = data;
        const std::error_code error = transmitter.send(block);
        statistics = transmitter.statistics();
        return error;
    }

    TwoHosts hosts;
    std::unique_ptr<HostSocket> receiver;
    std::vector<std::uint8_t> data = std::vector<std::uint8_t>(block_bytes, 0x5A);
    transmitter::TransmitterStatistics statistics;
};

}  // namespace

TEST_F(Fragments, ArriveWhereTheyAreAllowed)
{
    for (const Trains trains : {Trains::never, Trains::always}) {
        const std::uint64_t before = ip_count("FragCreates");
        EXPECT_FALSE(send(false, trains));
        const auto packets = receive_block(*receiver);
        EXPECT_EQ(data_of(packets), data);
        EXPECT_EQ(packets[1].bytes.size(), too_large - 28);
        EXPECT_GE(ip_count("FragCreates") - before, 2 * (packets.size() - 3));
        EXPECT_EQ(statistics.send_errors, 0U);
        EXPECT_EQ(statistics.blocks, 1U);
    }
}

TEST_F(Fragments, AreNotMadeWhereTheyAreForbiddenAndTheBlockFails)
{
    for (const Trains trains : {Trains::never, Trains::always}) {
        const std::uint64_t before = ip_count("FragCreates");
        EXPECT_EQ(send(true, trains), std::errc::message_size);
        EXPECT_EQ(statistics.send_errors, 1U);
        EXPECT_EQ(statistics.blocks, 0U);
        EXPECT_EQ(statistics.packets, 1U) << "the leader is small";
        EXPECT_EQ(ip_count("FragCreates"), before);
        ASSERT_TRUE(receiver->receive());
        EXPECT_FALSE(receiver->receive(std::chrono::milliseconds(0))) << "nothing but the leader";
    }
}

TEST_F(Fragments, OfATransmitterFollowItsOpen)
{
    PvBuffer buffer(PvPayloadTypeRawData);
    ASSERT_TRUE(buffer.Alloc(block_bytes).IsOK());
    PvBuffer* pool[] = {&buffer};
    for (const bool dont_fragment : {true, false}) {
        PvTransmitterRaw transmitter;
        ASSERT_TRUE(transmitter.SetPacketSize(too_large).IsOK());
        ASSERT_TRUE(transmitter.LoadBufferPool(pool, 1).IsOK());
        ASSERT_TRUE(transmitter.Open("10.9.0.2", receiver->port(), "10.9.0.1", 0, dont_fragment).IsOK());
        PvBuffer* free = nullptr;
        ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&free, 10'000).IsOK());
        ASSERT_TRUE(transmitter.QueueBuffer(free).IsOK());
        ASSERT_TRUE(transmitter.RetrieveFreeBuffer(&free, 10'000).IsOK()) << "free again, sent or not";
        EXPECT_EQ(transmitter.GetBlocksTransmitted(), dont_fragment ? 0U : 1U);
        EXPECT_EQ(transmitter.GetPayloadBytesTransmitted(), dont_fragment ? 0U : block_bytes);
        if (!dont_fragment) {
            ASSERT_TRUE(receiver->receive()) << "the leader of the block that failed";
            EXPECT_EQ(data_of(receive_block(*receiver)).size(), block_bytes);
        }
    }
}
