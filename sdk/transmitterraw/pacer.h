// When the next packet may leave.
#pragma once

#include <chrono>
#include <cstddef>

#include "sdk/net/clock.h"

namespace vex::transmitter {

/// Spaces packets by a fixed delay and by an upper bound on bytes per second, whichever is slower. Packets that leave
/// late are caught up with at twice the rate: within any time t, no more leave than pass in 2 t + 1 ms at the rate, and
/// one. Up to 50 ms are caught up with. It only computes; waiting is the caller's.
///
/// Thread safety: one thread at a time.
class Pacer {
public:
    using duration = net::Clock::duration;
    using time_point = net::Clock::time_point;

    /// `delay` between the starts of two packets, `bytes_per_second` 0 for no bound.
    void configure(duration delay, double bytes_per_second) noexcept;

    [[nodiscard]] bool unlimited() const noexcept { return delay_ == duration::zero() && bytes_per_second_ <= 0; }

    /// How many packets of `packet_bytes` may be handed over in one go at `now`, from 1 to `most`: as many as pass in
    /// the time that a sleep cannot resolve anyway, or in the time by which they are late, up to half a millisecond.
    [[nodiscard]] std::size_t batch(time_point now, std::size_t packet_bytes, std::size_t most) const noexcept;

    /// The earliest moment for the next packet.
    [[nodiscard]] time_point next() const noexcept { return next_; }

    /// Something waits to leave from `now` on: idle time earns nothing.
    void resume(time_point now) noexcept;

    /// Packets with so many bytes in total left at `now`.
    void sent(time_point now, std::size_t packets, std::size_t bytes) noexcept;

private:
    [[nodiscard]] duration cost(std::size_t packets, std::size_t bytes) const noexcept;

    duration delay_{};
    double bytes_per_second_ = 0;
    time_point due_{};   // of the next packet, had none been late
    time_point next_{};  // when it may really leave
    time_point last_{};  // when the last ones left
};

}  // namespace vex::transmitter
