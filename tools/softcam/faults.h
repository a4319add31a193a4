// Faults on request: what networks and devices do to control messages when things go wrong, from a seed.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <limits>
#include <list>
#include <mutex>
#include <random>
#include <vector>

#include "sdk/virtualdevice/gvcp_responder.h"

namespace softcam {

/// How often what goes wrong. All rates are of 1000, each drawn by itself; a rate of 0 costs nothing.
struct ControlFaults {
    std::uint64_t seed = 1;

    // of the commands
    unsigned lost_commands = 0;  ///< never reach the device
    unsigned refused = 0;  ///< register and memory commands that the device answers with `refusal` and does not do
    vex::virtual_device::Status refusal = vex::virtual_device::Status::access_denied;
    unsigned pending = 0;  ///< take `pending_time`; the device announces it where PENDING_ACK is enabled, and does
                           ///< nothing else meanwhile
    std::chrono::milliseconds pending_time{200};

    // of the acknowledges; what they answer was done
    unsigned lost = 0;
    unsigned late = 0;       ///< by up to `late_by`
    unsigned doubled = 0;    ///< come twice
    unsigned reordered = 0;  ///< come after the next one, or `late_by` late when there is none
    unsigned truncated = 0;
    unsigned wrong = 0;  ///< carry another request's ID or answer another command
    std::chrono::milliseconds late_by{50};

    [[nodiscard]] bool any() const noexcept
    {
        return (lost_commands | refused | pending | lost | late | doubled | reordered | truncated | wrong) != 0;
    }
};

/// How often it was done, and what got lost in silence.
struct FaultStatistics {
    std::uint64_t lost_commands = 0;
    std::uint64_t refused = 0;
    std::uint64_t pending = 0;
    std::uint64_t lost = 0;
    std::uint64_t late = 0;
    std::uint64_t doubled = 0;
    std::uint64_t reordered = 0;
    std::uint64_t truncated = 0;
    std::uint64_t wrong = 0;
    std::uint64_t unheard = 0;  ///< commands that came while the device was silent
};

/// Stands between a device's sockets and its protocol machine and does the faults. The same commands and the same seed
/// give the same faults.
///
/// Silence is that of a pulled cable: nothing comes in, nothing goes out, and the device goes on by itself, so that its
/// heartbeat runs out.
///
/// Thread safety: handle() and tick() from one thread, the rest from any.
class FaultyLink final : public vex::virtual_device::DatagramHandler {
public:
    /// The references must outlive the link.
    FaultyLink(vex::virtual_device::GvcpResponder& responder, const vex::net::Clock& clock)
        : responder_(responder), clock_(clock)
    {}

    /// From the next datagram on; the draws begin anew.
    void set_faults(const ControlFaults& faults);
    /// Until told otherwise.
    void set_silent(bool silent);
    /// From now on for `time` of the clock.
    void be_silent_for(vex::net::Clock::duration time);
    [[nodiscard]] bool is_silent() const noexcept;
    [[nodiscard]] FaultStatistics statistics() const;

    /// Drops what is under way, as switching off does. Not beside handle() and tick().
    void forget();

    void handle(std::span<const std::uint8_t> datagram, const vex::Endpoint& source,
                const vex::virtual_device::Send& send) override;
    vex::net::Clock::duration tick(const vex::virtual_device::Send& send) override;

private:
    using Bytes = std::vector<std::uint8_t>;
    static constexpr vex::net::Clock::duration::rep not_silent =
        std::numeric_limits<vex::net::Clock::duration::rep>::min();
    using View = std::span<const std::uint8_t>;
    struct Command {
        Bytes datagram;
        vex::Endpoint source;
    };
    struct Acknowledge {
        Bytes datagram;
        vex::Endpoint destination;
        vex::net::Clock::time_point due;
        bool until_next = false;  // or when another one is sent
    };

    [[nodiscard]] bool drawn(unsigned per_mille, std::uint64_t FaultStatistics::*count);
    void take(View datagram, const vex::Endpoint& source, const vex::virtual_device::Send& send);
    [[nodiscard]] bool refuses(const vex::wire::gvcp::CommandView& command) const;
    [[nodiscard]] bool announces() const;
    void execute(View datagram, const vex::Endpoint& source, const vex::virtual_device::Send& send);
    void acknowledge(View datagram, const vex::Endpoint& destination, const vex::virtual_device::Send& send);
    void spoil(Bytes& datagram);
    void send_now(View datagram, const vex::Endpoint& destination, const vex::virtual_device::Send& send);
    void send_due(const vex::virtual_device::Send& send);

    vex::virtual_device::GvcpResponder& responder_;
    const vex::net::Clock& clock_;
    std::atomic<bool> silent_{false};
    std::atomic<vex::net::Clock::duration::rep> silent_until_{not_silent};  // ticks since the clock's epoch

    mutable std::mutex mutex_;  // guards what follows
    ControlFaults faults_;
    std::mt19937_64 random_;
    FaultStatistics statistics_;
    // the server thread's own
    std::deque<Command> waiting_;  // while a command takes its time; that one is the first
    vex::net::Clock::time_point busy_until_{};
    std::list<Acknowledge> delayed_;
};

}  // namespace softcam
