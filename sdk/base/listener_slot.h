// A place for one listener that is told of something often, costs nothing while it is empty, and may be changed at any
// time.
#pragma once

#include <functional>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace vex {

/// Whether anybody listens is asked elsewhere, by an atomic that is set before and cleared after; the slot itself only
/// makes sure that a listener that was taken away is called no more.
///
/// What a listener causes on its own thread is not told, so that it does not call itself.
///
/// Thread safety: all members may be called from any thread, set() not by a listener.
template <typename... Arguments>
class ListenerSlot {
public:
    using Listener = std::function<void(const Arguments&...)>;

    /// Returns when no call of the former listener is under way. An empty one takes it away.
    void set(Listener listener)
    {
        const std::unique_lock lock(mutex_);
        listener_.swap(listener);
    }

    /// Calls `with_listener(listener)` when there is one. Nothing is thrown: what cannot be told is left out.
    template <typename Tell>
    void tell(const Tell& with_listener) noexcept
    {
        if (is_inside_) {
            return;
        }
        try {
            const std::shared_lock lock(mutex_);
            if (listener_) {
                const Inside inside;
                with_listener(listener_);
            }
        } catch (...) {  // NOLINT(bugprone-empty-catch): who is observed must not fail by it
        }
    }

private:
    struct Inside {
        Inside() noexcept { is_inside_ = true; }
        ~Inside() { is_inside_ = false; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
    };

    inline static thread_local bool is_inside_ = false;
    std::shared_mutex mutex_;
    Listener listener_;
};

}  // namespace vex
