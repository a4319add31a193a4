// Ends a program cleanly on interrupt or termination.
#pragma once

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
};

}  // namespace softcam
