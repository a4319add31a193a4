// The thread that keeps a device from forgetting its host.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace vex::genicp {

/// Calls `beat` on a thread of its own, at once and then each `interval`, until that answers false or stop() is called.
class Heartbeat {
public:
    Heartbeat(std::chrono::milliseconds interval, std::function<bool()> beat);
    Heartbeat(const Heartbeat&) = delete;
    Heartbeat& operator=(const Heartbeat&) = delete;
    /// Stops, and waits for a beat under way.
    ~Heartbeat();

    /// No beat begins any more. Waits for none.
    void stop() noexcept;

private:
    void run(const std::function<bool()>& beat, std::chrono::milliseconds interval);

    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stop_ = false;
    std::thread thread_;
};

/// The time between beats for a device that forgets its host after `timeout`.
[[nodiscard]] std::chrono::milliseconds interval_for(std::chrono::milliseconds timeout) noexcept;

}  // namespace vex::genicp
