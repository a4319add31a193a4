// The thread on which a device calls its application.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include "sdk/control/worker.h"

namespace vex::device {

/// Runs tasks one after the other on one thread, which the first task starts. A task may destroy what this belongs to:
/// the thread keeps what it needs, and each task what it uses.
///
/// Thread safety: all members may be called from any thread, except destruction.
class DeviceThread {
public:
    DeviceThread();
    DeviceThread(const DeviceThread&) = delete;
    DeviceThread& operator=(const DeviceThread&) = delete;
    ~DeviceThread();

    using Task = std::function<void()>;
    /// The task runs after those posted before it; not at all once stop() was called. What it throws is dropped. Throws
    /// bad_alloc and system_error.
    void post(Task task);

    /// The calling thread is this one.
    [[nodiscard]] bool is_current() const noexcept;
    /// From within a task: waits for `time`, or until something is posted or wake() is called. False when the thread is
    /// to end.
    [[nodiscard]] bool pause(std::chrono::milliseconds time);
    /// Ends the pause that a task is in, or else its next one.
    void wake();
    /// No task begins any more. Waits for the one under way as Worker::stop does.
    void stop(std::chrono::milliseconds timeout) noexcept;

private:
    struct State;
    static void run(State& state, control::Worker::Signals& signals);

    std::shared_ptr<State> state_;
    std::mutex worker_mutex_;
    std::unique_ptr<control::Worker> worker_;
};

}  // namespace vex::device
