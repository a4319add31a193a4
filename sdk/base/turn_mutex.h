// A mutex that everybody gets in turn.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace vex {

/// A plain mutex is free again before a thread that waits for it has awoken, and so whoever locks it all the time can
/// keep the others out for as long as they like. Here a thread that comes while others wait lets one of them have it
/// first.
///
/// Locked by whoever finds it free it costs as much as a plain one.
class TurnMutex {
public:
    void lock()
    {
        if (!is_awaited() && mutex_.try_lock()) {
            return;
        }
        {
            std::unique_lock turns(turns_mutex_);
            if (is_awaited()) {
                had_turn_.wait(turns, [this, turn = turns_] { return turns_ != turn; });
            }
            ++waiting_;
        }
        mutex_.lock();
        {
            const std::scoped_lock turns(turns_mutex_);
            --waiting_;
            ++turns_;
        }
        had_turn_.notify_all();
    }
    void unlock() { mutex_.unlock(); }

    /// Some thread waits for it.
    [[nodiscard]] bool is_awaited() const noexcept { return waiting_.load() > 0; }

private:
    std::mutex mutex_;
    std::atomic<int> waiting_{0};  ///< changed under turns_mutex_ only
    std::mutex turns_mutex_;       ///< taken after mutex_ or alone
    std::condition_variable had_turn_;
    std::uint64_t turns_ = 0;  ///< of those who had to wait
};

}  // namespace vex
