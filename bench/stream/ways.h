// The ways to receive that are measured beside each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// A way to receive: opened, then asked for one block after the other.
class Receiver {
public:
    virtual ~Receiver() = default;
    [[nodiscard]] virtual std::uint16_t port() const = 0;
    /// Waits for the next block, a second at most; whether one came, and whole.
    virtual bool receive_block() = 0;
    /// Whether the last receive_block found nothing at all.
    [[nodiscard]] virtual bool nothing_came() const = 0;
    /// The ID of the block that came last.
    [[nodiscard]] virtual std::uint64_t block_id() const = 0;
    /// Packets that the system threw away, where the way can tell.
    [[nodiscard]] virtual std::uint64_t dropped() { return 0; }
};

struct Way {
    std::string name;
    std::function<std::unique_ptr<Receiver>()> open;  ///< null where this system or user cannot
};

/// recvmmsg into slots and a look at each packet's format; `coalescing`: with generic receive offload.
[[nodiscard]] Way bare_way(bool coalescing);
/// The SDK's packet receiver of a backend, and nothing done with the packets.
[[nodiscard]] Way packet_way(const std::string& backend);
/// A whole stream over a backend: assembled, delivered through the queue, retrieved, queued again.
[[nodiscard]] Way stream_way(const std::string& backend, std::size_t buffers = 8);
/// libaravis, on an ordinary or on a packet socket; nothing where the benchmark was built without it.
[[nodiscard]] std::vector<Way> peer_ways();

/// Whether this process may receive through a packet ring from the sender.
[[nodiscard]] bool has_packet_ring();

}  // namespace bench
