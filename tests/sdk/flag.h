// One thread of a test tells others that it has come that far. Not a std::atomic, whose wait may not end under Wine.
#pragma once

#include <condition_variable>
#include <mutex>

namespace sdk_test {

class Flag {
public:
    void raise()
    {
        {
            const std::lock_guard lock(mutex_);
            is_up_ = true;
        }
        raised_.notify_all();
    }
    /// Waits, without a limit of its own.
    void await()
    {
        std::unique_lock lock(mutex_);
        raised_.wait(lock, [this] { return is_up_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable raised_;
    bool is_up_ = false;
};

}  // namespace sdk_test
