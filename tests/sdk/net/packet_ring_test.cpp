// The packet ring: what arrives over a cable, over loopback, and what does not belong to it.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "sdk/net/ipv4_udp.h"
#include "sdk/net/receive_backends.h"
#include "tests/sdk/net/two_hosts.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using net::PacketReceiver;
using net::UdpSocket;
using Bytes = std::vector<std::uint8_t>;

constexpr Ipv4Address here{0x0A090001};           // 10.9.0.1
constexpr Ipv4Address there{0x0A090002};          // 10.9.0.2
constexpr Ipv4Address here_virtual{0x0A090501};   // 10.9.5.1
constexpr Ipv4Address there_virtual{0x0A090502};  // 10.9.5.2
constexpr auto long_enough = 5s;

Bytes numbered(unsigned number, std::size_t size)
{
    Bytes bytes(size, static_cast<std::uint8_t>(number * 31));
    bytes[0] = static_cast<std::uint8_t>(number >> 8);
    bytes[1] = static_cast<std::uint8_t>(number);
    return bytes;
}

std::unique_ptr<PacketReceiver> ring_on(UdpSocket& socket, Ipv4Address sender, Ipv4Address local_interface)
{
    return net::create_receiver({.socket = socket, .path = {sender, local_interface}}, "packet-ring");
}

/// Whether a packet ring stands on the socket: it keeps from it what comes from the sender.
bool has_filter(const UdpSocket& socket)
{
    socklen_t size = 0;
    // with no room given, the number of a filter's instructions
    return ::getsockopt(static_cast<int>(socket.handle()), SOL_SOCKET, SO_GET_FILTER, nullptr, &size) == 0 && size != 0;
}

/// Everything that comes until nothing more does.
std::vector<Bytes> collect(PacketReceiver& receiver, std::size_t expected)
{
    std::vector<Bytes> all;
    for (;;) {
        const auto datagrams = receiver.receive(all.size() < expected ? long_enough : 0ms);
        if (datagrams.empty()) {
            return all;
        }
        for (const net::Datagram& one : datagrams) {
            all.emplace_back(one.data.begin(), one.data.end());
        }
    }
}

class PacketRing : public testing::Test {
protected:
    void SetUp() override
    {
        if (!hosts.ready()) {
            GTEST_SKIP() << "this process may not make networks";
        }
        ASSERT_TRUE(hosts.go_there());
        sender.emplace(UdpSocket::open({there, 0}, {.send_buffer_bytes = 1 << 20}));
        ASSERT_TRUE(hosts.go_here());
        socket.emplace(UdpSocket::open({here, 0}));
    }

    TwoHosts hosts;
    std::optional<UdpSocket> sender;
    std::optional<UdpSocket> socket;
};

TEST_F(PacketRing, HandsOutWhatComesOverACable)
{
    const auto receiver = ring_on(*socket, there, here);
    EXPECT_TRUE(has_filter(*socket));
    std::vector<Bytes> sent;
    for (unsigned i = 0; i < 500; ++i) {
        sent.push_back(numbered(i, 2 + i * 2));
        ASSERT_FALSE(sender->send_to(socket->local(), sent.back()));
    }
    EXPECT_TRUE(collect(*receiver, sent.size()) == sent);
    EXPECT_EQ(receiver->dropped_by_system(), 0U);
    EXPECT_TRUE(receiver->drained());
}

TEST_F(PacketRing, TellsSourcesAndKeepsABatchReadableUntilTheNextCall)
{
    const auto receiver = ring_on(*socket, there, here);
    for (unsigned i = 0; i < 300; ++i) {
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(i, 1400)));
    }
    unsigned next = 0;
    while (next < 300) {
        const auto batch = receiver->receive(long_enough);
        ASSERT_FALSE(batch.empty());
        EXPECT_LE(batch.size(), 64U);
        for (const net::Datagram& one : batch) {
            EXPECT_EQ(one.source, sender->local());
            EXPECT_EQ(Bytes(one.data.begin(), one.data.end()), numbered(next++, 1400));
        }
    }
}

TEST_F(PacketRing, JoinsFragments)
{
    const auto receiver = ring_on(*socket, there, here);
    std::vector<Bytes> sent;
    for (unsigned i = 0; i < 10; ++i) {
        sent.push_back(numbered(i, 1000 + i * 4000));
        ASSERT_FALSE(sender->send_to(socket->local(), sent.back()));
    }
    EXPECT_TRUE(collect(*receiver, sent.size()) == sent);
}

TEST_F(PacketRing, TakesTrainsApart)
{
    const auto receiver = ring_on(*socket, there, here);
    const int segment = 1000;
    ASSERT_EQ(::setsockopt(static_cast<int>(sender->handle()), IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment), 0);
    Bytes block;
    std::vector<Bytes> expected;
    for (unsigned i = 0; i < 50; ++i) {
        expected.push_back(numbered(i, i < 49 ? 1000 : 123));
        block.insert(block.end(), expected.back().begin(), expected.back().end());
    }
    ASSERT_FALSE(sender->send_to(socket->local(), block));
    EXPECT_TRUE(collect(*receiver, expected.size()) == expected);
}

TEST_F(PacketRing, LeavesToTheSocketWhatOthersSend)
{
    const auto receiver = ring_on(*socket, there, here);
    // this host's own packets come over loopback, from another address and to another interface
    UdpSocket other = UdpSocket::open({here, 0});
    ASSERT_FALSE(other.send_to(socket->local(), numbered(1, 100)));
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(1, 100)}));
    ASSERT_FALSE(sender->send_to(socket->local(), numbered(2, 100)));
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(2, 100)}));
}

TEST_F(PacketRing, TakesNothingOfOtherPortsAndAddresses)
{
    ASSERT_TRUE(TwoHosts::run("ip address add 10.9.0.3/24 dev cable"));
    UdpSocket same_port = UdpSocket::open({{0x0A090003}, socket->local().port});
    UdpSocket other_port = UdpSocket::open({here, 0});
    const auto receiver = ring_on(*socket, there, here);
    ASSERT_FALSE(sender->send_to(same_port.local(), numbered(1, 100)));
    ASSERT_FALSE(sender->send_to(other_port.local(), numbered(2, 100)));
    ASSERT_FALSE(sender->send_to(socket->local(), numbered(3, 100)));
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(3, 100)}));
    Bytes buffer(200);
    EXPECT_TRUE(same_port.receive(buffer, long_enough).has_value());
    EXPECT_TRUE(other_port.receive(buffer, long_enough).has_value());
}

TEST_F(PacketRing, TakesVirtualNetworksByThemselves)
{
    ASSERT_TRUE(hosts.go_there());
    if (!TwoHosts::add_virtual_network("10.9.5.2")) {
        GTEST_SKIP() << "this system has no virtual networks";
    }
    UdpSocket tagged = UdpSocket::open({there_virtual, 0});
    ASSERT_TRUE(hosts.go_here());
    ASSERT_TRUE(TwoHosts::add_virtual_network("10.9.5.1"));
    // over the virtual network's own interface
    {
        UdpSocket own = UdpSocket::open({here_virtual, 0});
        const auto receiver = ring_on(own, there_virtual, here_virtual);
        ASSERT_FALSE(tagged.send_to(own.local(), numbered(1, 100)));
        EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(1, 100)}));
    }
    // a ring on the cable sees the tagged packets pass, too, and must leave them to the socket
    UdpSocket any = UdpSocket::open({any_address, 0});
    const auto receiver = ring_on(any, there_virtual, here);
    ASSERT_FALSE(tagged.send_to({here_virtual, any.local().port}, numbered(2, 100)));
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(2, 100)}));
}

TEST_F(PacketRing, ServesAHostThatSendsToItself)
{
    UdpSocket own_sender = UdpSocket::open({here, 0});
    const auto receiver = ring_on(*socket, here, here);
    for (unsigned i = 0; i < 20; ++i) {
        ASSERT_FALSE(own_sender.send_to(socket->local(), numbered(i, 100)));
    }
    // over loopback the same packet goes out and comes in: once is right
    EXPECT_EQ(collect(*receiver, 20).size(), 20U);
}

TEST_F(PacketRing, ServesMulticasts)
{
    constexpr Ipv4Address group{0xEFFF0905};
    UdpSocket joined = UdpSocket::open({group, 0}, {.reuse_address = true});
    ASSERT_FALSE(joined.join(group, here));
    const auto receiver = ring_on(joined, there, here);
    ASSERT_TRUE(hosts.go_there());
    ASSERT_FALSE(sender->set_multicast_interface(there, 1));
    ASSERT_FALSE(sender->send_to(joined.local(), numbered(1, 100)));
    ASSERT_TRUE(hosts.go_here());
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(1, 100)}));
}

TEST_F(PacketRing, ServesMulticastsOfItsOwnHost)
{
    constexpr Ipv4Address group{0xEFFF0905};
    UdpSocket joined = UdpSocket::open({group, 0}, {.reuse_address = true});
    ASSERT_FALSE(joined.join(group, here));
    UdpSocket own_sender = UdpSocket::open({here, 0});
    ASSERT_FALSE(own_sender.set_multicast_interface(here, 1));
    const auto receiver = ring_on(joined, here, here);
    ASSERT_FALSE(own_sender.send_to(joined.local(), numbered(1, 100)));
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(1, 100)}));
}

/// Sends a packet as it stands, with the Ethernet header and checksums of the caller.
bool send_raw(const std::string& interface, const Bytes& frame)
{
    const int descriptor = ::socket(AF_PACKET, SOCK_RAW, 0);
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = static_cast<int>(::if_nametoindex(interface.c_str()));
    const bool sent = ::sendto(descriptor, frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                               sizeof to) == static_cast<ssize_t>(frame.size());
    ::close(descriptor);
    return sent;
}

/// Tests with packets that are sent as they stand.
class RawPackets : public PacketRing {
protected:
    /// An Ethernet frame with the datagram `payload` from the other host, as caught on its way: made on this machine,
    /// it never had a UDP checksum.
    Bytes caught_frame(const Bytes& payload)
    {
        const int tap = ::socket(AF_PACKET, SOCK_RAW, htons(ETH_P_IP));
        EXPECT_FALSE(sender->send_to(socket->local(), payload));
        Bytes frame(2000);
        for (ssize_t size = 0; size != static_cast<ssize_t>(ethernet + ip_and_udp + payload.size());) {
            size = ::recv(tap, frame.data(), 2000, 0);
        }
        ::close(tap);
        frame.resize(ethernet + ip_and_udp + payload.size());
        set_checksum(frame, 0);
        return frame;
    }

    static void set_checksum(Bytes& frame, std::uint32_t value)
    {
        frame[40] = static_cast<std::uint8_t>(value >> 8);
        frame[41] = static_cast<std::uint8_t>(value);
    }

    void send_from_there(const Bytes& frame)
    {
        ASSERT_TRUE(hosts.go_there());
        ASSERT_TRUE(send_raw("cable", frame));
        ASSERT_TRUE(hosts.go_here());
    }

    static constexpr std::size_t ethernet = 14;
    static constexpr std::size_t ip_and_udp = 28;
};

TEST_F(RawPackets, AreCheckedWhereNobodyHasCheckedThem)
{
    const auto receiver = ring_on(*socket, there, here);
    const Bytes payload = numbered(7, 101);
    Bytes frame = caught_frame(payload);
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{payload}));

    const auto length = static_cast<std::uint32_t>(8 + payload.size());
    const std::uint32_t pseudo_header = 0x0A09 + 0x0002 + 0x0A09 + 0x0001 + IPPROTO_UDP + length;
    const std::uint16_t right = net::internet_checksum(std::span(frame).subspan(ethernet + 20), pseudo_header);
    set_checksum(frame, right + 1U);
    send_from_there(frame);
    set_checksum(frame, right);
    frame.back() ^= 1;
    send_from_there(frame);
    frame.back() ^= 1;
    send_from_there(frame);
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{payload}));
}

TEST_F(RawPackets, OfAVirtualNetworkThatTheHostIsNotInAreNotTaken)
{
    const auto receiver = ring_on(*socket, there, here);
    Bytes frame = caught_frame(numbered(7, 101));
    EXPECT_EQ(collect(*receiver, 1).size(), 1U);
    const Bytes tag{0x81, 0x00, 0x00, 0x05};
    frame.insert(frame.begin() + 12, tag.begin(), tag.end());
    send_from_there(frame);
    EXPECT_EQ(collect(*receiver, 0), std::vector<Bytes>{});
    // a tag that names no network gives a priority only
    frame[15] = 0;
    frame[14] = 0xA0;
    send_from_there(frame);
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(7, 101)}));
}

TEST_F(PacketRing, CountsWhatFoundNoRoom)
{
    const auto receiver = ring_on(*socket, there, here);
    EXPECT_GE(receiver->buffer_bytes(), std::size_t{2} << 20);
    // a slot is larger than such a packet
    const auto sent = static_cast<unsigned>(receiver->buffer_bytes() / 1400);
    for (unsigned i = 0; i < sent; ++i) {
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(i, 1400)));
    }
    const std::size_t kept = collect(*receiver, 1).size();
    const std::uint64_t dropped = receiver->dropped_by_system().value_or(0);
    EXPECT_GT(dropped, 0U);
    EXPECT_EQ(kept + dropped, sent);
    EXPECT_EQ(receiver->dropped_by_system(), dropped);
    // and there is room again
    ASSERT_FALSE(sender->send_to(socket->local(), numbered(1, 1400)));
    EXPECT_EQ(collect(*receiver, 1).size(), 1U);
}

TEST_F(PacketRing, CountsWhatWasTooLargeForASlotAndFoundNoRoom)
{
    const auto receiver = ring_on(*socket, there, here);
    const unsigned sent = 1500;
    for (unsigned i = 0; i < sent; ++i) {
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(i, 60'000)));
    }
    const std::size_t kept = collect(*receiver, 1).size();
    const std::uint64_t dropped = receiver->dropped_by_system().value_or(0);
    EXPECT_GT(dropped, 0U);
    EXPECT_EQ(kept + dropped, sent);
    ASSERT_FALSE(sender->send_to(socket->local(), numbered(1, 60'000)));
    EXPECT_EQ(collect(*receiver, 1).size(), 1U);
}

TEST_F(PacketRing, KeepsTheOrderOfPacketsOfAllSizes)
{
    const auto receiver = ring_on(*socket, there, here);
    std::vector<Bytes> sent;
    for (unsigned i = 0; i < 90; ++i) {
        sent.push_back(numbered(i, i % 3 == 0 ? 100 : 1400 + i * 100));
        ASSERT_FALSE(sender->send_to(socket->local(), sent.back()));
    }
    EXPECT_TRUE(collect(*receiver, sent.size()) == sent);
    EXPECT_EQ(receiver->dropped_by_system(), 0U);
}

TEST_F(PacketRing, IsNotDrainedInTheMiddleOfWhatItHolds)
{
    const auto receiver = net::create_receiver({.socket = *socket, .path = {there, here}, .batch = 1}, "packet-ring");
    constexpr unsigned sent = 300;
    for (unsigned i = 0; i < sent; ++i) {
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(i, 100)));
    }
    unsigned drained = 0;
    for (unsigned i = 0; i < sent; ++i) {
        ASSERT_EQ(receiver->receive(long_enough).size(), 1U);
        drained += receiver->drained() ? 1 : 0;
    }
    EXPECT_TRUE(receiver->drained());
    // the kernel hands over whole blocks, each of which has room for all of it, once in a while
    EXPECT_LT(drained, sent / 2);
}

/// Sees what arrives on the cable after those who were there later.
class Witness {
public:
    Witness() : descriptor_(::socket(AF_PACKET, SOCK_RAW, 0))
    {
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_IP);
        address.sll_ifindex = static_cast<int>(::if_nametoindex("cable"));
        const timeval time{5, 0};
        EXPECT_EQ(::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time), 0);
        EXPECT_EQ(::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~Witness() { ::close(descriptor_); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

    /// Waits for a datagram of `size` bytes.
    [[nodiscard]] bool sees(std::size_t size) const
    {
        Bytes frame(2000);
        for (;;) {
            const ssize_t length = ::recv(descriptor_, frame.data(), frame.size(), 0);
            if (length < 0 || static_cast<std::size_t>(length) == 14 + 28 + size) {
                return length >= 0;
            }
        }
    }

private:
    int descriptor_;
};

TEST_F(PacketRing, HandsOutAtOnceWhatHasArrived)
{
    // a packet that waits where it cannot be read cannot be told from one that was lost
    const Witness witness;
    const auto receiver = ring_on(*socket, there, here);
    for (unsigned i = 0; i < 50; ++i) {
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(i, 100)));
        ASSERT_TRUE(witness.sees(100));
        ASSERT_EQ(receiver->read({}).size(), 1U) << "packet " << i;
        ASSERT_TRUE(receiver->drained());
    }
}

TEST_F(PacketRing, FillsUpWhenTheSystemShallThrowAwayWhatComes)
{
    const auto receiver = ring_on(*socket, there, here);
    ASSERT_TRUE(receiver->refuse_new(true));
    const auto sent = static_cast<unsigned>(receiver->buffer_bytes() / 1400);
    std::size_t kept = 0;
    // slots that were read are not used again
    for (unsigned i = 0; i < sent; ++i) {
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(i, 1400)));
        kept += receiver->read({}).size();
    }
    kept += collect(*receiver, 0).size();
    EXPECT_GT(receiver->dropped_by_system(), 0U);
    EXPECT_EQ(kept + receiver->dropped_by_system().value_or(0), sent);
    EXPECT_TRUE(receiver->drained());
    ASSERT_TRUE(receiver->refuse_new(false));
    ASSERT_FALSE(sender->send_to(socket->local(), numbered(7, 100)));
    EXPECT_EQ(collect(*receiver, 1), (std::vector<Bytes>{numbered(7, 100)}));
}

TEST_F(PacketRing, GivesTheSocketBackAsItWas)
{
    ring_on(*socket, there, here).reset();
    EXPECT_FALSE(has_filter(*socket));
    ASSERT_FALSE(sender->send_to(socket->local(), numbered(1, 100)));
    Bytes buffer(200);
    EXPECT_TRUE(socket->receive(buffer, long_enough).has_value());
}

TEST_F(PacketRing, ServesOnlyPathsThatItKnows)
{
    const std::vector<net::SharedBackend> backends = net::receive_backends();
    const auto found = std::ranges::find_if(backends, [](const auto& each) { return each->name() == "packet-ring"; });
    ASSERT_NE(found, backends.end());
    const net::SharedBackend ring = *found;
    EXPECT_TRUE(ring->privileged());
    EXPECT_TRUE(ring->serves({there, here}));
    EXPECT_TRUE(ring->serves({{0x7F000002}, loopback_address}));
    EXPECT_FALSE(ring->serves({any_address, here}));
    EXPECT_FALSE(ring->serves({there, {0x0A0900FF}}));
    EXPECT_TRUE(net::privileged_backend_serves({there, here}));
    EXPECT_THROW(ring_on(*socket, there, {0x0A0900FF}), std::system_error);
}

TEST_F(PacketRing, TakesAPrivilege)
{
    // the rights of a thread are its own
    std::thread([this] {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[2]{};
        ASSERT_EQ(::syscall(SYS_capset, &header, none), 0);
        EXPECT_FALSE(net::privileged_backend_serves({there, here}));
        EXPECT_THROW(ring_on(*socket, there, here), std::system_error);
        EXPECT_THROW((void)net::create_receiver({.socket = *socket, .path = {there, here}}, "packet-ring"),
                     std::system_error);
        const auto receiver = net::create_receiver({.socket = *socket, .path = {there, here}});
        ASSERT_FALSE(sender->send_to(socket->local(), numbered(1, 100)));
        EXPECT_EQ(collect(*receiver, 1).size(), 1U);
    }).join();
}

TEST_F(PacketRing, IsUsedOnlyWhenItIsAskedFor)
{
    EXPECT_NE(net::create_receiver({.socket = *socket, .path = {there, here}}), nullptr);
    EXPECT_FALSE(has_filter(*socket));
    const auto ring = net::create_receiver({.socket = *socket, .path = {there, here}}, "packet-ring");
    EXPECT_TRUE(has_filter(*socket));
    EXPECT_THROW((void)net::create_receiver({.socket = *socket, .path = {there, here}}, "no-such"), std::system_error);
}

}  // namespace
