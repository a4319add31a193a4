#include "sdk/net/packet_filter_linux.h"

#include <linux/filter.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <vector>

#include "sdk/net/posix_socket.h"

namespace vex::net {

namespace {

/// Loads at this distance count from the IP header, wherever in the packet the socket's own view begins.
constexpr auto ip_header = static_cast<std::uint32_t>(SKF_NET_OFF);
constexpr auto property = static_cast<std::uint32_t>(SKF_AD_OFF);
constexpr std::uint32_t whole_packet = 0x40000;

/// A list of conditions which a packet meets one after the other; the first that it fails decides.
class Filter {
public:
    /// Goes on for packets of which the value just loaded is equal to (not above, without a bit of) `value`.
    void only_if_equal(std::uint32_t value) { condition(BPF_JEQ, value, true); }
    void only_if_at_most(std::uint32_t value) { condition(BPF_JGT, value, false); }
    void only_if_none_of(std::uint32_t bits) { condition(BPF_JSET, bits, false); }
    void load(std::uint16_t size, std::uint32_t from) { add(BPF_LD | BPF_ABS | size, from); }
    /// 16 bits of the UDP header, behind an IP header of any length.
    void load_behind_ip_header(std::uint32_t offset)
    {
        add(BPF_LDX | BPF_B | BPF_MSH, ip_header);
        add(BPF_LD | BPF_H | BPF_IND, ip_header + offset);
    }

    /// Attaches the filter to a socket; packets that meet all conditions are let in, or kept out.
    std::error_code attach(int descriptor, bool let_in)
    {
        const auto end = code_.size();
        add(BPF_RET | BPF_K, let_in ? whole_packet : 0);
        add(BPF_RET | BPF_K, let_in ? 0 : whole_packet);
        for (std::size_t i = 0; i < end; ++i) {
            const auto to_failure = static_cast<std::uint8_t>(end - i);
            sock_filter& one = code_[i];
            if (BPF_CLASS(one.code) == BPF_JMP) {
                (one.jt == fails ? one.jt : one.jf) = to_failure;
            }
        }
        const sock_fprog program{static_cast<unsigned short>(code_.size()), code_.data()};
        return ::setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0 ? std::error_code{}
                                                                                                     : last_error();
    }

private:
    static constexpr std::uint8_t fails = 0xFF;

    void add(std::uint32_t code, std::uint32_t value)
    {
        code_.push_back({static_cast<std::uint16_t>(code), 0, 0, value});
    }
    void condition(std::uint32_t comparison, std::uint32_t value, bool holds_if_true)
    {
        add(BPF_JMP | BPF_K | comparison, value);
        (holds_if_true ? code_.back().jf : code_.back().jt) = fails;
    }

    std::vector<sock_filter> code_;
};

/// The conditions that both sides of the parting share.
Filter common_conditions(const RingTraffic& traffic)
{
    Filter filter;
    filter.load(BPF_W, property + SKF_AD_PKTTYPE);
    // for this host, to all, or to a group; not for others (or an unknown VLAN), sent, or looped back by this host
    filter.only_if_at_most(PACKET_MULTICAST);
    filter.load(BPF_W, property + SKF_AD_IFINDEX);
    filter.only_if_equal(traffic.interface_index);
    filter.load(BPF_W, ip_header + 12);
    filter.only_if_equal(traffic.source.value);
    return filter;
}

}  // namespace

std::error_code accept_only(int packet_socket, const RingTraffic& traffic) noexcept
try {
    Filter filter = common_conditions(traffic);
    if (!traffic.destination.address.is_any()) {
        filter.load(BPF_W, ip_header + 16);
        filter.only_if_equal(traffic.destination.address.value);
    }
    filter.load(BPF_B, ip_header + 9);
    filter.only_if_equal(IPPROTO_UDP);
    filter.load(BPF_H, ip_header + 6);
    filter.only_if_none_of(0x3FFF);  // fragments that could not be joined
    filter.load_behind_ip_header(2);
    filter.only_if_equal(traffic.destination.port);
    return filter.attach(packet_socket, true);
} catch (const std::bad_alloc&) {
    return std::make_error_code(std::errc::not_enough_memory);
}

std::error_code leave_to_ring(int udp_socket, const RingTraffic& traffic) noexcept
try {
    return common_conditions(traffic).attach(udp_socket, false);
} catch (const std::bad_alloc&) {
    return std::make_error_code(std::errc::not_enough_memory);
}

std::error_code refuse_all(int udp_socket) noexcept
try {
    return Filter().attach(udp_socket, false);
} catch (const std::bad_alloc&) {
    return std::make_error_code(std::errc::not_enough_memory);
}

void take_again(int udp_socket) noexcept
{
    const int none = 0;
    ::setsockopt(udp_socket, SOL_SOCKET, SO_DETACH_FILTER, &none, sizeof none);
}

}  // namespace vex::net
