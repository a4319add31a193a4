#include "sdk/net/system_backends.h"

#include <mswsock.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "sdk/net/coalesced.h"
#include "sdk/net/winsock_socket.h"

namespace vex::net {

namespace {

// of ws2ipdef.h, which not every toolchain has whole
constexpr int most_coalesced_size = 3;                 // UDP_RECV_MAX_COALESCED_SIZE
constexpr ControlKind coalesced_size{IPPROTO_UDP, 3};  // UDP_COALESCED_INFO
constexpr std::size_t largest_coalesced_block = 65535;
/// Windows does not say how many datagrams it joins at most; beyond this many of a block they are lost.
constexpr std::size_t most_segments = 1024;
/// Lies between slots, an odd number of cache lines: slots a power of two apart would all begin in the same few sets of
/// the processor's caches and drive each other out of them.
constexpr std::size_t slot_stagger = std::size_t{33} * 64;

bool set_coalescing(const UdpSocket& socket, DWORD most_bytes) noexcept
{
    return ::setsockopt(socket_of(socket.handle()), IPPROTO_UDP, most_coalesced_size,
                        reinterpret_cast<const char*>(&most_bytes), sizeof most_bytes) == 0;
}

/// The system's receive with control data, which is asked for by its identifier; null where there is none.
LPFN_WSARECVMSG receive_with_control(const UdpSocket& socket) noexcept
{
    GUID identifier = WSAID_WSARECVMSG;
    LPFN_WSARECVMSG function = nullptr;
    DWORD size = 0;
    const int result = ::WSAIoctl(socket_of(socket.handle()), SIO_GET_EXTENSION_FUNCTION_POINTER, &identifier,
                                  sizeof identifier, &function, sizeof function, &size, nullptr, nullptr);
    return result == 0 ? function : nullptr;
}

/// One receive into a slab of equal slots after the other, until the socket is drained or the batch is full.
class DrainingReceiver final : public PacketReceiver {
public:
    /// With `receive_message`, a slot takes a block of coalesced datagrams.
    DrainingReceiver(const ReceiverOptions& options, LPFN_WSARECVMSG receive_message)
        : socket_(options.socket), receive_message_(receive_message),
          largest_packet_(std::max<std::size_t>(options.largest_packet, 1)),
          slot_size_(receive_message != nullptr ? largest_coalesced_block : largest_packet_),
          batch_(std::max<std::size_t>(options.batch, 1)),
          slab_(std::make_unique_for_overwrite<std::uint8_t[]>((slot_size_ + slot_stagger) * batch_))
    {
        datagrams_.reserve(batch_ + most_segments);
    }

    ~DrainingReceiver() override
    {
        // whoever reads the socket next knows nothing of coalescing
        if (receive_message_ != nullptr && socket_.is_open()) {
            set_coalescing(socket_, 0);
        }
    }

    DrainingReceiver(const DrainingReceiver&) = delete;
    DrainingReceiver& operator=(const DrainingReceiver&) = delete;

    [[nodiscard]] bool drained() const noexcept override { return all_read_ && delivered_ == datagrams_.size(); }

    /// Windows counts such packets for the whole system only.
    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override { return std::nullopt; }

    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return socket_.receive_buffer_bytes(); }

    std::span<const Datagram> read(const Landing&) override
    {
        if (delivered_ == datagrams_.size()) {
            refill();
        }
        const std::size_t count = std::min(batch_, datagrams_.size() - delivered_);
        const std::span<const Datagram> out(datagrams_.data() + delivered_, count);
        delivered_ += count;
        return out;
    }

    [[nodiscard]] bool wait(std::chrono::milliseconds timeout) override
    {
        return delivered_ != datagrams_.size() ||
               (socket_.is_open() && wait_for_input(socket_of(socket_.handle()), Deadline(timeout)));
    }

private:
    void refill()
    {
        datagrams_.clear();
        delivered_ = 0;
        all_read_ = true;
        if (!socket_.is_open()) {
            return;
        }
        for (std::size_t slot = 0, errors = 0; slot < batch_ && errors < batch_ && datagrams_.size() < batch_;) {
            if (read_into(slot)) {
                ++slot;
                continue;
            }
            // too long a datagram, or the error of an earlier send: not what is waited for, and over once fetched
            const int error = ::WSAGetLastError();
            if (error != WSAEMSGSIZE && error != WSAECONNRESET && error != WSAENETRESET) {
                return;
            }
            ++errors;
        }
        all_read_ = false;
    }

    /// Takes in what one receive gives; false, with the system's error, when it gives nothing.
    bool read_into(std::size_t slot)
    {
        std::uint8_t* const memory = slab_.get() + slot * (slot_size_ + slot_stagger);
        sockaddr_in source{};
        int source_size = sizeof source;
        if (receive_message_ == nullptr) {
            const int size =
                ::recvfrom(socket_of(socket_.handle()), reinterpret_cast<char*>(memory), static_cast<int>(slot_size_),
                           0, reinterpret_cast<sockaddr*>(&source), &source_size);
            if (size >= 0) {
                split_block({memory, static_cast<std::size_t>(size)}, 0, from_system(source), largest_packet_,
                            datagrams_);
            }
            return size >= 0;
        }
        alignas(std::size_t) std::uint8_t control[64];
        WSABUF part{static_cast<ULONG>(slot_size_), reinterpret_cast<char*>(memory)};
        WSAMSG message{reinterpret_cast<sockaddr*>(&source),
                       source_size,
                       &part,
                       1,
                       {sizeof control, reinterpret_cast<char*>(control)},
                       0};
        DWORD size = 0;
        if (receive_message_(socket_of(socket_.handle()), &message, &size, nullptr, nullptr) != 0) {
            return false;
        }
        const std::span<const std::uint8_t> told(control, std::min<std::size_t>(message.Control.len, sizeof control));
        split_block({memory, size}, number_in_control(told, coalesced_size), from_system(source), largest_packet_,
                    datagrams_);
        return true;
    }

    UdpSocket& socket_;
    const LPFN_WSARECVMSG receive_message_;  // null: one datagram each
    const std::size_t largest_packet_;
    const std::size_t slot_size_;
    const std::size_t batch_;
    std::unique_ptr<std::uint8_t[]> slab_;
    std::vector<Datagram> datagrams_;
    std::size_t delivered_ = 0;  // of datagrams_, in earlier calls
    bool all_read_ = true;
};

class Coalescing final : public ReceiveBackend {
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "coalescing"; }
    [[nodiscard]] bool privileged() const noexcept override { return false; }
    [[nodiscard]] bool serves(const ReceivePath&) const noexcept override { return true; }
    [[nodiscard]] std::unique_ptr<PacketReceiver> create(const ReceiverOptions& options) const override
    {
        const LPFN_WSARECVMSG receive_message = receive_with_control(options.socket);
        if (receive_message == nullptr || !set_coalescing(options.socket, largest_coalesced_block)) {
            return nullptr;
        }
        return std::make_unique<DrainingReceiver>(options, receive_message);
    }
};

class Plain final : public ReceiveBackend {
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "plain"; }
    [[nodiscard]] bool privileged() const noexcept override { return false; }
    [[nodiscard]] bool serves(const ReceivePath&) const noexcept override { return true; }
    [[nodiscard]] std::unique_ptr<PacketReceiver> create(const ReceiverOptions& options) const override
    {
        return std::make_unique<DrainingReceiver>(options, nullptr);
    }
};

}  // namespace

std::vector<SharedBackend> system_backends() { return {std::make_shared<Coalescing>(), std::make_shared<Plain>()}; }

}  // namespace vex::net
