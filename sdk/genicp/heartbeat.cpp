#include "sdk/genicp/heartbeat.h"

#include <algorithm>
#include <utility>

#include "sdk/base/thread_name.h"

namespace vex::genicp {

using std::chrono::milliseconds;

Heartbeat::Heartbeat(milliseconds interval, std::function<bool()> beat)
    : thread_([this, interval, work = std::move(beat)] { run(work, interval); })
{}

Heartbeat::~Heartbeat()
{
    stop();
    thread_.join();
}

void Heartbeat::stop() noexcept
{
    {
        const std::scoped_lock lock(mutex_);
        stop_ = true;
    }
    stopped_.notify_all();
}

void Heartbeat::run(const std::function<bool()>& beat, milliseconds interval)
{
    name_this_thread("VexGenCP");
    std::unique_lock lock(mutex_);
    while (!stop_) {
        lock.unlock();
        const bool goes_on = beat();
        lock.lock();
        if (!goes_on) {
            return;
        }
        stopped_.wait_for(lock, interval, [this] { return stop_; });
    }
}

milliseconds interval_for(milliseconds timeout) noexcept
{
    constexpr milliseconds shortest{50};
    constexpr milliseconds longest{10'000};
    return std::clamp(timeout / 3, shortest, longest);
}

}  // namespace vex::genicp
