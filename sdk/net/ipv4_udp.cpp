#include "sdk/net/ipv4_udp.h"

#include <cstddef>
#include <cstring>

namespace vex::net {

namespace {

constexpr std::size_t least_ip_header = 20;
constexpr std::size_t udp_header = 8;
constexpr std::uint8_t udp_protocol = 17;
/// The flag "more fragments" and the fragment's offset.
constexpr std::uint32_t fragment_bits = 0x3FFF;

std::uint32_t read16(std::span<const std::uint8_t> bytes, std::size_t at) noexcept
{
    return static_cast<std::uint32_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::uint32_t read32(std::span<const std::uint8_t> bytes, std::size_t at) noexcept
{
    return read16(bytes, at) << 16 | read16(bytes, at + 2);
}

/// The sum over what UDP's checksum covers beside the datagram: addresses, protocol, length.
std::uint32_t pseudo_header_sum(std::span<const std::uint8_t> packet, std::uint32_t udp_length) noexcept
{
    return read16(packet, 12) + read16(packet, 14) + read16(packet, 16) + read16(packet, 18) + udp_protocol +
           udp_length;
}

}  // namespace

std::uint16_t internet_checksum(std::span<const std::uint8_t> bytes, std::uint32_t sum) noexcept
{
    // A sum of larger words folds to the same; the order of the bytes is put right at the end.
    std::uint64_t words = 0;
    std::size_t at = 0;
    for (; at + 4 <= bytes.size(); at += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        words += word;
    }
    std::uint8_t rest[4] = {};
    for (std::size_t i = 0; at + i < bytes.size(); ++i) {
        rest[i] = bytes[at + i];
    }
    std::uint32_t last = 0;
    std::memcpy(&last, rest, sizeof last);
    words += last;
    while ((words >> 16) != 0) {
        words = (words & 0xFFFF) + (words >> 16);
    }
    const auto folded = static_cast<std::uint16_t>(words);
    std::uint8_t pair[2];
    std::memcpy(pair, &folded, sizeof folded);
    std::uint64_t total = std::uint64_t{sum} + read16(pair, 0);
    while ((total >> 16) != 0) {
        total = (total & 0xFFFF) + (total >> 16);
    }
    return static_cast<std::uint16_t>(~total);
}

std::optional<Ipv4Udp> decode_ipv4_udp(std::span<const std::uint8_t> packet, bool check_data) noexcept
{
    if (packet.size() < least_ip_header || packet[0] >> 4 != 4) {
        return std::nullopt;
    }
    const std::size_t header = std::size_t{packet[0] & 0x0FU} * 4;
    const std::size_t total = read16(packet, 2);
    if (header < least_ip_header || total < header + udp_header || total > packet.size() || packet[9] != udp_protocol ||
        (read16(packet, 6) & fragment_bits) != 0 || internet_checksum(packet.first(header)) != 0) {
        return std::nullopt;
    }
    const std::span<const std::uint8_t> udp = packet.subspan(header, total - header);
    const std::uint32_t length = read16(udp, 4);
    if (length < udp_header || length > udp.size()) {
        return std::nullopt;
    }
    // a checksum of 0 says that there is none
    if (check_data && read16(udp, 6) != 0 &&
        internet_checksum(udp.first(length), pseudo_header_sum(packet, length)) != 0) {
        return std::nullopt;
    }
    return Ipv4Udp{udp.subspan(udp_header, length - udp_header),
                   {{read32(packet, 12)}, static_cast<std::uint16_t>(read16(udp, 0))},
                   {{read32(packet, 16)}, static_cast<std::uint16_t>(read16(udp, 2))}};
}

}  // namespace vex::net
