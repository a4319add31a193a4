#include "sdk/control/worker.h"

#include <algorithm>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/base/thread_name.h"

namespace vex::control {

namespace {

constexpr std::chrono::milliseconds destruction_timeout{5000};
/// For a call of the application. Most end at once, and what they use may go when the wait is over; one that waits for
/// whoever waits here must not hold up both.
constexpr std::chrono::milliseconds call_timeout{250};

}  // namespace

struct Worker::State final : ApplicationCall::Watcher {
    void call_begins() noexcept override { set(calling, true); }
    void call_ended() noexcept override { set(calling, false); }
    void set(bool& flag, bool value) noexcept
    {
        const std::scoped_lock lock(mutex);
        flag = value;
        changed.notify_all();
    }

    /// Until the end, or until the time is up: a shorter one while the application is being called.
    void wait_for_end(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds timeout)
    {
        const auto begin = std::chrono::steady_clock::now();
        while (!done) {
            const auto limit = begin + (calling ? std::min(timeout, call_timeout) : timeout);
            if (std::chrono::steady_clock::now() >= limit) {
                return;
            }
            changed.wait_until(lock, limit);
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool stop = false;
    bool awake = false;
    bool calling = false;  ///< the application
    bool done = false;
};

bool Worker::Signals::pause(std::chrono::milliseconds time)
{
    std::unique_lock lock(state_.mutex);
    state_.changed.wait_for(lock, time, [this] { return state_.stop || state_.awake; });
    state_.awake = false;
    return !state_.stop;
}

Worker::Worker(const char* name, std::function<void(Signals&)> work) : state_(std::make_shared<State>())
{
    thread_ = std::thread([name, state = state_, work = std::move(work)] {
        name_this_thread(name);
        ApplicationCall::watch(state.get());
        Signals signals(*state);
        work(signals);
        ApplicationCall::watch(nullptr);
        ApplicationCall::operation_ends();
        state->set(state->done, true);
    });
}

Worker::~Worker() { stop(destruction_timeout); }

void Worker::wake() { state_->set(state_->awake, true); }

void Worker::stop(std::chrono::milliseconds timeout) noexcept
{
    if (!thread_.joinable()) {
        return;
    }
    {
        std::unique_lock lock(state_->mutex);
        state_->stop = true;
        state_->changed.notify_all();
        if (thread_.get_id() != std::this_thread::get_id()) {
            state_->wait_for_end(lock, timeout);
        }
        if (!state_->done) {
            thread_.detach();
            return;
        }
    }
    thread_.join();
}

}  // namespace vex::control
