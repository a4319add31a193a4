// A UDP socket: the one place, with packet_receiver and interfaces, that knows the operating system's socket calls.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <system_error>

#include "sdk/base/address.h"

namespace vex::net {

struct UdpOptions {
    bool reuse_address = false;  ///< several sockets may share the port; each receives broadcasts and multicasts
    bool broadcast = false;      ///< sending to broadcast addresses is allowed
    bool dont_fragment = false;  ///< outgoing datagrams larger than the path's MTU fail instead of being fragmented
    /// Datagrams leave by the interface that has the local address, whichever of several in one subnet the routes name.
    /// Without effect for loopback addresses, and where the system cannot.
    bool stay_on_interface = false;
    int receive_buffer_bytes = 0;  ///< asked of the system, which may give less; 0 leaves its default
    int send_buffer_bytes = 0;     ///< as above
};

/// What arrived with one receive.
struct Received {
    std::size_t size = 0;    ///< bytes written to the buffer
    bool truncated = false;  ///< the datagram was longer than the buffer; the rest is lost
    Endpoint source;
};

/// A datagram in two parts, sent as one without copying them together. Either part may be empty.
struct OutgoingDatagram {
    std::span<const std::uint8_t> head;
    std::span<const std::uint8_t> body;
};

/// An owned IPv4 UDP socket.
///
/// Errors: opening throws std::system_error, naming the address; sending returns the system's error; receiving never
/// reports a transient network error (such as an ICMP "port unreachable" for an earlier datagram), it goes on waiting.
///
/// Thread safety: one thread may receive while others send. Opening, moving and closing need exclusive use.
class UdpSocket {
public:
    UdpSocket() noexcept = default;
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&& other) noexcept;
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;
    ~UdpSocket();

    /// Opens a socket bound to `local`; port 0 lets the system choose one.
    [[nodiscard]] static UdpSocket open(Endpoint local, const UdpOptions& options = {});

    [[nodiscard]] bool is_open() const noexcept;
    void close() noexcept;

    /// Address and port that the socket is bound to; zero when closed.
    [[nodiscard]] Endpoint local() const noexcept;

    std::error_code send_to(const Endpoint& destination, std::span<const std::uint8_t> data) noexcept;

    /// Sends the datagrams in order with as few system calls as the platform allows and returns how many were sent;
    /// fewer than given means that `error` tells why the next one was not.
    std::size_t send_batch(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                           std::error_code& error) noexcept;

    /// Datagrams that one train has at most.
    static constexpr std::size_t most_in_train = 64;
    /// Whether the system cuts trains into their datagrams at all.
    [[nodiscard]] bool cuts_trains() const noexcept;
    /// Sends 1 to most_in_train datagrams as one message that the system cuts; only where cuts_trains(). All have the
    /// size of the first, but the last may be shorter. Either all are sent or, with an error, none: invalid_argument
    /// where one is longer than the path's MTU, io_error where a device cannot compute checksums.
    std::error_code send_train(const Endpoint& destination, std::span<const OutgoingDatagram> train) noexcept;

    /// Waits up to `timeout` (0: not at all) for a datagram; empty on timeout or when the socket is closed.
    std::optional<Received> receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout) noexcept;

    /// Joins or leaves a multicast group on the interface that has the address `interface`.
    std::error_code join(Ipv4Address group, Ipv4Address interface_address) noexcept;
    std::error_code leave(Ipv4Address group, Ipv4Address interface_address) noexcept;

    /// The interface by which multicasts leave, and their time to live.
    std::error_code set_multicast_interface(Ipv4Address interface_address, int time_to_live) noexcept;

    /// Fails instead of fragmenting outgoing datagrams, or not.
    std::error_code set_dont_fragment(bool dont_fragment) noexcept;

    /// What the system gave of the receive buffer that was asked for, in the same unit; 0 when closed. May be less, or
    /// more where the system rounds up.
    [[nodiscard]] std::size_t receive_buffer_bytes() const noexcept;

    /// The system's handle, for the packet receivers of this folder.
    using Handle = std::uintptr_t;
    [[nodiscard]] Handle handle() const noexcept { return handle_; }

private:
    static constexpr Handle invalid_handle = ~Handle{0};
    explicit UdpSocket(Handle handle) noexcept : handle_(handle) {}

    Handle handle_ = invalid_handle;
    int receive_timeout_ms_ = -1;  ///< what the system was last told, where it is told; only of use to who receives
};

/// Waits up to `timeout` until one of the open sockets can be read; the index of the first such socket, or empty.
std::optional<std::size_t> wait_readable(std::span<UdpSocket* const> sockets,
                                         std::chrono::milliseconds timeout) noexcept;

}  // namespace vex::net
