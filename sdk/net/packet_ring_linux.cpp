// Receiving through a ring of packets that the kernel fills in memory shared with this process (PACKET_RX_RING, version
// 2): no system call and no copy by this process for a packet, and room that no limit of the system's for socket
// buffers cuts short.
//
// The ring stands beside the UDP socket. The socket keeps the port (so that the host does not answer with ICMP), the
// group, and whatever the ring does not see, such as multicasts that this host sends itself; a filter keeps from it
// what the ring takes. Fragments are joined by the kernel before the ring (a fanout group of one member, whose only
// purpose this is).
//
// A slot holds one packet of the interface's size and can be read as soon as it is filled. Whole blocks of packets, as
// version 3 hands them over, cost the kernel less, but an unfilled one only ends with a timer: until then nobody can
// tell a lost packet from one that waits there. What is larger than a slot, such as joined fragments, comes through the
// packet socket's own queue, and a slot says when it is its turn.
#include <ifaddrs.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
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
#include "sdk/net/descriptor_linux.h"
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

/// The kernel takes the ring's memory in pieces of this size, none of which splits a slot.
constexpr std::size_t piece_size = std::size_t{256} * 1024;
constexpr std::size_t most_pieces = 64;
constexpr std::size_t least_pieces = 8;
/// What the kernel puts before an IP packet in a slot: its own header, an address, the link's header and an Offload.
constexpr std::size_t slot_overhead = 96;
/// Networks carry no larger packets. An interface that does, such as a loopback, gets slots for what is common: large
/// ones would hold few packets.
constexpr std::size_t largest_slotted = 9216;
constexpr std::size_t common_packet = 2000;
constexpr std::size_t cache_line = 64;
/// For what is larger than a slot, in the packet socket's queue.
constexpr int queue_bytes = 16 * 1024 * 1024;
constexpr std::size_t largest_queued = 65536 + slot_overhead;
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

/// Bytes of a slot that holds what the interface receives in one piece: an odd number of cache lines, so that slots do
/// not all begin in the same few sets of the processor's caches.
std::size_t slot_size_for(int descriptor, std::uint32_t interface_index) noexcept
{
    std::size_t largest = common_packet;
    ifreq request{};
    if (::if_indextoname(interface_index, request.ifr_name) != nullptr &&
        ::ioctl(descriptor, SIOCGIFMTU, &request) == 0 && request.ifr_mtu > 0 &&
        static_cast<std::size_t>(request.ifr_mtu) <= largest_slotted) {
        largest = static_cast<std::size_t>(request.ifr_mtu);
    }
    return ((largest + slot_overhead + cache_line - 1) / cache_line | 1) * cache_line;
}

/// Gives the socket a ring, as large as the system's memory allows; bytes of its memory, 0 when there is none.
std::size_t request_ring(int descriptor, std::size_t slot_size) noexcept
{
    const std::size_t slots_of_piece = piece_size / slot_size;
    for (std::size_t pieces = most_pieces; pieces >= least_pieces; pieces /= 2) {
        tpacket_req request{};
        request.tp_block_size = piece_size;
        request.tp_block_nr = static_cast<unsigned>(pieces);
        request.tp_frame_size = static_cast<unsigned>(slot_size);
        request.tp_frame_nr = static_cast<unsigned>(slots_of_piece * pieces);
        if (set_packet_option(descriptor, PACKET_RX_RING, request)) {
            return pieces * piece_size;
        }
    }
    return 0;
}

/// Lets the kernel queue packets that are larger than a slot, and gives it room for them.
bool let_queue(int descriptor) noexcept
{
    const int on = 1;
    if (::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &queue_bytes, sizeof queue_bytes) != 0) {
        // as much as the system gives to anyone
        ::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &queue_bytes, sizeof queue_bytes);
    }
    return set_packet_option(descriptor, PACKET_COPY_THRESH, on);
}

bool bind_to(int descriptor, std::uint32_t interface_index) noexcept
{
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_IP);
    address.sll_ifindex = static_cast<int>(interface_index);
    return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// The ring's slots, which the kernel fills one after the other.
class Slots {
public:
    Slots(Mapping memory, std::size_t slot_size) noexcept
        : memory_(std::move(memory)), slot_size_(slot_size), in_piece_(piece_size / slot_size),
          count_(memory_.size() / piece_size * in_piece_)
    {}

    [[nodiscard]] std::size_t count() const noexcept { return count_; }
    [[nodiscard]] std::size_t bytes() const noexcept { return memory_.size(); }
    [[nodiscard]] std::size_t next(std::size_t slot) const noexcept { return slot + 1 == count_ ? 0 : slot + 1; }
    [[nodiscard]] std::uint8_t* memory_of(std::size_t slot) const noexcept
    {
        return memory_.data() + slot / in_piece_ * piece_size + slot % in_piece_ * slot_size_;
    }
    [[nodiscard]] const tpacket2_hdr& header_of(std::size_t slot) const noexcept { return header(slot); }
    /// True until it is given back.
    [[nodiscard]] bool is_filled(std::size_t slot) const noexcept
    {
        return (std::atomic_ref(header(slot).tp_status).load(std::memory_order_acquire) & TP_STATUS_USER) != 0;
    }
    void give_back(std::size_t slot) const noexcept
    {
        std::atomic_ref(header(slot).tp_status).store(TP_STATUS_KERNEL, std::memory_order_release);
    }

private:
    [[nodiscard]] tpacket2_hdr& header(std::size_t slot) const noexcept
    {
        return *reinterpret_cast<tpacket2_hdr*>(memory_of(slot));
    }

    Mapping memory_;
    std::size_t slot_size_;
    std::size_t in_piece_;
    std::size_t count_;
};

class PacketRingReceiver final : public PacketReceiver {
public:
    PacketRingReceiver(const ReceiverOptions& options, Descriptor ring, Slots slots)
        : socket_(options.socket), largest_packet_(std::max<std::size_t>(options.largest_packet, 1)),
          batch_(std::max<std::size_t>(options.batch, 1)), beside_(create_batch_receiver(options, false)),
          ring_(std::move(ring)), slots_(std::move(slots)),
          queued_(std::make_unique_for_overwrite<std::uint8_t[]>(largest_queued))
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
            give_back();
            take_from_ring();
            if (datagrams_.empty()) {
                return std::exchange(socket_is_ready_, false) ? beside_->read({}) : std::span<const Datagram>();
            }
        }
        const std::size_t count = std::min(batch_, datagrams_.size() - delivered_);
        const std::span<const Datagram> out(datagrams_.data() + delivered_, count);
        delivered_ += count;
        return out;
    }

    [[nodiscard]] bool wait(std::chrono::milliseconds timeout) override
    {
        if (!socket_.is_open()) {
            return false;
        }
        if (delivered_ != datagrams_.size() || has_filled()) {
            return true;
        }
        // the kernel tells that there is something as long as the slot filled last is not its own
        give_back();
        const int ring = held_ == 0 ? ring_.get() : -1;
        const Deadline deadline(timeout);
        for (;;) {
            const int left = deadline.remaining_ms();
            std::array<pollfd, 2> entries{pollfd{ring, POLLIN, 0}, pollfd{descriptor_of(socket_.handle()), POLLIN, 0}};
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
        return delivered_ == datagrams_.size() && !has_filled() && beside_->drained();
    }

    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override
    {
        if (!socket_.is_open()) {
            return std::nullopt;
        }
        const std::scoped_lock lock(drops_mutex_);
        // the kernel's counters begin at 0 again with each look
        tpacket_stats counts{};
        socklen_t size = sizeof counts;
        if (::getsockopt(ring_.get(), SOL_PACKET, PACKET_STATISTICS, &counts, &size) == 0) {
            drops_ += counts.tp_drops;
        }
        return drops_ + not_queued_.load(std::memory_order_relaxed);
    }

    /// A ring whose slots are not given back is soon full.
    [[nodiscard]] bool refuse_new(bool on) noexcept override
    {
        refusing_ = on;
        if (delivered_ == datagrams_.size()) {
            give_back();
        }
        return true;
    }

    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return slots_.bytes(); }

private:
    /// There is a slot to be read; those that are held are filled, too.
    [[nodiscard]] bool has_filled() const noexcept { return held_ != slots_.count() && slots_.is_filled(next_); }

    /// Ends the use of what was delivered, and of its slots.
    void give_back() noexcept
    {
        datagrams_.clear();
        delivered_ = 0;
        if (refusing_) {
            return;
        }
        for (; held_ != 0; --held_) {
            slots_.give_back(first_held_);
            first_held_ = slots_.next(first_held_);
        }
    }

    /// Fills the list of datagrams from the slots.
    void take_from_ring()
    {
        while (datagrams_.size() < batch_ && has_filled()) {
            const tpacket2_hdr& header = slots_.header_of(next_);
            if (header.tp_snaplen == header.tp_len) {
                take(header,
                     {slots_.memory_of(next_) + header.tp_mac - sizeof(Offload), sizeof(Offload) + header.tp_len});
            } else if (datagrams_.empty()) {
                take_queued(header);
            } else {
                return;  // there is memory for one of this size
            }
            next_ = slots_.next(next_);
            ++held_;
        }
    }

    /// Takes what did not fit into its slot from the queue, unless that was full.
    void take_queued(const tpacket2_hdr& header)
    {
        if ((header.tp_status & TP_STATUS_COPY) == 0) {
            not_queued_.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        const ssize_t size = ::recv(ring_.get(), queued_.get(), largest_queued, MSG_DONTWAIT | MSG_TRUNC);
        if (size > 0 && static_cast<std::size_t>(size) <= largest_queued) {
            take(header, {queued_.get(), static_cast<std::size_t>(size)});
        }
    }

    /// A packet, behind what the kernel tells of it.
    void take(const tpacket2_hdr& header, std::span<const std::uint8_t> packet)
    {
        const std::size_t ip_header = sizeof(Offload) + header.tp_net - header.tp_mac;
        if (packet.size() < ip_header) {
            return;
        }
        const bool trusted = (header.tp_status & (TP_STATUS_CSUM_VALID | TP_STATUS_CSUMNOTREADY)) != 0;
        const std::optional<Ipv4Udp> udp = decode_ipv4_udp(packet.subspan(ip_header), !trusted);
        if (!udp.has_value()) {
            return;
        }
        Offload offload;
        std::memcpy(&offload, packet.data(), sizeof offload);
        const std::size_t segment = offload.kind != 0 ? offload.segment_size : 0;
        split_block(udp->payload, segment, udp->source, largest_packet_, datagrams_);
    }

    UdpSocket& socket_;
    const std::size_t largest_packet_;
    const std::size_t batch_;
    const std::unique_ptr<PacketReceiver> beside_;  // for what comes through the socket
    const Descriptor ring_;
    const Slots slots_;
    const std::unique_ptr<std::uint8_t[]> queued_;  // a packet that was too large for its slot

    std::size_t next_ = 0;  // slot to be read
    std::size_t first_held_ = 0;
    std::size_t held_ = 0;  // slots before the next one that were read and not given back
    bool refusing_ = false;
    std::vector<Datagram> datagrams_;
    std::size_t delivered_ = 0;  // of datagrams_, in earlier calls
    bool socket_is_ready_ = false;

    mutable std::mutex drops_mutex_;
    mutable std::uint64_t drops_ = 0;
    std::atomic<std::uint64_t> not_queued_{0};
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
    const int version = TPACKET_V2;
    const int on = 1;
    if (traffic.interface_index == 0 || traffic.destination.port == 0 || !ring ||
        !set_packet_option(ring.get(), PACKET_VERSION, version) ||
        !set_packet_option(ring.get(), PACKET_VNET_HDR, on) || accept_only(ring.get(), traffic)) {
        return nullptr;
    }
    const std::size_t slot_size = slot_size_for(ring.get(), traffic.interface_index);
    const std::size_t bytes = let_queue(ring.get()) ? request_ring(ring.get(), slot_size) : 0;
    Mapping memory(ring.get(), bytes);
    const int fanout = (PACKET_FANOUT_HASH | PACKET_FANOUT_FLAG_DEFRAG | PACKET_FANOUT_FLAG_UNIQUEID) << 16;
    if (bytes == 0 || !memory || !bind_to(ring.get(), traffic.interface_index) ||
        !set_packet_option(ring.get(), PACKET_FANOUT, fanout)) {
        return nullptr;
    }
    auto receiver = std::make_unique<PacketRingReceiver>(options, std::move(ring), Slots(std::move(memory), slot_size));
    // from here on a packet goes one way only; those that went both ways before do no harm
    if (leave_to_ring(descriptor_of(options.socket.handle()), traffic)) {
        return nullptr;
    }
    return receiver;
}

}  // namespace vex::net
