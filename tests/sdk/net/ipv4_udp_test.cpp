// IPv4 packets with UDP, byte by byte.
#include "sdk/net/ipv4_udp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace vex;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t options_end = 0;

void put16(Bytes& bytes, std::size_t at, std::size_t value)
{
    bytes[at] = static_cast<std::uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(value);
}

/// The checksum as the standard words it, pair by pair.
std::uint16_t plain_checksum(const Bytes& bytes)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        sum += static_cast<std::uint32_t>(bytes[i] << 8 | (i + 1 < bytes.size() ? bytes[i + 1] : 0));
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum);
}

void seal_header(Bytes& packet, std::size_t header)
{
    put16(packet, 10, 0);
    put16(packet, 10, plain_checksum(Bytes(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(header))));
}

/// 10.1.2.3:1000 to 192.168.4.5:2000, with both checksums; `options` are four bytes each.
Bytes packet_with(const Bytes& payload, std::size_t options = 0)
{
    const std::size_t header = 20 + options * 4;
    Bytes packet(header, options_end);
    packet[0] = static_cast<std::uint8_t>(0x40 | header / 4);
    put16(packet, 2, header + 8 + payload.size());
    packet[8] = 64;
    packet[9] = 17;
    const Bytes addresses{10, 1, 2, 3, 192, 168, 4, 5};
    std::ranges::copy(addresses, packet.begin() + 12);
    seal_header(packet, header);

    Bytes udp(8);
    put16(udp, 0, 1000);
    put16(udp, 2, 2000);
    put16(udp, 4, 8 + payload.size());
    udp.insert(udp.end(), payload.begin(), payload.end());
    Bytes covered = addresses;
    covered.push_back(0);
    covered.push_back(17);
    covered.push_back(udp[4]);
    covered.push_back(udp[5]);
    covered.insert(covered.end(), udp.begin(), udp.end());
    put16(udp, 6, plain_checksum(covered));
    packet.insert(packet.end(), udp.begin(), udp.end());
    return packet;
}

bool is_taken(const Bytes& packet, bool check_data = true)
{
    return net::decode_ipv4_udp(packet, check_data).has_value();
}

TEST(InternetChecksum, IsTheStandards)
{
    // RFC 1071, section 3
    EXPECT_EQ(net::internet_checksum(Bytes{0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7}), 0x220D);
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (std::size_t size = 0; size < 70; ++size) {
        Bytes bytes(size);
        std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random() % 4 == 0 ? 0xFF : random()); });
        EXPECT_EQ(net::internet_checksum(bytes), plain_checksum(bytes)) << size;
    }
    EXPECT_EQ(net::internet_checksum(Bytes(9000, 0xFF)), plain_checksum(Bytes(9000, 0xFF)));
}

TEST(DecodeIpv4Udp, ReadsAddressesPortsAndPayload)
{
    for (const std::size_t options : {0U, 1U, 10U}) {
        for (const std::size_t size : {0U, 1U, 2U, 1464U}) {
            Bytes payload(size, 0xA5);
            const Bytes packet = packet_with(payload, options);
            const auto udp = net::decode_ipv4_udp(packet, true);
            ASSERT_TRUE(udp.has_value()) << options << ' ' << size;
            EXPECT_EQ(Bytes(udp->payload.begin(), udp->payload.end()), payload);
            EXPECT_EQ(udp->source, (Endpoint{{0x0A010203}, 1000}));
            EXPECT_EQ(udp->destination, (Endpoint{{0xC0A80405}, 2000}));
        }
    }
}

TEST(DecodeIpv4Udp, LeavesOutWhatFollowsThePacket)
{
    Bytes packet = packet_with({1, 2, 3});
    packet.resize(packet.size() + 20, 0xEE);
    EXPECT_EQ(net::decode_ipv4_udp(packet, true)->payload.size(), 3U);
    // UDP may say less than IP
    packet = packet_with({1, 2, 3});
    put16(packet, 24, 8 + 2);
    put16(packet, 26, 0);
    EXPECT_EQ(net::decode_ipv4_udp(packet, true)->payload.size(), 2U);
}

TEST(DecodeIpv4Udp, RefusesEveryCutPacket)
{
    const Bytes packet = packet_with({1, 2, 3, 4}, 2);
    for (std::size_t size = 0; size < packet.size(); ++size) {
        EXPECT_FALSE(is_taken(Bytes(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size)), false));
    }
}

TEST(DecodeIpv4Udp, SeesEveryBitThatChanged)
{
    const Bytes packet = packet_with({1, 2, 3, 4, 5}, 1);
    for (std::size_t bit = 0; bit < packet.size() * 8; ++bit) {
        Bytes damaged = packet;
        damaged[bit / 8] = static_cast<std::uint8_t>(damaged[bit / 8] ^ 1U << bit % 8);
        EXPECT_FALSE(is_taken(damaged)) << "bit " << bit;
    }
}

TEST(DecodeIpv4Udp, TrustsOnlyTheDataWhereItIsTold)
{
    Bytes packet = packet_with({1, 2, 3, 4});
    packet.back() = 9;
    EXPECT_FALSE(is_taken(packet, true));
    EXPECT_TRUE(is_taken(packet, false));
    packet[8] = 63;  // the header's own checksum is always there
    EXPECT_FALSE(is_taken(packet, false));
}

TEST(DecodeIpv4Udp, TakesDatagramsWithoutAChecksum)
{
    Bytes packet = packet_with({1, 2, 3, 4});
    put16(packet, 26, 0);
    EXPECT_TRUE(is_taken(packet, true));
}

TEST(DecodeIpv4Udp, RefusesOtherProtocolsFragmentsAndContradictions)
{
    const auto changed = [](auto change) {
        Bytes packet = packet_with({1, 2, 3, 4});
        change(packet);
        seal_header(packet, 20);
        return is_taken(packet, false);
    };
    EXPECT_TRUE(changed([](Bytes&) {}));
    EXPECT_FALSE(changed([](Bytes& packet) { packet[9] = 6; }));             // TCP
    EXPECT_FALSE(changed([](Bytes& packet) { packet[0] = 0x65; }));          // version 6
    EXPECT_FALSE(changed([](Bytes& packet) { packet[0] = 0x44; }));          // a header of 16 bytes
    EXPECT_FALSE(changed([](Bytes& packet) { put16(packet, 6, 0x2000); }));  // more fragments follow
    EXPECT_FALSE(changed([](Bytes& packet) { put16(packet, 6, 1); }));       // not the first fragment
    EXPECT_TRUE(changed([](Bytes& packet) { put16(packet, 6, 0x4000); }));   // never to be fragmented
    EXPECT_FALSE(changed([](Bytes& packet) { put16(packet, 2, 27); }));      // no room for a UDP header
    EXPECT_FALSE(changed([](Bytes& packet) { put16(packet, 2, 33); }));      // longer than it is
    EXPECT_FALSE(changed([](Bytes& packet) { put16(packet, 24, 7); }));      // UDP shorter than its header
    EXPECT_FALSE(changed([](Bytes& packet) { put16(packet, 24, 13); }));     // UDP longer than IP
}

}  // namespace
