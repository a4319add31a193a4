// Whoever wants to see the datagrams of searches, control and message channels as they are sent and received.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <span>

#include "sdk/base/address.h"

namespace vex::control::tap {

struct Datagram {
    Endpoint source;
    Endpoint destination;
    std::span<const std::uint8_t> bytes;  ///< the payload; may be shorter than it was when it was larger than expected
};

using Listener = std::function<void(const Datagram&)>;

/// Tells the listener each datagram, on the thread that sends or receives it, on several at a time. There is one
/// listener: it takes the place of the one before it, which nobody calls any more when this returns. Not to be called
/// by a listener; what a listener itself sends is not told.
void listen(Listener listener);
/// Tells nobody any more, and waits until nobody is in a listener's call.
void stop_listening();

namespace detail {

inline std::atomic<bool> is_wanted{false};

[[gnu::cold]] void tell(const Datagram& datagram) noexcept;

}  // namespace detail

/// Tells of a datagram that was sent or received. Costs one load and one branch while nobody listens.
inline void write(const Endpoint& source, const Endpoint& destination, std::span<const std::uint8_t> bytes) noexcept
{
    if (detail::is_wanted.load(std::memory_order_relaxed)) [[unlikely]] {
        detail::tell({source, destination, bytes});
    }
}

}  // namespace vex::control::tap
