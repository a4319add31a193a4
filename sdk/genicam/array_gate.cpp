#include "sdk/genicam/array_gate.h"

#include <algorithm>

namespace vex::genicam {

bool ArrayGate::enter()
{
    const std::lock_guard lock(mutex_);
    if (state_ != State::open) {
        return false;
    }
    const std::thread::id thread = std::this_thread::get_id();
    const auto found = std::find_if(inside_.begin(), inside_.end(),
                                    [thread](const Visitor& visitor) { return visitor.thread == thread; });
    if (found != inside_.end()) {
        ++found->depth;
    } else {
        inside_.push_back({.thread = thread, .depth = 1});
    }
    return true;
}

void ArrayGate::leave() noexcept
{
    std::shared_ptr<void> last;  // whose destruction may take its time, goes after the lock
    const std::lock_guard lock(mutex_);
    const std::thread::id thread = std::this_thread::get_id();
    const auto found = std::find_if(inside_.begin(), inside_.end(),
                                    [thread](const Visitor& visitor) { return visitor.thread == thread; });
    if (found == inside_.end() || --found->depth != 0) {
        return;
    }
    inside_.erase(found);
    if (inside_.empty()) {
        last.swap(kept_);
    }
    left_.notify_all();
}

ArrayGate::State ArrayGate::state() const noexcept
{
    const std::lock_guard lock(mutex_);
    return state_;
}

void ArrayGate::open() noexcept
{
    const std::lock_guard lock(mutex_);
    state_ = State::open;
}

bool ArrayGate::others_are_inside() const noexcept
{
    const std::thread::id thread = std::this_thread::get_id();
    return std::any_of(inside_.begin(), inside_.end(),
                       [thread](const Visitor& visitor) { return visitor.thread != thread; });
}

bool ArrayGate::close(std::shared_ptr<ArrayGate> next) noexcept
{
    std::unique_lock lock(mutex_);
    if (state_ != State::closed) {
        state_ = State::closed;
        next_ = std::move(next);
    }
    if (kept_ == nullptr) {
        left_.wait_for(lock, longest_wait, [this] { return !others_are_inside(); });
    }
    return inside_.empty();
}

void ArrayGate::keep(std::shared_ptr<void> contents) noexcept
{
    const std::lock_guard lock(mutex_);
    if (!inside_.empty() && kept_ == nullptr) {
        kept_ = std::move(contents);
    }
}

std::shared_ptr<ArrayGate> ArrayGate::next() const noexcept
{
    const std::lock_guard lock(mutex_);
    return next_;
}

}  // namespace vex::genicam
