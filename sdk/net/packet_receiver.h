// Reading datagrams in batches: the stream's receive path.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/address.h"

namespace vex::net {

/// Where the data of the packets that are expected next belongs: a receiver may put it there at once, which saves a
/// copy. It may write to any of it, whatever comes. Empty for none.
struct Landing {
    std::size_t header = 0;          ///< bytes in front of the data of each packet
    std::size_t data = 0;            ///< bytes of data in each packet
    std::span<std::uint8_t> memory;  ///< for the data of one packet after the other

    [[nodiscard]] std::size_t packets() const noexcept { return data != 0 ? memory.size() / data : 0; }
};

/// One received datagram, in memory of the receiver.
struct Datagram {
    std::span<const std::uint8_t> data;
    Endpoint source;
    /// When not null, the bytes of `data` behind the landing's header are here, and what `data` has there means
    /// nothing.
    const std::uint8_t* landed = nullptr;
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
    [[nodiscard]] std::span<const Datagram> receive(std::chrono::milliseconds timeout);

    /// What is there, without waiting; otherwise as above. Datagrams that are as long as the landing tells may have
    /// landed, in the order of their places.
    [[nodiscard]] virtual std::span<const Datagram> read(const Landing& landing) = 0;
    /// Waits up to `timeout` until there may be something to read; false on timeout or when the socket is closed.
    [[nodiscard]] virtual bool wait(std::chrono::milliseconds timeout) = 0;
    /// Takes the data of those datagrams of the last read that landed, from number `first` on, back to its headers:
    /// it is not what was expected. The landing's memory must still be there.
    virtual void recall(std::size_t) noexcept {}

    /// Whether the last read handed out everything that had arrived by then: only after such a one does a packet that
    /// is missing tell of a loss, and not of one that waits in the system. True before the first read.
    [[nodiscard]] virtual bool drained() const noexcept = 0;

    /// Packets that the system threw away since the receiver was made, because its buffer for them was full or because
    /// they were damaged; empty where the system does not tell. A system call: for a person who looks, not for each
    /// packet. May be called from any thread, as long as the socket is open.
    [[nodiscard]] virtual std::optional<std::uint64_t> dropped_by_system() const noexcept = 0;

    /// While `on`, the system throws away what arrives instead of keeping it; what it keeps already can still be read.
    /// What is thrown away is dropped by the system, trains that it keeps joined count as one. Ends the use of what was
    /// read. False where it cannot.
    [[nodiscard]] virtual bool refuse_new(bool on) noexcept { return !on; }

    /// The system's buffer for packets that wait to be received, as the system tells it: bytes, 0 when not known. A
    /// system call, from any thread as above.
    [[nodiscard]] virtual std::size_t buffer_bytes() const noexcept = 0;
};

}  // namespace vex::net
