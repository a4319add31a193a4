// Calls into the application: what must stay alive until they, and whoever makes them, have returned.
#pragma once

#include <atomic>
#include <memory>

namespace vex {

/// Stands around each call of a callback of the application, on the thread that makes it.
///
/// A callback may destroy the object whose operation it was called from, or what that object belongs to. An operation
/// on which such calls are made is not finished when they return. So what is destroyed within a call is kept until the
/// thread has left the outermost call, and the operation that made it says that it ends.
///
/// Thread safety: any thread; everything here concerns the calling thread only.
class ApplicationCall {
public:
    /// Told when the calling thread enters its outermost call, and when it has left that.
    class Watcher {
    public:
        virtual void call_begins() noexcept = 0;
        virtual void call_ended() noexcept = 0;

    protected:
        ~Watcher() = default;
    };

    ApplicationCall() noexcept;
    ApplicationCall(const ApplicationCall&) = delete;
    ApplicationCall& operator=(const ApplicationCall&) = delete;
    ~ApplicationCall();

    /// The calling thread is inside a call.
    [[nodiscard]] static bool is_under_way() noexcept;
    /// The watcher of the calling thread; null for none.
    static void watch(Watcher* watcher) noexcept;

    /// Keeps an object as long as a call on this thread and the operation around it need it. Outside of calls, or when
    /// memory runs out, it is let go at once.
    static void keep(std::shared_ptr<void> object) noexcept;

    /// The last that an operation does which may have called the application. Nothing that the application can destroy
    /// may be used afterwards. Costs next to nothing while nothing is kept anywhere.
    static void operation_ends() noexcept
    {
        if (kept_.load(std::memory_order_relaxed) != 0) {
            let_go();
        }
    }

private:
    static void let_go() noexcept;

    static inline std::atomic<int> kept_{0};  ///< by all threads
};

}  // namespace vex
