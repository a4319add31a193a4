// Receiving through a ring of packets that the kernel fills in memory shared with this process (PACKET_RX_RING, version
// 3): no system call and no copy by this process for a packet, and room that no limit of the system's for socket
// buffers cuts short.
//
// The ring stands beside the UDP socket. The socket keeps the port (so that the host does not answer with ICMP), the
// group, and whatever the ring does not see, such as multicasts that this host sends itself; a filter keeps from it
// what the ring takes. Fragments are joined by the kernel before the ring (a fanout group of one member, whose only
// purpose this is).
//
// The kernel hands over whole blocks: when one is full, or `retire_after` since it was begun. That much later than
// through a socket a packet can be seen at most.
#include <ifaddrs.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "sdk/net/coalesced.h"
#include "sdk/net/interfaces.h"
#include "sdk/net/ipv4_udp.h"
#include "sdk/net/packet_filter_linux.h"
#include "sdk/net/posix_socket.h"
#include "sdk/net/receivers_linux.h"

#ifndef PACKET_FANOUT_FLAG_UNIQUEID
#define PACKET_FANOUT_FLAG_UNIQUEID 0x2000
#endif

namespace vex::net {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t block_size = std::size_t{256} * 1024;
constexpr unsigned most_blocks = 64;
constexpr unsigned least_blocks = 8;
constexpr std::chrono::milliseconds retire_after = 1ms;
/// Within this time the kernel has handed over a block, also one whose timers are only as fine as 100 in a second.
constexpr std::chrono::milliseconds surely_retired = 20ms;
/// A sender on this host may hand over trains of datagrams, which stay joined up to here.
constexpr std::size_t most_segments = 128;

/// What the kernel tells of a packet that is joined from several (struct virtio_net_hdr, whose own header is not for
/// C++); it lies before the packet.
struct Offload {
    std::uint8_t flags = 0;
    std::uint8_t kind = 0;  ///< 0 for a single packet
    std::uint16_t header_size = 0;
    std::uint16_t segment_size = 0;
    std::uint16_t checksum_from = 0;
    std::uint16_t checksum_at = 0;
};
static_assert(sizeof(Offload) == 10);

/// A descriptor, closed at its end.
class Descriptor {
public:
    explicit Descriptor(int value) noexcept : value_(value) {}
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor()
    {
        if (value_ >= 0) {
            ::close(value_);
        }
    }
    [[nodiscard]] int get() const noexcept { return value_; }
    [[nodiscard]] explicit operator bool() const noexcept { return value_ >= 0; }

private:
    int value_;
};

/// The ring's memory.
class Mapping {
public:
    Mapping(int descriptor, std::size_t size) noexcept
        : size_(size), memory_(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0))
    {}
    Mapping(Mapping&& other) noexcept : size_(other.size_), memory_(std::exchange(other.memory_, MAP_FAILED)) {}
    Mapping& operator=(Mapping&&) = delete;
    ~Mapping()
    {
        if (*this) {
            ::munmap(memory_, size_);
        }
    }
    [[nodiscard]] explicit operator bool() const noexcept { return memory_ != MAP_FAILED; }
    [[nodiscard]] std::uint8_t* data() const noexcept { return static_cast<std::uint8_t*>(memory_); }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

private:
    std::size_t size_;
    void* memory_;
};

template <typename Value>
bool set_packet_option(int descriptor, int name, const Value& value) noexcept
{
    return ::setsockopt(descriptor, SOL_PACKET, name, &value, sizeof value) == 0;
}

/// The interface on which the path's packets arrive; 0 when it is not known. What this host sends to itself arrives on
/// the loopback interface, whatever its addresses are.
std::uint32_t receiving_interface(const ReceivePath& path) noexcept
{
    ifaddrs* raw = nullptr;
    if (::getifaddrs(&raw) != 0) {
        return 0;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(raw, &::freeifaddrs);
    bool stays_here = path.sender.is_loopback() || path.local_interface.is_loopback();
    const char* loopback = nullptr;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        stays_here = stays_here || from_system(address).address == path.sender;
        if ((entry->ifa_flags & IFF_LOOPBACK) != 0) {
            loopback = entry->ifa_name;
        }
    }
    if (!stays_here) {
        return interface_index_of(path.local_interface);
    }
    return loopback != nullptr ? ::if_nametoindex(loopback) : 0;
}

/// A packet socket that receives nothing before it is bound. Not open without the privilege (CAP_NET_RAW).
Descriptor open_packet_socket() noexcept { return Descriptor(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0)); }

/// Gives the socket a ring, as large as the system's memory allows; the number of its blocks, 0 when there is none.
unsigned request_ring(int descriptor) noexcept
{
    for (unsigned blocks = most_blocks; blocks >= least_blocks; blocks /= 2) {
        tpacket_req3 request{};
        request.tp_block_size = block_size;
        request.tp_block_nr = blocks;
        request.tp_frame_size = TPACKET_ALIGNMENT << 7;
        request.tp_frame_nr = static_cast<unsigned>(block_size / request.tp_frame_size * blocks);
        request.tp_retire_blk_tov = static_cast<unsigned>(retire_after.count());
        if (set_packet_option(descriptor, PACKET_RX_RING, request)) {
            return blocks;
        }
    }
    return 0;
}

bool bind_to(int descriptor, std::uint32_t interface_index) noexcept
{
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_IP);
    address.sll_ifindex = static_cast<int>(interface_index);
    return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

class PacketRingReceiver final : public PacketReceiver {
public:
    PacketRingReceiver(const ReceiverOptions& options, Descriptor ring, Mapping memory)
        : socket_(options.socket), largest_packet_(std::max<std::size_t>(options.largest_packet, 1)),
          batch_(std::max<std::size_t>(options.batch, 1)), beside_(create_batch_receiver(options, false)),
          ring_(std::move(ring)), memory_(std::move(memory))
    {
        datagrams_.reserve(batch_ + most_segments);
    }

    ~PacketRingReceiver() override
    {
        if (socket_.is_open()) {
            take_again(descriptor_of(socket_.handle()));
        }
    }

    PacketRingReceiver(const PacketRingReceiver&) = delete;
    PacketRingReceiver& operator=(const PacketRingReceiver&) = delete;

    std::span<const Datagram> read(const Landing&) override
    {
        if (!socket_.is_open()) {
            return {};
        }
        if (delivered_ == datagrams_.size()) {
            datagrams_.clear();
            delivered_ = 0;
            if (!take_from_ring()) {
                return std::exchange(socket_is_ready_, false) ? beside_->read({}) : std::span<const Datagram>();
            }
        }
        const std::size_t count = std::min(batch_, datagrams_.size() - delivered_);
        const std::span<const Datagram> out(datagrams_.data() + delivered_, count);
        delivered_ += count;
        return out;
    }

    /// A timeout of 0 waits as long as the kernel may take to hand over what has arrived.
    [[nodiscard]] bool wait(std::chrono::milliseconds timeout) override
    {
        if (!socket_.is_open()) {
            return false;
        }
        if (delivered_ != datagrams_.size() || left_in_block_ != 0) {
            return true;
        }
        const Deadline deadline(timeout > 0ms ? timeout : surely_retired);
        for (;;) {
            const int left = deadline.remaining_ms();
            std::array<pollfd, 2> entries{pollfd{ring_.get(), POLLIN, 0},
                                          pollfd{descriptor_of(socket_.handle()), POLLIN, 0}};
            const int count = ::poll(entries.data(), entries.size(), left);
            socket_is_ready_ = count > 0 && (entries[1].revents & POLLIN) != 0;
            if (socket_is_ready_ || (count > 0 && (entries[0].revents & POLLIN) != 0)) {
                return true;
            }
            for (const pollfd& entry : entries) {
                // errors, such as of an interface that goes down, are over once fetched
                int pending = 0;
                socklen_t size = sizeof pending;
                if (count > 0 && entry.revents != 0 &&
                    ::getsockopt(entry.fd, SOL_SOCKET, SO_ERROR, &pending, &size) != 0) {
                    return false;
                }
            }
            if (left == 0) {
                return false;
            }
        }
    }

    [[nodiscard]] bool drained() const noexcept override
    {
        return delivered_ == datagrams_.size() && left_in_block_ == 0 && !is_ready(holding_ ? next(block_) : block_) &&
               beside_->drained();
    }

    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override
    {
        if (!socket_.is_open()) {
            return std::nullopt;
        }
        const std::scoped_lock lock(drops_mutex_);
        // the kernel's counters begin at 0 again with each look
        tpacket_stats_v3 counts{};
        socklen_t size = sizeof counts;
        if (::getsockopt(ring_.get(), SOL_PACKET, PACKET_STATISTICS, &counts, &size) == 0) {
            drops_ += counts.tp_drops;
        }
        return drops_;
    }

    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return memory_.size(); }

private:
    [[nodiscard]] std::size_t blocks() const noexcept { return memory_.size() / block_size; }
    [[nodiscard]] std::size_t next(std::size_t block) const noexcept { return (block + 1) % blocks(); }

    [[nodiscard]] tpacket_hdr_v1& header_of(std::size_t block) const noexcept
    {
        return reinterpret_cast<tpacket_block_desc*>(memory_.data() + block * block_size)->hdr.bh1;
    }

    [[nodiscard]] bool is_ready(std::size_t block) const noexcept
    {
        const std::atomic_ref<__u32> status(header_of(block).block_status);
        return (status.load(std::memory_order_acquire) & TP_STATUS_USER) != 0;
    }

    void give_back() noexcept
    {
        const std::atomic_ref<__u32> status(header_of(block_).block_status);
        status.store(TP_STATUS_KERNEL, std::memory_order_release);
        block_ = next(block_);
        holding_ = false;
    }

    /// Fills the list of datagrams from the ring; false when the ring has none.
    bool take_from_ring()
    {
        for (;;) {
            if (holding_ && left_in_block_ == 0) {
                give_back();
            }
            if (!holding_) {
                if (!is_ready(block_)) {
                    return false;
                }
                holding_ = true;
                left_in_block_ = header_of(block_).num_pkts;
                packet_ = memory_.data() + block_ * block_size + header_of(block_).offset_to_first_pkt;
            }
            while (left_in_block_ != 0 && datagrams_.size() < batch_) {
                const auto& header = *reinterpret_cast<const tpacket3_hdr*>(packet_);
                take(header);
                --left_in_block_;
                packet_ += header.tp_next_offset;
            }
            if (!datagrams_.empty()) {
                return true;
            }
        }
    }

    void take(const tpacket3_hdr& header)
    {
        if (header.tp_snaplen < header.tp_len) {
            return;  // larger than a block: no packet of a network
        }
        const bool trusted = (header.tp_status & (TP_STATUS_CSUM_VALID | TP_STATUS_CSUMNOTREADY)) != 0;
        // the link's header lies before the IP packet and is counted in
        const std::size_t size =
            header.tp_snaplen - std::min<std::size_t>(header.tp_snaplen, header.tp_net - header.tp_mac);
        const std::optional<Ipv4Udp> udp = decode_ipv4_udp({packet_ + header.tp_net, size}, !trusted);
        if (!udp.has_value()) {
            return;
        }
        Offload offload;
        std::memcpy(&offload, packet_ + header.tp_mac - sizeof offload, sizeof offload);
        const std::size_t segment = offload.kind != 0 ? offload.segment_size : 0;
        split_block(udp->payload, segment, udp->source, largest_packet_, datagrams_);
    }

    UdpSocket& socket_;
    const std::size_t largest_packet_;
    const std::size_t batch_;
    const std::unique_ptr<PacketReceiver> beside_;  // for what comes through the socket
    const Descriptor ring_;
    const Mapping memory_;

    std::size_t block_ = 0;  // held, or the next to come
    bool holding_ = false;
    std::uint32_t left_in_block_ = 0;
    const std::uint8_t* packet_ = nullptr;  // the next of the block held
    std::vector<Datagram> datagrams_;
    std::size_t delivered_ = 0;  // of datagrams_, in earlier calls
    bool socket_is_ready_ = false;

    mutable std::mutex drops_mutex_;
    mutable std::uint64_t drops_ = 0;
};

}  // namespace

bool packet_ring_serves(const ReceivePath& path) noexcept
{
    return !path.sender.is_any() && receiving_interface(path) != 0 && static_cast<bool>(open_packet_socket());
}

std::unique_ptr<PacketReceiver> create_packet_ring(const ReceiverOptions& options)
{
    const RingTraffic traffic{receiving_interface(options.path), options.path.sender, options.socket.local()};
    Descriptor ring = open_packet_socket();
    const int version = TPACKET_V3;
    const int on = 1;
    if (traffic.interface_index == 0 || traffic.destination.port == 0 || !ring ||
        !set_packet_option(ring.get(), PACKET_VERSION, version) ||
        !set_packet_option(ring.get(), PACKET_VNET_HDR, on) || accept_only(ring.get(), traffic)) {
        return nullptr;
    }
    const unsigned blocks = request_ring(ring.get());
    Mapping memory(ring.get(), blocks * block_size);
    const int fanout = (PACKET_FANOUT_HASH | PACKET_FANOUT_FLAG_DEFRAG | PACKET_FANOUT_FLAG_UNIQUEID) << 16;
    if (blocks == 0 || !memory || !bind_to(ring.get(), traffic.interface_index) ||
        !set_packet_option(ring.get(), PACKET_FANOUT, fanout)) {
        return nullptr;
    }
    auto receiver = std::make_unique<PacketRingReceiver>(options, std::move(ring), std::move(memory));
    // from here on a packet goes one way only; those that went both ways before do no harm
    if (leave_to_ring(descriptor_of(options.socket.handle()), traffic)) {
        return nullptr;
    }
    return receiver;
}

}  // namespace vex::net
