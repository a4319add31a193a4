// How long a device waits for its controller: what the application wants, or more while a debugger holds the process.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "sdk/control/connection.h"
#include "sdk/control/control_outcome.h"
#include "sdk/control/heartbeat.h"

namespace vex::device {

/// The heartbeat timeout register of the device that is attached, and what stands there when it is detached again.
///
/// Thread safety: all members may be called from any thread.
class HeartbeatTimeout {
public:
    /// `heartbeat` is told the timeout to beat for, which a debugger does not change.
    explicit HeartbeatTimeout(std::shared_ptr<control::HeartbeatSettings> heartbeat) noexcept
        : heartbeat_(std::move(heartbeat))
    {}

    /// What the device is told while the process is debugged.
    static constexpr std::uint32_t debugged_ms = 600'000;

    /// From now on this connection counts. A device that kept control has what was written to it before.
    void attach(const control::Connection& connection);
    /// Asks the device for `wanted_ms`; a device may clamp it. While it is raised for a debugger the device gets it
    /// when the debugger has gone.
    control::ControlOutcome set(control::Connection& connection, std::uint32_t wanted_ms);
    /// Raises the timeout for a debugger, or puts back what it was before. A device that does not take it is asked
    /// again the next time.
    void hold(control::Connection& connection, bool debugged);
    /// Puts back in the device what it had of its own. `connection` is null when nothing can be written.
    void detach(control::Connection* connection) noexcept;

private:
    void remember_own(control::Connection& connection);
    /// What counts is what the device does.
    control::ControlOutcome read_back(control::Connection& connection);

    const std::shared_ptr<control::HeartbeatSettings> heartbeat_;
    std::mutex mutex_;  ///< held through accesses to the device
    bool attached_ = false;
    bool raised_ = false;
    std::uint32_t own_ms_ = 0;  ///< the device's own, when it has another now; 0: it has that
};

}  // namespace vex::device
