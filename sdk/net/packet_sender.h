// Datagrams on their way out: one by one, or in trains that the system cuts.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>

#include "sdk/base/address.h"
#include "sdk/net/udp_socket.h"

namespace vex::net {

/// When datagrams leave in trains.
enum class Trains : std::uint8_t {
    automatic,  ///< where the system cuts them and a network device lies behind the interface
    always,     ///< where the system cuts them
    never,
};

/// What a socket offers to a sender. The functions do what those of UdpSocket do.
class SendingSocket {
public:
    virtual ~SendingSocket() = default;
    virtual std::size_t send_batch(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                                   std::error_code& error) noexcept = 0;
    virtual std::error_code send_train(const Endpoint& destination,
                                       std::span<const OutgoingDatagram> train) noexcept = 0;
    [[nodiscard]] virtual bool cuts_trains() const noexcept = 0;
    /// See net::reaches_device.
    [[nodiscard]] virtual bool reaches_device(const Endpoint& destination) const noexcept = 0;
};

/// Of a UdpSocket, which must outlive it.
class UdpSendingSocket final : public SendingSocket {
public:
    explicit UdpSendingSocket(UdpSocket& socket) noexcept : socket_(socket) {}
    std::size_t send_batch(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                           std::error_code& error) noexcept override;
    std::error_code send_train(const Endpoint& destination, std::span<const OutgoingDatagram> train) noexcept override;
    [[nodiscard]] bool cuts_trains() const noexcept override;
    [[nodiscard]] bool reaches_device(const Endpoint& destination) const noexcept override;

private:
    UdpSocket& socket_;
};

/// How many of the first datagrams can leave as one train: datagrams of one size, and behind them at most one that is
/// shorter, as many as one message has room for. At least 1 unless there are none.
[[nodiscard]] std::size_t train_length(std::span<const OutgoingDatagram> datagrams) noexcept;

/// Sends datagrams of all sizes, in order, those of equal size in trains where that is allowed.
///
/// A train costs the system about as much as a datagram. It is cut into datagrams at the last moment: by the network
/// device, or before the device gets them. An interface without a device (loopback, a virtual cable) never cuts it:
/// who captures there sees one long datagram, and a receiver on a packet socket cannot use it. That is why trains are
/// automatic only where they meet a device.
///
/// Thread safety: send() may be called from several threads, also beside prepare().
class PacketSender {
public:
    explicit PacketSender(SendingSocket& socket) noexcept : socket_(socket) {}

    /// Decides for what is sent from now on, and forgets what the system refused so far.
    void prepare(const Endpoint& destination, Trains trains) noexcept;
    /// Whether trains are sent: they are allowed and the system has refused none.
    [[nodiscard]] bool sends_trains() const noexcept { return trains_; }

    /// As UdpSocket::send_batch. When the system refuses a train, its datagrams and all further ones leave one by one.
    std::size_t send(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                     std::error_code& error) noexcept;

private:
    SendingSocket& socket_;
    std::atomic<bool> trains_{false};
};

}  // namespace vex::net
