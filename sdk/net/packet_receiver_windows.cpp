#include "sdk/net/packet_receiver.h"

#include <algorithm>
#include <vector>

#include "sdk/net/winsock_socket.h"

namespace vex::net {

namespace {

/// recvfrom into a slab of equal slots, until the socket is drained or the batch is full. Registered I/O and receive
/// coalescing would fit behind the same interface.
class DrainingReceiver final : public PacketReceiver {
public:
    DrainingReceiver(UdpSocket& socket, std::size_t largest_packet, std::size_t batch)
        : socket_(socket), slot_size_(std::max<std::size_t>(largest_packet, 1)),
          batch_(std::max<std::size_t>(batch, 1)),
          slab_(std::make_unique_for_overwrite<std::uint8_t[]>(slot_size_ * batch_))
    {
        datagrams_.reserve(batch_);
    }

    [[nodiscard]] bool drained() const noexcept override { return drained_; }

    /// Windows counts such packets for the whole system only.
    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override { return std::nullopt; }

    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return socket_.receive_buffer_bytes(); }

    std::span<const Datagram> receive(std::chrono::milliseconds timeout) override
    {
        datagrams_.clear();
        drained_ = true;
        if (!socket_.is_open()) {
            return {};
        }
        const SOCKET socket = socket_of(socket_.handle());
        const Deadline deadline(timeout);
        while (datagrams_.size() < batch_) {
            std::uint8_t* const slot = slab_.get() + datagrams_.size() * slot_size_;
            sockaddr_in source{};
            int source_size = sizeof source;
            const int size = ::recvfrom(socket, reinterpret_cast<char*>(slot), static_cast<int>(slot_size_), 0,
                                        reinterpret_cast<sockaddr*>(&source), &source_size);
            if (size >= 0) {
                datagrams_.push_back({{slot, static_cast<std::size_t>(size)}, from_system(source)});
                continue;
            }
            const int error = ::WSAGetLastError();
            if (error == WSAENOTSOCK) {
                break;
            }
            // too long a datagram, or the error of an earlier send: not what is waited for, and over once fetched
            if (error == WSAEMSGSIZE || error == WSAECONNRESET || error == WSAENETRESET) {
                if (deadline.remaining_ms() == 0) {
                    drained_ = false;
                    break;
                }
                continue;
            }
            if (!datagrams_.empty() || !wait_for_input(socket, deadline)) {
                return datagrams_;
            }
        }
        drained_ = drained_ && datagrams_.size() < batch_;
        return datagrams_;
    }

private:
    UdpSocket& socket_;
    const std::size_t slot_size_;
    const std::size_t batch_;
    std::unique_ptr<std::uint8_t[]> slab_;
    std::vector<Datagram> datagrams_;
    bool drained_ = true;
};

}  // namespace

std::unique_ptr<PacketReceiver> PacketReceiver::create(UdpSocket& socket, std::size_t largest_packet, std::size_t batch)
{
    return std::make_unique<DrainingReceiver>(socket, largest_packet, batch);
}

}  // namespace vex::net
