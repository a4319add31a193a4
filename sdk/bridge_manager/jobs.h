// What takes time with a port, one after the other on a thread of its own.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/bridge_manager/port.h"
#include "sdk/bridge_manager/settings.h"
#include "sdk/control/worker.h"
#include "sdk/genicam/PvGenParameterArray.h"

namespace vex::bridge_manager {

enum class Task {
    start,
    stop,
    configure,  ///< of a bridge that runs
    recover,
};

struct Job {
    Task task = Task::start;
    std::shared_ptr<Port> port{};
    std::uint64_t number = 0;
    Settings settings{};
    std::shared_ptr<std::atomic<bool>> cancelled{};  ///< set: not to start, nor to make parameters; never null
    std::unique_ptr<PvGenParameterArray> ended{};    ///< of a bridge that stops; goes with the job
    PvGenParameterArray* existing = nullptr;         ///< of a bridge that is recovered
};

struct Outcome {
    PvResult result{};
    bool runs = false;
    std::unique_ptr<PvGenParameterArray> made{};
    PvString made_name{};
};

/// Does a job on the calling thread.
[[nodiscard]] Outcome run(Job& job) noexcept;

/// Thread safety: one thread.
class Jobs {
public:
    /// `told` is called on the thread of the jobs when take() has something to give; it must not call this object.
    explicit Jobs(std::function<void()> told);
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;
    ~Jobs();

    /// Begins the job when those before it have ended; the first one begins the thread.
    void add(Job job);
    void wait_idle();
    /// What has ended since the last call, in order.
    [[nodiscard]] std::vector<std::pair<Job, Outcome>> take();
    /// `told` is not called any more once this returns.
    void silence();

private:
    class Shared;

    const std::shared_ptr<Shared> shared_;
    std::unique_ptr<control::Worker> worker_;
};

}  // namespace vex::bridge_manager
