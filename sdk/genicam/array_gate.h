// The way into a parameter array for threads that do not know how long it lives.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace vex::genicam {

/// Stands before the contents of a parameter array: before the parameters that it has at present. Whoever holds the
/// gate without owning the array enters before using the parameters, and leaves soon. Once closed, a gate stays closed;
/// parameters learned behind it are gone for whoever is not inside.
///
/// Whoever destroys or rebuilds the array waits for others who are inside, but not without end: one of them may be in
/// a call of the application, which waits for that thread. What they use is kept until they have left.
///
/// Thread safety: every member from any thread.
class ArrayGate {
public:
    enum class State { preparing, open, closed };

    explicit ArrayGate(State state = State::open) : state_(state) {}
    ArrayGate(const ArrayGate&) = delete;
    ArrayGate& operator=(const ArrayGate&) = delete;

    /// False when the gate is not open; true must be followed by leave() on the same thread. May be nested. Throws
    /// std::bad_alloc.
    [[nodiscard]] bool enter();
    void leave() noexcept;
    [[nodiscard]] bool is_open() const noexcept { return state() == State::open; }
    [[nodiscard]] State state() const noexcept;

    /// What was prepared is there.
    void open() noexcept;
    /// Lets nobody in any more, and waits until the other threads have left, at most for longest_wait. `next` is the
    /// gate of what the array has instead; null when the array goes. False when anybody is still inside, be it the
    /// calling thread.
    [[nodiscard]] bool close(std::shared_ptr<ArrayGate> next) noexcept;
    /// Of a closed gate: keeps what is behind it until the last has left. The first that is kept stays.
    void keep(std::shared_ptr<void> contents) noexcept;
    /// The gate of the contents that replace those behind this one, which are perhaps still being prepared; null while
    /// this one is not closed, and when the array goes.
    [[nodiscard]] std::shared_ptr<ArrayGate> next() const noexcept;

    static constexpr std::chrono::milliseconds longest_wait{5000};

private:
    struct Visitor {
        std::thread::id thread;
        int depth = 0;
    };
    [[nodiscard]] bool others_are_inside() const noexcept;

    mutable std::mutex mutex_;
    std::condition_variable left_;
    State state_;
    std::shared_ptr<ArrayGate> next_;
    std::vector<Visitor> inside_;
    std::shared_ptr<void> kept_;
};

/// A stay behind a gate, for the length of a block, on one thread.
class ArrayVisit {
public:
    /// Of a null gate: none.
    explicit ArrayVisit(std::shared_ptr<ArrayGate> gate)
        : gate_(gate != nullptr && gate->enter() ? std::move(gate) : nullptr)
    {}
    ArrayVisit(const ArrayVisit&) = delete;
    ArrayVisit& operator=(const ArrayVisit&) = delete;
    ~ArrayVisit()
    {
        if (gate_ != nullptr) {
            gate_->leave();
        }
    }

    /// The parameters are there, and stay until the visit ends.
    [[nodiscard]] explicit operator bool() const noexcept { return gate_ != nullptr; }
    /// The visitor may go on: nobody, not even this thread, has begun to take the parameters away. Otherwise they have
    /// no port any more, or soon will not, and nobody hears of their changes.
    [[nodiscard]] bool goes_on() const noexcept { return gate_ != nullptr && gate_->is_open(); }

private:
    std::shared_ptr<ArrayGate> gate_;
};

}  // namespace vex::genicam
