#include <linux/sock_diag.h>
#include <netinet/udp.h>

#include <algorithm>
#include <array>
#include <vector>

#include "sdk/net/coalesced.h"
#include "sdk/net/posix_socket.h"
#include "sdk/net/receivers_linux.h"

#ifndef UDP_GRO
#define UDP_GRO 104
#endif

namespace vex::net {

namespace {

/// The kernel joins at most this many datagrams of one sender into one block.
constexpr std::size_t most_segments = 128;
constexpr std::size_t largest_coalesced_block = 65536;
/// Blocks per system call; with coalescing each may hold dozens of datagrams.
constexpr std::size_t most_coalesced_blocks = 32;
/// Lies between slots, an odd number of cache lines: slots a power of two apart would all begin in the same few sets of
/// the processor's caches and drive each other out of them.
constexpr std::size_t slot_stagger = std::size_t{33} * 64;

bool set_coalescing(const UdpSocket& socket, bool on) noexcept
{
    const int value = on ? 1 : 0;
    return socket.is_open() &&
           ::setsockopt(descriptor_of(socket.handle()), IPPROTO_UDP, UDP_GRO, &value, sizeof value) == 0;
}

/// recvmmsg into a slab of equal slots; each takes one datagram or a block of coalesced ones.
class BatchReceiver final : public PacketReceiver {
public:
    BatchReceiver(const ReceiverOptions& options, bool coalescing)
        : socket_(options.socket), largest_packet_(std::max<std::size_t>(options.largest_packet, 1)),
          batch_(std::max<std::size_t>(options.batch, 1)), coalescing_(coalescing)
    {
        const std::size_t slots = coalescing_ ? std::min(batch_, most_coalesced_blocks) : batch_;
        slot_size_ = coalescing_ ? largest_coalesced_block : largest_packet_;
        const std::size_t stride = slot_size_ + slot_stagger;
        slab_ = std::make_unique_for_overwrite<std::uint8_t[]>(slots * stride);
        messages_.resize(slots);
        parts_.resize(slots);
        sources_.resize(slots);
        controls_.resize(slots);
        datagrams_.reserve(coalescing_ ? slots * most_segments : slots);
        for (std::size_t i = 0; i < slots; ++i) {
            parts_[i] = {slab_.get() + i * stride, slot_size_};
            messages_[i] = {};
            messages_[i].msg_hdr.msg_iov = &parts_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
            messages_[i].msg_hdr.msg_name = &sources_[i];
            messages_[i].msg_hdr.msg_control = coalescing_ ? controls_[i].bytes : nullptr;
            reset(i);
        }
    }

    ~BatchReceiver() override
    {
        // whoever reads the socket next knows nothing of coalescing
        if (coalescing_) {
            set_coalescing(socket_, false);
        }
    }

    BatchReceiver(const BatchReceiver&) = delete;
    BatchReceiver& operator=(const BatchReceiver&) = delete;

    [[nodiscard]] bool drained() const noexcept override { return all_read_ && delivered_ == datagrams_.size(); }

    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override
    {
        const std::optional<std::uint32_t> now = drop_count();
        // the kernel's counter has 32 bits and goes round
        return now.has_value() && dropped_before_.has_value() ? std::optional<std::uint64_t>(*now - *dropped_before_)
                                                              : std::nullopt;
    }

    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return socket_.receive_buffer_bytes(); }

    std::span<const Datagram> receive(std::chrono::milliseconds timeout) override
    {
        if (delivered_ == datagrams_.size() && !refill(timeout)) {
            return {};
        }
        const std::size_t count = std::min(batch_, datagrams_.size() - delivered_);
        const std::span<const Datagram> out(datagrams_.data() + delivered_, count);
        delivered_ += count;
        return out;
    }

private:
    struct alignas(cmsghdr) Control {
        std::uint8_t bytes[CMSG_SPACE(sizeof(int))];
    };

    /// What the socket's drop counter stands at. Asked for by itself, because the form that comes with the packets
    /// (SO_RXQ_OVFL) costs something for each of them, and is not told before the next one.
    [[nodiscard]] std::optional<std::uint32_t> drop_count() const noexcept
    {
        std::array<std::uint32_t, SK_MEMINFO_VARS> values{};
        socklen_t size = sizeof values;
        if (!socket_.is_open() ||
            ::getsockopt(descriptor_of(socket_.handle()), SOL_SOCKET, SO_MEMINFO, values.data(), &size) != 0 ||
            size < (SK_MEMINFO_DROPS + 1) * sizeof values[0]) {
            return std::nullopt;
        }
        return values[SK_MEMINFO_DROPS];
    }

    /// Replaces the delivered datagrams by new ones; false when none came in time.
    bool refill(std::chrono::milliseconds timeout)
    {
        datagrams_.clear();
        delivered_ = 0;
        all_read_ = true;
        if (!socket_.is_open()) {
            return false;
        }
        const int descriptor = descriptor_of(socket_.handle());
        const Deadline deadline(timeout);
        for (;;) {
            for (std::size_t i = 0; i < used_; ++i) {
                reset(i);
            }
            const int count = ::recvmmsg(descriptor, messages_.data(), static_cast<unsigned>(messages_.size()),
                                         MSG_DONTWAIT, nullptr);
            used_ = count > 0 ? static_cast<std::size_t>(count) : 0;
            all_read_ = used_ < messages_.size();
            for (std::size_t i = 0; i < used_; ++i) {
                take(i);
            }
            if (!datagrams_.empty()) {
                return true;
            }
            if (count < 0 && (errno == EBADF || errno == ENOTSOCK)) {
                return false;
            }
            if (!wait_for_input(descriptor, deadline)) {
                return false;
            }
        }
    }

    /// The kernel writes lengths back into the headers; they are set again before the slot is used again.
    void reset(std::size_t slot) noexcept
    {
        msghdr& header = messages_[slot].msg_hdr;
        header.msg_namelen = sizeof(sockaddr_in);
        header.msg_controllen = coalescing_ ? sizeof(Control) : 0;
        header.msg_flags = 0;
    }

    void take(std::size_t slot)
    {
        const msghdr& header = messages_[slot].msg_hdr;
        if ((header.msg_flags & MSG_TRUNC) != 0) {
            return;
        }
        const std::size_t size = messages_[slot].msg_len;
        const std::span control(controls_[slot].bytes, coalescing_ ? header.msg_controllen : 0);
        split_block({static_cast<const std::uint8_t*>(parts_[slot].iov_base), size},
                    number_in_control(control, {IPPROTO_UDP, UDP_GRO}), from_system(sources_[slot]), largest_packet_,
                    datagrams_);
    }

    UdpSocket& socket_;
    const std::size_t largest_packet_;
    const std::size_t batch_;
    const bool coalescing_;
    std::size_t slot_size_ = 0;
    std::unique_ptr<std::uint8_t[]> slab_;
    std::vector<mmsghdr> messages_;
    std::vector<iovec> parts_;
    std::vector<sockaddr_in> sources_;
    std::vector<Control> controls_;
    std::vector<Datagram> datagrams_;
    std::size_t delivered_ = 0;  ///< of datagrams_, in earlier calls
    std::size_t used_ = 0;       ///< slots that the last call filled
    bool all_read_ = true;       ///< the last call found fewer datagrams than it had slots
    std::optional<std::uint32_t> dropped_before_ = drop_count();
};

}  // namespace

std::unique_ptr<PacketReceiver> create_batch_receiver(const ReceiverOptions& options, bool coalescing)
{
    if (coalescing && !set_coalescing(options.socket, true)) {
        return nullptr;
    }
    return std::make_unique<BatchReceiver>(options, coalescing);
}

}  // namespace vex::net
