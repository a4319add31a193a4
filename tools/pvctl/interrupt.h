// Ctrl+C as the end of a wait.
#pragma once

#include <chrono>

namespace pvctl {

/// From construction on, SIGINT and SIGTERM end a wait instead of the program. Made before other threads are, which
/// must not take the signals; one object per process.
class Interrupt {
public:
    Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// Waits; early when wake() was called since the last wait. True once the user wants the program to end.
    [[nodiscard]] bool wait(std::chrono::milliseconds time);
    /// From any thread.
    void wake() const;

private:
    bool ended_ = false;
};

}  // namespace pvctl
