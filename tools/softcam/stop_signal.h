// Ends a program cleanly on interrupt or termination.
#pragma once

#include <chrono>

namespace softcam {

/// From construction on, SIGINT and SIGTERM (Ctrl-C, Ctrl-Break and closing the console under Windows) no longer kill
/// the process but end wait(). One object per process.
class StopSignal {
public:
    StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /// Returns within a tenth of a second after the signal.
    void wait() const;
    /// Returns true as soon as wait() would return, false after `time`.
    [[nodiscard]] bool wait_for(std::chrono::milliseconds time) const;
};

}  // namespace softcam
