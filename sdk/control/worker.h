// A thread of a device that is never waited for without end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace vex::control {

/// Runs work on a thread of its own. The work keeps what it uses alive by itself, so that its owner may be destroyed
/// from within it, or while it is inside a call of the application.
///
/// Thread safety: wake() from any thread; the rest from one at a time, which may be the worker's own.
class Worker {
    struct State;

public:
    /// What the work sees of its worker.
    class Signals {
    public:
        /// Waits for `time`, or until woken. False when the worker is asked to end.
        [[nodiscard]] bool pause(std::chrono::milliseconds time);

    private:
        friend class Worker;
        explicit Signals(State& state) noexcept : state_(state) {}
        State& state_;
    };

    /// `name` is the thread's, for debuggers: at most 15 characters, valid as long as the process.
    Worker(const char* name, std::function<void(Signals&)> work);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    /// Stops; see stop().
    ~Worker();

    /// Ends the pause that the work is in, or else its next one.
    void wake();
    /// Asks the thread to end and waits until it has ended, at most for `timeout`, and for a quarter of a second while
    /// it is inside a call of the application, which may be waiting for the caller. A thread that has not ended is left
    /// to itself. On the worker's own thread it only asks.
    void stop(std::chrono::milliseconds timeout) noexcept;

private:
    std::shared_ptr<State> state_;
    std::thread thread_;
};

}  // namespace vex::control
