// A mutex that everybody gets in turn.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace vex::control {

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
        let_one_pass();
        waiting_.fetch_add(1);
        mutex_.lock();
        // in this order: who reads the old number of turns, and then that somebody waits, sees the number change
        waiting_.fetch_sub(1);
        turns_.fetch_add(1);
        turns_.notify_all();
    }
    void unlock() { mutex_.unlock(); }

    /// Some thread waits for it.
    [[nodiscard]] bool is_awaited() const noexcept { return waiting_.load() > 0; }

private:
    void let_one_pass() noexcept
    {
        const std::uint32_t turn = turns_.load();
        if (is_awaited()) {
            turns_.wait(turn);
        }
    }

    std::mutex mutex_;
    std::atomic<std::uint32_t> waiting_{0};
    std::atomic<std::uint32_t> turns_{0};  ///< of those who had to wait
};

}  // namespace vex::control
