// The event sinks of one device and the rules for calling them.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/application_call.h"
#include "sdk/device/PvDeviceEventSink.h"

namespace vex::device {

/// Calls sinks in the order of their registration, without a lock of its own held, so that a notification may register,
/// unregister, and destroy the device.
///
/// Whoever notifies holds a shared owner of this object for the length of the call: nothing else of the device needs to
/// be alive when a notification returns.
///
/// Thread safety: all members may be called from any thread.
class EventSinks {
public:
    PvResult add(PvDeviceEventSink* sink);
    /// Afterwards no call of the sink begins. Waits for calls under way on other threads, up to `timeout`: a callback
    /// that itself waits for this thread must not hang the application for ever.
    PvResult remove(PvDeviceEventSink* sink, std::chrono::milliseconds timeout);
    /// The same for all sinks, for good.
    void close(std::chrono::milliseconds timeout);

    /// Cheap enough to ask before every access.
    [[nodiscard]] bool empty() const noexcept { return count_.load(std::memory_order_acquire) == 0; }

    /// Calls each sink with `call(PvDeviceEventSink&)`; what a sink throws is dropped.
    template <typename Call>
    void notify(Call call)
    {
        std::size_t position = 0;
        while (PvDeviceEventSink* sink = begin_call(position)) {
            const ApplicationCall under_way;
            try {
                call(*sink);
            } catch (...) {
                // an application's exception must not end a thread of the device
            }
            end_call(sink);
        }
    }

private:
    /// The sink to call next, entered as being called; null after the last. `position` is the serial number of
    /// registration to go on from.
    PvDeviceEventSink* begin_call(std::size_t& position);
    void end_call(PvDeviceEventSink* sink);
    void wait_for_calls(std::unique_lock<std::mutex>& lock, PvDeviceEventSink* sink, std::chrono::milliseconds timeout);

    struct Registered {
        PvDeviceEventSink* sink;
        std::size_t serial;
    };

    std::mutex mutex_;
    std::condition_variable call_ended_;
    std::vector<Registered> sinks_;
    std::vector<std::pair<PvDeviceEventSink*, std::thread::id>> calls_;
    std::size_t next_serial_ = 1;
    bool closed_ = false;
    std::atomic<std::size_t> count_{0};
};

}  // namespace vex::device
