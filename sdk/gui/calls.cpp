#include "sdk/gui/calls.h"

#include <utility>

namespace vex::gui {

bool Calls::post(std::function<void()> call)
{
    const std::lock_guard lock(mutex_);
    if (window_ == nullptr) {
        return false;
    }
    waiting_.push_back(std::move(call));
    if (waiting_.size() == 1 && !PostMessageW(window_, message, 0, 0)) {
        waiting_.clear();  // the queue is full, or the window is going
        return false;
    }
    return true;
}

void Calls::begin(HWND window)
{
    const std::lock_guard lock(mutex_);
    window_ = window;
}

void Calls::end() noexcept
{
    std::vector<std::function<void()>> dropped;  // whose destruction may do anything
    const std::lock_guard lock(mutex_);
    window_ = nullptr;
    dropped.swap(waiting_);
}

void Calls::run()
{
    std::vector<std::function<void()>> now;
    HWND window = nullptr;
    {
        const std::lock_guard lock(mutex_);
        now.swap(waiting_);
        window = window_;
    }
    for (const auto& call : now) {
        call();
        const std::lock_guard lock(mutex_);
        if (window_ != window) {
            return;
        }
    }
}

}  // namespace vex::gui
