// The heartbeat: keeps the privilege alive and notices when the device or the privilege is gone.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "sdk/control/connection.h"
#include "sdk/control/worker.h"
#include "sdk/net/clock.h"

namespace vex::control {

/// One beat at a time: reads the control channel privilege and judges the answer. No thread of its own.
///
/// Thread safety: one thread at a time.
class HeartbeatMonitor {
public:
    /// `has_control`: this side holds a privilege whose loss is to be noticed. `holder`: what the device said of its
    /// controller when this side became it, where it does. `hands_over`: this side allows others to take control; a
    /// device that does not tell its controller shows at least that the permission has gone. The channel and the clock
    /// must outlive the monitor.
    HeartbeatMonitor(ControlChannel& channel, bool has_control, std::optional<PrivilegeHolder> holder,
                     const net::Clock& clock, bool hands_over = false);

    /// Asks the device. Empty while all is well; else why the connection is lost. A device is given up when nothing at
    /// all has been heard from it for `silence`, at most 10 s, and several beats: after a pause of this process, in a
    /// debugger say, one lost datagram must not count as a long silence.
    [[nodiscard]] std::optional<std::string> beat(std::chrono::milliseconds silence, RetryPolicy policy);

    /// The last beat was not answered: the next one should come soon.
    [[nodiscard]] bool is_unanswered() const noexcept { return unanswered_; }

private:
    [[nodiscard]] std::optional<std::string> judge(std::uint32_t privilege, const PrivilegeHolder& holder) const;

    ControlChannel& channel_;
    const net::Clock& clock_;
    bool has_control_;
    bool hands_over_;
    std::optional<PrivilegeHolder> holder_;
    bool unanswered_ = false;
    int missed_in_a_row_ = 0;
    net::Clock::time_point begin_;
};

/// The time between beats for a device that forgets its controller after `timeout`: what the user has chosen, where
/// that is not 0, but never more than a third of the timeout.
[[nodiscard]] std::chrono::milliseconds heartbeat_interval(std::chrono::milliseconds timeout,
                                                           std::chrono::milliseconds chosen = {}) noexcept;

/// What the heartbeat is told while it runs. All members may be used from any thread.
struct HeartbeatSettings {
    std::atomic<std::uint32_t> timeout_ms{3000};  ///< the device's
    std::atomic<std::uint32_t> interval_ms{0};    ///< 0: from the timeout
    std::atomic<std::uint64_t> beats{0};
    std::atomic<std::uint64_t> missed{0};
};

/// The thread that beats. It keeps what it uses alive by itself, so that its owner may be destroyed from within
/// `on_lost`.
class Heartbeat {
public:
    /// `on_lost` is called once, on the heartbeat's thread, when the connection is lost; the thread touches nothing of
    /// its owner afterwards. `before_beat` is called on it before each beat.
    Heartbeat(std::shared_ptr<Connection> connection, std::shared_ptr<HeartbeatSettings> settings,
              std::function<void(std::string reason)> on_lost, std::function<void()> before_beat = {});

    /// Beats at once instead of when the interval is over.
    void check_now() { worker_.wake(); }
    /// As Worker::stop; destruction stops, too.
    void stop(std::chrono::milliseconds timeout) noexcept { worker_.stop(timeout); }

private:
    static void run(Worker::Signals& signals, Connection& connection, HeartbeatSettings& settings,
                    const std::function<void(std::string)>& on_lost, const std::function<void()>& before_beat);

    Worker worker_;
};

}  // namespace vex::control
