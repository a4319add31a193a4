#include "sdk/net/system_backends.h"

#include <mswsock.h>

#include <algorithm>
#include <memory>
#include <system_error>
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

/// Receives into a slab of equal slots until the socket is drained or the batch is full. The last receive of a drained
/// socket stays with the system, which completes it when something arrives: that takes one system call for a packet
/// that comes alone and one to wait for it, where asking first whether there is something takes four.
class OverlappedReceiver final : public PacketReceiver {
public:
    /// With `receive_message`, a slot takes a block of coalesced datagrams. Throws std::bad_alloc and
    /// std::system_error.
    OverlappedReceiver(const ReceiverOptions& options, LPFN_WSARECVMSG receive_message)
        : socket_(options.socket), receive_message_(receive_message),
          largest_packet_(std::max<std::size_t>(options.largest_packet, 1)),
          slot_size_(receive_message != nullptr ? largest_coalesced_block : largest_packet_),
          batch_(std::max<std::size_t>(options.batch, 1)), request_(std::make_unique<Request>())
    {
        request_->slab = std::make_unique_for_overwrite<std::uint8_t[]>((slot_size_ + slot_stagger) * slots());
        datagrams_.reserve(batch_ + most_segments);
        request_->overlapped.hEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (request_->overlapped.hEvent == nullptr) {
            throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                                    "an event for received packets cannot be made");
        }
    }

    ~OverlappedReceiver() override
    {
        take_back();
        // whoever reads the socket next knows nothing of coalescing
        if (receive_message_ != nullptr && socket_.is_open()) {
            set_coalescing(socket_, 0);
        }
        if (request_ != nullptr) {
            ::CloseHandle(request_->overlapped.hEvent);
        }
    }

    OverlappedReceiver(const OverlappedReceiver&) = delete;
    OverlappedReceiver& operator=(const OverlappedReceiver&) = delete;

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
        if (delivered_ != datagrams_.size()) {
            return true;
        }
        if (!socket_.is_open()) {
            return false;
        }
        if (request_->pending) {
            return ::WaitForSingleObject(request_->overlapped.hEvent,
                                         static_cast<DWORD>(Deadline::whole_ms(timeout))) == WAIT_OBJECT_0;
        }
        return wait_for_input(socket_of(socket_.handle()), Deadline(timeout));
    }

private:
    /// A receive, and what the system fills in when it ends it.
    struct Request {
        WSAOVERLAPPED overlapped{};
        std::size_t slot = 0;
        bool pending = false;  ///< it is the system's, with everything here and the slot's memory
        sockaddr_in source{};
        int source_size = sizeof source;
        DWORD size = 0;
        DWORD flags = 0;
        WSABUF part{};
        WSAMSG message{};
        alignas(std::size_t) std::uint8_t control[64]{};
        std::unique_ptr<std::uint8_t[]> slab;
    };

    /// One more than are handed out at once: the next receive waits in it meanwhile.
    [[nodiscard]] std::size_t slots() const noexcept { return batch_ + 1; }

    void refill()
    {
        datagrams_.clear();
        delivered_ = 0;
        all_read_ = true;
        if (!socket_.is_open()) {
            return;
        }
        for (std::size_t received = 0, errors = 0;
             received < batch_ && errors < batch_ && datagrams_.size() < batch_;) {
            const int error = request_->pending ? ended() : start();
            if (error == 0) {
                take_in();
                ++received;
                continue;
            }
            // too long a datagram, the error of an earlier send, or the end of the thread that asked: not what is
            // waited for, and over once fetched
            if (error != WSAEMSGSIZE && error != WSAECONNRESET && error != WSAENETRESET &&
                error != WSA_OPERATION_ABORTED) {
                return;
            }
            ++errors;
        }
        all_read_ = false;
    }

    /// Asks for the next datagram. 0 when it is there; WSA_IO_PENDING when it will come.
    int start() noexcept
    {
        request_->flags = 0;
        request_->source_size = sizeof request_->source;
        request_->part = {static_cast<ULONG>(slot_size_), reinterpret_cast<char*>(memory_of_slot())};
        const SOCKET socket = socket_of(socket_.handle());
        auto* const source = reinterpret_cast<sockaddr*>(&request_->source);
        int result = 0;
        if (receive_message_ == nullptr) {
            result = ::WSARecvFrom(socket, &request_->part, 1, nullptr, &request_->flags, source,
                                   &request_->source_size, &request_->overlapped, nullptr);
        } else {
            request_->message = {source,
                                 request_->source_size,
                                 &request_->part,
                                 1,
                                 {sizeof request_->control, reinterpret_cast<char*>(request_->control)},
                                 0};
            result = receive_message_(socket, &request_->message, nullptr, &request_->overlapped, nullptr);
        }
        const int error = result == 0 ? 0 : ::WSAGetLastError();
        request_->pending = error == 0 || error == WSA_IO_PENDING;
        return error == 0 ? ended() : error;
    }

    /// The outcome of the pending receive: 0, its error, or WSA_IO_PENDING when it has none yet.
    int ended() noexcept
    {
        if (!HasOverlappedIoCompleted(&request_->overlapped)) {
            return WSA_IO_PENDING;
        }
        request_->pending = false;
        return ::WSAGetOverlappedResult(socket_of(socket_.handle()), &request_->overlapped, &request_->size, FALSE,
                                        &request_->flags) != 0
                   ? 0
                   : ::WSAGetLastError();
    }

    /// Splits what the receive has brought, and goes on to the next slot.
    void take_in()
    {
        const std::span<const std::uint8_t> block(memory_of_slot(), request_->size);
        std::uint32_t segment = 0;
        if (receive_message_ != nullptr) {
            segment = number_in_control(
                {request_->control, std::min<std::size_t>(request_->message.Control.len, sizeof request_->control)},
                coalesced_size);
        }
        split_block(block, segment, from_system(request_->source), largest_packet_, datagrams_);
        request_->slot = (request_->slot + 1) % slots();
    }

    /// Ends a pending receive, so that its memory can go.
    void take_back() noexcept
    {
        constexpr DWORD longest_wait_ms = 1000;
        if (!request_->pending) {
            return;
        }
        if (socket_.is_open()) {
            ::CancelIoEx(reinterpret_cast<HANDLE>(socket_of(socket_.handle())), &request_->overlapped);
        }
        if (::WaitForSingleObject(request_->overlapped.hEvent, longest_wait_ms) != WAIT_OBJECT_0) {
            // the system may still write there
            static_cast<void>(request_.release());
        }
    }

    [[nodiscard]] std::uint8_t* memory_of_slot() const noexcept
    {
        return request_->slab.get() + request_->slot * (slot_size_ + slot_stagger);
    }

    UdpSocket& socket_;
    const LPFN_WSARECVMSG receive_message_;  // null: one datagram each
    const std::size_t largest_packet_;
    const std::size_t slot_size_;
    const std::size_t batch_;
    std::unique_ptr<Request> request_;
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
        return std::make_unique<OverlappedReceiver>(options, receive_message);
    }
};

class Plain final : public ReceiveBackend {
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "plain"; }
    [[nodiscard]] bool privileged() const noexcept override { return false; }
    [[nodiscard]] bool serves(const ReceivePath&) const noexcept override { return true; }
    [[nodiscard]] std::unique_ptr<PacketReceiver> create(const ReceiverOptions& options) const override
    {
        return std::make_unique<OverlappedReceiver>(options, nullptr);
    }
};

}  // namespace

std::vector<SharedBackend> system_backends() { return {std::make_shared<Coalescing>(), std::make_shared<Plain>()}; }

}  // namespace vex::net
