// What a stream does when more is sent than this host can take.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "sdk/net/clock.h"

namespace vex::stream {

/// Tells when to give up some blocks so that the others are whole.
///
/// A receiver that is too slow for its sender finds the system's buffer full all the time: the system throws packets
/// away here and there, each block lacks some, and asking for them makes it worse. Instead the system is told to throw
/// away everything for a while (shed). What it holds by then lies without a hole but at its end and is taken in; once
/// all of it is read, packets are let in again (resume), and the empty buffer takes the next blocks whole.
///
/// A receiver that was merely kept from running finds its buffer full once and catches up. What was lost then is asked
/// for as always: shedding begins only when packets were dropped again and again for `patience` without the buffer
/// being drained in between, or at once within `alert` after the latest time.
///
/// Time and figures are what the caller says they are. Not thread-safe.
class OverloadGuard {
public:
    using time_point = net::Clock::time_point;

    static constexpr std::chrono::milliseconds patience{100};
    static constexpr std::chrono::milliseconds alert{1000};
    /// Packets that may be read before the system's count of dropped packets is looked at again.
    static constexpr std::size_t packets_between_looks = 256;

    enum class Step : std::uint8_t { none, shed, resume };

    /// So many packets were read; `drained`: nothing waits any more. Whether it is time for look().
    [[nodiscard]] bool is_due(std::size_t packets, bool drained) noexcept
    {
        if (drained) {
            unlooked_ = 0;
            return shedding_ || behind_;
        }
        unlooked_ += packets;
        if (unlooked_ < packets_between_looks) {
            return false;
        }
        unlooked_ = 0;
        return true;
    }

    /// What to do, with `dropped` packets thrown away by the system in all so far.
    [[nodiscard]] Step look(time_point now, bool drained, std::uint64_t dropped) noexcept;
    /// What look() said was done; by now the system has thrown `dropped` packets away.
    void resumed(time_point now, std::uint64_t dropped) noexcept;
    /// The system cannot be told to throw packets away: there is nothing to be done.
    void give_up() noexcept { shedding_ = behind_ = false; }

private:
    std::size_t unlooked_ = 0;
    std::uint64_t dropped_ = 0;
    bool behind_ = false;  // packets were dropped since the buffer was drained
    bool shedding_ = false;
    time_point behind_since_;
    time_point alert_until_ = time_point::min();
};

}  // namespace vex::stream
