#include <linux/sock_diag.h>
#include <netinet/udp.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "sdk/net/coalesced.h"
#include "sdk/net/packet_filter_linux.h"
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
/// Messages per system call; with coalescing each may hold dozens of datagrams.
constexpr std::size_t most_messages = 64;
constexpr std::size_t least_messages = 8;
/// So many messages of one datagram tell that there are no trains any more; leaders and trailers come between them.
constexpr std::size_t singles_that_end_trains = 16;
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
///
/// Data that lands leaves its place in the slot empty: were it recalled, the slot would hold what was received as it
/// came. While datagrams come one by one, each message has one place to land; while they come in trains, a single
/// message at a time has many, since how many datagrams a train brings shows only when it has come.
class BatchReceiver final : public PacketReceiver {
public:
    BatchReceiver(const ReceiverOptions& options, bool coalescing)
        : socket_(options.socket), largest_packet_(std::max<std::size_t>(options.largest_packet, 1)),
          batch_(std::max<std::size_t>(options.batch, 1)), coalescing_(coalescing)
    {
        const std::size_t slots = std::min(batch_, most_messages);
        slot_size_ = coalescing_ ? largest_coalesced_block : largest_packet_;
        slab_ = std::make_unique_for_overwrite<std::uint8_t[]>(slots * (slot_size_ + slot_stagger));
        messages_.resize(slots);
        sources_.resize(slots);
        controls_.resize(slots);
        places_.resize(slots);
        // a message that lands has a header and a place for each packet, and its slot for what is left
        parts_.resize(std::max(slots * 3, 2 * most_segments + 1));
        datagrams_.reserve(coalescing_ ? slots * most_segments : slots);
        for (std::size_t i = 0; i < slots; ++i) {
            messages_[i] = {};
            messages_[i].msg_hdr.msg_name = &sources_[i];
            messages_[i].msg_hdr.msg_control = coalescing_ ? controls_[i].bytes : nullptr;
        }
    }

    ~BatchReceiver() override
    {
        // whoever reads the socket next knows nothing of coalescing, and wants what comes
        if (coalescing_) {
            set_coalescing(socket_, false);
        }
        if (refusing_ && socket_.is_open()) {
            take_again(descriptor_of(socket_.handle()));
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

    [[nodiscard]] bool refuse_new(bool on) noexcept override
    {
        if (socket_.is_open() && on != refusing_) {
            const int descriptor = descriptor_of(socket_.handle());
            if (!on) {
                take_again(descriptor);
                refusing_ = false;
            } else {
                refusing_ = !refuse_all(descriptor);
            }
        }
        return on == refusing_;
    }

    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return socket_.receive_buffer_bytes(); }

    std::span<const Datagram> read(const Landing& landing) override
    {
        if (delivered_ == datagrams_.size()) {
            refill(landing);
        }
        const std::size_t count = std::min(batch_, datagrams_.size() - delivered_);
        const std::span<const Datagram> out(datagrams_.data() + delivered_, count);
        last_read_ = delivered_;
        delivered_ += count;
        return out;
    }

    [[nodiscard]] bool wait(std::chrono::milliseconds timeout) override
    {
        return delivered_ != datagrams_.size() ||
               (socket_.is_open() && wait_for_input(descriptor_of(socket_.handle()), Deadline(timeout)));
    }

    void recall(std::size_t first) noexcept override { recall_from(last_read_ + first); }

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

    /// Replaces the delivered datagrams by new ones.
    void refill(const Landing& landing)
    {
        datagrams_.clear();
        delivered_ = 0;
        all_read_ = true;
        if (!socket_.is_open()) {
            return;
        }
        const std::size_t unit = landing.header + landing.data;
        landing_ = unit <= std::min(slot_size_, largest_packet_) ? landing : Landing{};
        next_place_ = 0;
        if (in_trains_) {
            read_trains();
        } else {
            read_singles();
        }
        // what is handed out later must not rely on a place that may be gone by then
        recall_from(batch_);
    }

    /// One message after the other, because where the next one lands depends on what this one brings. Ends when the
    /// batch is full, and where the places end, so that the caller can tell new ones.
    void read_trains()
    {
        const std::size_t places = landing_.packets();
        std::size_t latest = 1;
        for (std::size_t slot = 0; slot < messages_.size() && datagrams_.size() + latest <= batch_; ++slot) {
            const std::size_t before = datagrams_.size();
            if (read_messages(slot, 1, most_segments) == 0) {
                return;
            }
            latest = std::max<std::size_t>(datagrams_.size() - before, 1);
            if (places != 0 && next_place_ == places) {
                break;
            }
        }
        all_read_ = false;
    }

    /// As many messages with one system call as are likely to be there: each that is not costs its preparation.
    void read_singles()
    {
        for (std::size_t slot = 0; slot < messages_.size();) {
            const std::size_t wanted = std::min(likely_messages_, messages_.size() - slot);
            const std::size_t read = read_messages(slot, wanted, 1);
            slot += read;
            if (read < wanted) {
                likely_messages_ = std::clamp(2 * slot, least_messages, most_messages);
                return;
            }
            likely_messages_ = most_messages;
        }
        all_read_ = false;
    }

    /// Reads up to `count` messages into the slots from `first` on, `most_landing` datagrams of each into their places,
    /// as far as there are any; how many came.
    std::size_t read_messages(std::size_t first, std::size_t count, std::size_t most_landing)
    {
        std::size_t part = 0;
        std::size_t place = next_place_;
        for (std::size_t slot = first; slot < first + count; ++slot) {
            const std::size_t fitting = landing_.packets() != 0 ? slot_size_ / unit() : 0;
            const std::size_t landing = std::min({most_landing, fitting, landing_.packets() - place});
            part = prepare(slot, part, place, landing);
            place += landing;
        }
        const int result = ::recvmmsg(descriptor_of(socket_.handle()), &messages_[first], static_cast<unsigned>(count),
                                      MSG_DONTWAIT, nullptr);
        const std::size_t read = result > 0 ? static_cast<std::size_t>(result) : 0;
        for (std::size_t slot = first; slot < first + read; ++slot) {
            take(slot);
        }
        return read;
    }

    [[nodiscard]] std::size_t unit() const noexcept { return landing_.header + landing_.data; }
    [[nodiscard]] std::uint8_t* slot_memory(std::size_t slot) const noexcept
    {
        return slab_.get() + slot * (slot_size_ + slot_stagger);
    }

    /// Sets a message up to let `landing` datagrams land from the place number `place` on; the next free part.
    std::size_t prepare(std::size_t slot, std::size_t part, std::size_t place, std::size_t landing) noexcept
    {
        msghdr& header = messages_[slot].msg_hdr;
        header.msg_iov = &parts_[part];
        places_[slot] = {landing_.memory.data() + place * landing_.data, place, landing};
        std::uint8_t* memory = slot_memory(slot);
        for (std::size_t i = 0; i < landing; ++i) {
            parts_[part++] = {memory, landing_.header};
            parts_[part++] = {places_[slot].memory + i * landing_.data, landing_.data};
            memory += unit();
        }
        parts_[part++] = {memory, slot_size_ - landing * unit()};
        header.msg_iovlen = static_cast<std::size_t>(&parts_[part] - header.msg_iov);
        // the kernel writes lengths back
        header.msg_namelen = sizeof(sockaddr_in);
        header.msg_controllen = coalescing_ ? sizeof(Control) : 0;
        header.msg_flags = 0;
        return part;
    }

    void take(std::size_t slot)
    {
        const msghdr& header = messages_[slot].msg_hdr;
        if ((header.msg_flags & MSG_TRUNC) != 0) {
            return;
        }
        const std::size_t size = messages_[slot].msg_len;
        const std::span control(controls_[slot].bytes, coalescing_ ? header.msg_controllen : 0);
        const std::size_t segment = number_in_control(control, {IPPROTO_UDP, UDP_GRO});
        if (segment != 0 && segment < size) {
            single_messages_ = 0;
            in_trains_ = true;
        } else if (++single_messages_ >= singles_that_end_trains) {
            in_trains_ = false;
        }
        const Endpoint source = from_system(sources_[slot]);
        const Places& places = places_[slot];
        std::size_t landed = 0;
        if (places.count != 0 && (segment != 0 ? std::min(segment, size) : size) == unit()) {
            for (; landed < std::min(places.count, size / unit()) && datagrams_.size() < datagrams_.capacity();
                 ++landed) {
                datagrams_.push_back(
                    {{slot_memory(slot) + landed * unit(), unit()}, source, places.memory + landed * landing_.data});
            }
            next_place_ = landed != 0 ? places.first + landed : next_place_;
        }
        bring_back(slot, landed, size);
        const std::size_t begin = landed * unit();
        if (begin < size || size == 0) {
            split_block({slot_memory(slot) + begin, size - begin}, segment, source, largest_packet_, datagrams_);
        }
    }

    /// Copies what a message of `size` bytes put into its places from number `first` on into its slot.
    void bring_back(std::size_t slot, std::size_t first, std::size_t size) noexcept
    {
        for (std::size_t i = first; i < places_[slot].count && i * unit() + landing_.header < size; ++i) {
            const std::size_t begin = i * unit() + landing_.header;
            std::memcpy(slot_memory(slot) + begin, places_[slot].memory + i * landing_.data,
                        std::min(landing_.data, size - begin));
        }
    }

    void recall_from(std::size_t first) noexcept
    {
        for (std::size_t i = first; i < datagrams_.size(); ++i) {
            Datagram& one = datagrams_[i];
            if (one.landed != nullptr) {
                // in the slab, which is this receiver's own
                std::memcpy(const_cast<std::uint8_t*>(one.data.data()) + landing_.header, one.landed, landing_.data);
                one.landed = nullptr;
            }
        }
    }

    /// Where a message's datagrams were let land.
    struct Places {
        std::uint8_t* memory = nullptr;
        std::size_t first = 0;  ///< the number of the first of them
        std::size_t count = 0;
    };

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
    std::vector<Places> places_;
    Landing landing_;             ///< of the last system calls
    std::size_t next_place_ = 0;  ///< behind the last one that is taken
    std::size_t likely_messages_ = least_messages;
    bool in_trains_ = false;           ///< coalesced datagrams have come of late
    std::size_t single_messages_ = 0;  ///< in a row
    std::size_t last_read_ = 0;        ///< of datagrams_, where the last batch begins
    std::size_t delivered_ = 0;        ///< of datagrams_, in earlier calls
    bool refusing_ = false;
    bool all_read_ = true;  ///< the last system call found less than it had room for
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
