#include "sdk/device/device_thread.h"

#include <atomic>
#include <deque>
#include <optional>
#include <thread>
#include <utility>

#include "sdk/base/application_call.h"

namespace vex::device {

namespace {

/// Between two looks at an empty list; a task that comes ends the wait.
constexpr std::chrono::hours idle_time{1};
constexpr std::chrono::milliseconds destruction_timeout{5000};

}  // namespace

struct DeviceThread::State {
    std::optional<Task> next()
    {
        const std::scoped_lock lock(mutex);
        if (ended || tasks.empty()) {
            return std::nullopt;
        }
        std::optional<Task> task(std::move(tasks.front()));
        tasks.pop_front();
        return task;
    }

    std::mutex mutex;
    std::deque<Task> tasks;
    bool ended = false;
    control::Worker::Signals* signals = nullptr;  ///< of the thread, which alone uses it
    std::atomic<std::thread::id> thread;
};

DeviceThread::DeviceThread() : state_(std::make_shared<State>()) {}

DeviceThread::~DeviceThread() { stop(destruction_timeout); }

void DeviceThread::run(State& state, control::Worker::Signals& signals)
{
    state.signals = &signals;
    state.thread = std::this_thread::get_id();
    do {
        while (auto task = state.next()) {
            try {
                (*task)();
            } catch (...) {
                // memory is short; the next task may do with less
            }
            task.reset();
            ApplicationCall::operation_ends();
        }
    } while (signals.pause(idle_time));
}

void DeviceThread::post(Task task)
{
    const std::scoped_lock worker_lock(worker_mutex_);
    {
        const std::scoped_lock lock(state_->mutex);
        if (state_->ended) {
            return;
        }
        state_->tasks.push_back(std::move(task));
    }
    if (!worker_) {
        worker_ = std::make_unique<control::Worker>(
            "pv-device", [state = state_](control::Worker::Signals& signals) { run(*state, signals); });
    } else {
        worker_->wake();
    }
}

bool DeviceThread::is_current() const noexcept { return state_->thread == std::this_thread::get_id(); }

bool DeviceThread::pause(std::chrono::milliseconds time) { return state_->signals->pause(time); }

void DeviceThread::wake()
{
    const std::scoped_lock lock(worker_mutex_);
    if (worker_) {
        worker_->wake();
    }
}

void DeviceThread::stop(std::chrono::milliseconds timeout) noexcept
{
    std::deque<Task> dropped;  // what they hold goes after the lock
    std::unique_ptr<control::Worker> ended;
    {
        const std::scoped_lock worker_lock(worker_mutex_);
        const std::scoped_lock lock(state_->mutex);
        state_->ended = true;
        dropped.swap(state_->tasks);
        ended.swap(worker_);
    }
    if (ended) {
        ended->stop(timeout);
    }
}

}  // namespace vex::device
