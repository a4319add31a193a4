#include "sdk/device/event_sinks.h"

#include <algorithm>

#include "sdk/base/failure.h"

namespace vex::device {

PvResult EventSinks::add(PvDeviceEventSink* sink)
{
    if (sink == nullptr) {
        return failure(PvResult::InvalidParameter, "The event sink is null");
    }
    const std::scoped_lock lock(mutex_);
    if (std::any_of(sinks_.begin(), sinks_.end(), [&](const Registered& known) { return known.sink == sink; })) {
        return failure(PvResult::StateError, "The event sink is registered already");
    }
    if (!closed_) {
        sinks_.push_back({sink, next_serial_++});
    }
    count_.store(sinks_.size(), std::memory_order_release);
    return PvResult::OK;
}

PvResult EventSinks::remove(PvDeviceEventSink* sink, std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    const auto erased = std::erase_if(sinks_, [&](const Registered& known) { return known.sink == sink; });
    count_.store(sinks_.size(), std::memory_order_release);
    if (erased == 0) {
        return failure(PvResult::NotFound, "The event sink is not registered");
    }
    wait_for_calls(lock, sink, timeout);
    return PvResult::OK;
}

void EventSinks::close(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    closed_ = true;
    sinks_.clear();
    count_.store(0, std::memory_order_release);
    wait_for_calls(lock, nullptr, timeout);
}

void EventSinks::wait_for_calls(std::unique_lock<std::mutex>& lock, PvDeviceEventSink* sink,
                                std::chrono::milliseconds timeout)
{
    const auto elsewhere = [&](const auto& call) {
        return (sink == nullptr || call.first == sink) && call.second != std::this_thread::get_id();
    };
    call_ended_.wait_for(lock, timeout, [&] { return std::none_of(calls_.begin(), calls_.end(), elsewhere); });
}

PvDeviceEventSink* EventSinks::begin_call(std::size_t& position)
{
    const std::scoped_lock lock(mutex_);
    const auto next =
        std::find_if(sinks_.begin(), sinks_.end(), [&](const Registered& known) { return known.serial >= position; });
    if (next == sinks_.end()) {
        return nullptr;
    }
    position = next->serial + 1;
    calls_.emplace_back(next->sink, std::this_thread::get_id());
    return next->sink;
}

void EventSinks::end_call(PvDeviceEventSink* sink)
{
    const std::scoped_lock lock(mutex_);
    const auto call = std::find(calls_.begin(), calls_.end(), std::pair(sink, std::this_thread::get_id()));
    calls_.erase(call);
    call_ended_.notify_all();
}

}  // namespace vex::device
