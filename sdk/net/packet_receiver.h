// Reading datagrams in batches: the stream's receive path.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/address.h"

namespace vex::net {

/// One received datagram, in memory of the receiver.
struct Datagram {
    std::span<const std::uint8_t> data;
    Endpoint source;
};

/// Reads datagrams, many with one system call where the platform can, into memory that is allocated once. Made by
/// create_receiver (sdk/net/receive_backends.h).
///
/// Thread safety: one thread at a time.
class PacketReceiver {
public:
    virtual ~PacketReceiver() = default;

    /// Waits up to `timeout` for at least one datagram and returns what is there, in order of arrival, at most the
    /// batch size; empty on timeout or when the socket is closed. The memory is valid until the next call. A datagram
    /// longer than the largest packet is dropped.
    [[nodiscard]] virtual std::span<const Datagram> receive(std::chrono::milliseconds timeout) = 0;

    /// Whether the last receive handed out everything that had arrived by then: only after such a one does a packet
    /// that is missing tell of a loss, and not of one that waits in the system. True before the first receive.
    [[nodiscard]] virtual bool drained() const noexcept = 0;

    /// Packets that the system threw away since the receiver was made, because its buffer for them was full or because
    /// they were damaged; empty where the system does not tell. A system call: for a person who looks, not for each
    /// packet. May be called from any thread, as long as the socket is open.
    [[nodiscard]] virtual std::optional<std::uint64_t> dropped_by_system() const noexcept = 0;

    /// The system's buffer for packets that wait to be received, as the system tells it: bytes, 0 when not known. A
    /// system call, from any thread as above.
    [[nodiscard]] virtual std::size_t buffer_bytes() const noexcept = 0;
};

}  // namespace vex::net
