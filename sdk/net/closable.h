// Something of the system that is closed while other threads are inside its calls.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace vex::net {

/// Holds a System, whose wake() ends the calls that wait in it, and those that come later, from any thread.
///
/// Thread safety: all members may be called from any thread.
template <class System>
class Closable {
public:
    explicit Closable(std::unique_ptr<System> system) noexcept : system_(std::move(system)) {}
    Closable(const Closable&) = delete;
    Closable& operator=(const Closable&) = delete;
    ~Closable() { close(); }

    /// Ends calls under way, waits until they have ended, and destroys the system's part. Once more does nothing.
    void close() noexcept
    {
        std::unique_ptr<System> closed;
        std::unique_lock lock(mutex_);
        closing_ = true;
        if (system_ != nullptr) {
            system_->wake();
        }
        unused_.wait(lock, [this] { return users_ == 0; });
        closed = std::move(system_);
        lock.unlock();
    }

    /// Keeps it open for the length of a call; false once it is closed.
    class Use {
    public:
        explicit Use(Closable& closable) noexcept : closable_(closable)
        {
            const std::lock_guard lock(closable_.mutex_);
            if (!closable_.closing_) {
                ++closable_.users_;
                system_ = closable_.system_.get();
            }
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use()
        {
            if (system_ != nullptr) {
                const std::lock_guard lock(closable_.mutex_);
                --closable_.users_;
                closable_.unused_.notify_all();
            }
        }

        explicit operator bool() const noexcept { return system_ != nullptr; }
        System* operator->() const noexcept { return system_; }

    private:
        Closable& closable_;
        System* system_ = nullptr;
    };

private:
    std::mutex mutex_;
    std::condition_variable unused_;
    int users_ = 0;
    bool closing_ = false;
    std::unique_ptr<System> system_;
};

}  // namespace vex::net
