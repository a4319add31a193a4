#include "sdk/transmitterraw/resend_queue.h"

#include <algorithm>
#include <system_error>

#include "sdk/base/thread_name.h"

namespace vex::transmitter {

ResendQueue::~ResendQueue()
{
    clear();
    {
        const std::lock_guard guard(mutex_);
        quit_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

// Called with the lock held.
bool ResendQueue::joins_waiting(const Request& request)
{
    for (Waiting& waiting : waiting_) {
        Request& other = waiting.request;
        const bool touches = other.block_id == request.block_id &&
                             request.first_packet <= std::uint64_t{other.last_packet} + 1 &&
                             other.first_packet <= std::uint64_t{request.last_packet} + 1;
        if (touches) {
            other.first_packet = std::min(other.first_packet, request.first_packet);
            other.last_packet = std::max(other.last_packet, request.last_packet);
            return true;
        }
    }
    return false;
}

bool ResendQueue::push(const Request& request, bool extended_status)
{
    const std::lock_guard guard(mutex_);
    if (joins_waiting(request)) {
        return true;
    }
    try {
        if (waiting_.size() < most_waiting) {
            if (!thread_.joinable()) {
                thread_ = std::thread([this] { run(); });
            }
            waiting_.push_back({request, extended_status});
            changed_.notify_all();
            return true;
        }
    } catch (const std::system_error&) {
        // no thread: a request that is not served is as good as lost on the way, and comes again
    }
    ++dropped_;
    return false;
}

void ResendQueue::clear()
{
    std::unique_lock lock(mutex_);
    waiting_.clear();
    cancelled_ = true;
    changed_.wait(lock, [this] { return !serving_; });
    cancelled_ = false;
}

std::uint64_t ResendQueue::dropped() const
{
    const std::lock_guard guard(mutex_);
    return dropped_;
}

void ResendQueue::run()
{
    name_this_thread("pv-resend");
    std::unique_lock lock(mutex_);
    while (!quit_) {
        if (waiting_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const Waiting next = waiting_.front();
        waiting_.pop_front();
        serving_ = true;
        lock.unlock();
        serve_(next.request, next.extended_status, cancelled_);
        lock.lock();
        serving_ = false;
        changed_.notify_all();
    }
}

}  // namespace vex::transmitter
