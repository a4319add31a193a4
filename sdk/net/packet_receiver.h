// Reading datagrams in batches: the stream's receive path.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "sdk/base/address.h"
#include "sdk/net/udp_socket.h"

namespace vex::net {

/// One received datagram, in memory of the receiver.
struct Datagram {
    std::span<const std::uint8_t> data;
    Endpoint source;
};

/// Reads datagrams off a socket, many with one system call where the platform can, into memory of its own that is
/// allocated once. The interface leaves room for coalescing backends: several datagrams of a batch may lie in one
/// block.
///
/// Thread safety: one thread at a time.
class PacketReceiver {
public:
    virtual ~PacketReceiver() = default;

    /// Waits up to `timeout` for at least one datagram and returns what is there, in order of arrival, at most the
    /// batch size; empty on timeout or when the socket is closed. The memory is valid until the next call. A datagram
    /// longer than the largest packet is dropped.
    [[nodiscard]] virtual std::span<const Datagram> receive(std::chrono::milliseconds timeout) = 0;

    /// The best receiver that the platform has for `socket`, which must outlive it.
    /// `largest_packet` is the largest UDP payload expected, in bytes; `batch` the most datagrams per call.
    [[nodiscard]] static std::unique_ptr<PacketReceiver> create(UdpSocket& socket, std::size_t largest_packet,
                                                                std::size_t batch);
};

}  // namespace vex::net
