#include "sdk/net/packet_sender.h"

#include "sdk/net/interfaces.h"

namespace vex::net {

namespace {

constexpr std::size_t largest_train = 65507;  // bytes: a train is one UDP datagram until it is cut
// Fewer than these cost no more one by one, together with their neighbours.
constexpr std::size_t shortest_train = 3;

std::size_t size_of(const OutgoingDatagram& datagram) noexcept { return datagram.head.size() + datagram.body.size(); }

/// Whether the system cannot send this as a train, whatever it can send otherwise: datagrams above the path's MTU, or a
/// device that cannot compute checksums.
bool is_refusal(const std::error_code& error) noexcept
{
    return error == std::errc::invalid_argument || error == std::errc::io_error || error == std::errc::message_size ||
           error == std::errc::operation_not_supported || error == std::errc::no_protocol_option;
}

}  // namespace

std::size_t UdpSendingSocket::send_batch(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                                         std::error_code& error) noexcept
{
    return socket_.send_batch(destination, datagrams, error);
}

std::error_code UdpSendingSocket::send_train(const Endpoint& destination,
                                             std::span<const OutgoingDatagram> train) noexcept
{
    return socket_.send_train(destination, train);
}

bool UdpSendingSocket::cuts_trains() const noexcept { return socket_.cuts_trains(); }

bool UdpSendingSocket::reaches_device(const Endpoint& destination) const noexcept
{
    return net::reaches_device(socket_.local().address, destination.address);
}

std::size_t train_length(std::span<const OutgoingDatagram> datagrams) noexcept
{
    const std::size_t one = datagrams.empty() ? 0 : size_of(datagrams.front());
    std::size_t count = 0;
    std::size_t bytes = 0;
    while (count < datagrams.size() && count < UdpSocket::most_in_train) {
        const std::size_t size = size_of(datagrams[count]);
        if (count > 0 && (size == 0 || size > one || bytes + size > largest_train)) {
            break;
        }
        ++count;
        bytes += size;
        if (size < one || one == 0) {
            break;
        }
    }
    return count;
}

void PacketSender::prepare(const Endpoint& destination, Trains trains) noexcept
{
    trains_ = trains != Trains::never && socket_.cuts_trains() &&
              (trains == Trains::always || socket_.reaches_device(destination));
}

std::size_t PacketSender::send(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                               std::error_code& error) noexcept
{
    error = {};
    std::size_t sent = 0;
    while (sent < datagrams.size() && !error) {
        const std::span<const OutgoingDatagram> rest = datagrams.subspan(sent);
        std::size_t alone = trains_ ? 0 : rest.size();
        std::size_t train = 0;
        while (alone < rest.size()) {
            train = train_length(rest.subspan(alone));
            if (train >= shortest_train) {
                break;
            }
            alone += train;
        }
        if (alone == 0) {
            const std::error_code failed = socket_.send_train(destination, rest.first(train));
            if (!failed) {
                sent += train;
                continue;
            }
            // whatever it was, each by itself either goes or has the error that counts
            if (is_refusal(failed)) {
                trains_ = false;
            }
            alone = train;
        }
        sent += socket_.send_batch(destination, rest.first(alone), error);
    }
    return sent;
}

}  // namespace vex::net
