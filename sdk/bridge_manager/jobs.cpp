#include "sdk/bridge_manager/jobs.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <string_view>

#include "sdk/base/failure.h"

namespace vex::bridge_manager {

namespace {

/// The next job wakes the thread.
constexpr std::chrono::milliseconds idle_interval{60'000};

void work(Job& job, Outcome& outcome)
{
    Port& port = *job.port;
    switch (job.task) {
    case Task::start:
        if (*job.cancelled) {
            return;
        }
        outcome.result = port.start(job.settings);
        outcome.runs = outcome.result.IsOK();
        break;
    case Task::stop:
        if (job.ended) {
            port.end_parameters(*job.ended);
        }
        port.stop();
        return;
    case Task::configure:
        outcome.runs = true;
        outcome.result = port.configure(job.settings);
        return;
    case Task::recover:
        outcome.runs = true;
        outcome.result = port.recover();
        break;
    }
    if (!outcome.result.IsOK() || !job.settings.has_parameters || *job.cancelled) {
        return;
    }
    outcome.result = job.existing != nullptr ? port.recover_parameters(*job.existing)
                                             : port.make_parameters(job.settings, outcome.made, outcome.made_name);
    if (*job.cancelled) {
        outcome.made.reset();  // here, where it may take its time: nobody else knows of it
    }
}

}  // namespace

Outcome run(Job& job) noexcept
{
    Outcome outcome;
    try {
        work(job, outcome);
    } catch (const std::bad_alloc&) {
        outcome.result = PvResult::NotEnoughMemory;
    } catch (const std::exception& error) {
        outcome.result = failure(PvResult::GenericError, std::string_view(error.what()));
    }
    return outcome;
}

/// Outlives the one of owner and thread that goes first.
class Jobs::Shared {
public:
    explicit Shared(std::function<void()> told) : told_(std::move(told)) {}

    void silence()
    {
        const std::lock_guard lock(told_mutex_);
        told_ = nullptr;
    }
    void add(Job job)
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(job));
    }
    void wait_idle()
    {
        std::unique_lock lock(mutex_);
        idle_.wait(lock, [this] { return waiting_.empty() && !working_; });
    }
    [[nodiscard]] std::vector<std::pair<Job, Outcome>> take()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(done_, {});
    }

    void serve(control::Worker::Signals& signals)
    {
        do {
            while (work_one()) {
            }
        } while (signals.pause(idle_interval));
    }

private:
    [[nodiscard]] bool work_one()
    {
        Job job;
        {
            const std::lock_guard lock(mutex_);
            if (waiting_.empty()) {
                return false;
            }
            job = std::move(waiting_.front());
            waiting_.pop_front();
            working_ = true;
        }
        Outcome outcome = run(job);
        {
            const std::lock_guard lock(mutex_);
            done_.emplace_back(std::move(job), std::move(outcome));
            working_ = false;
        }
        idle_.notify_all();
        const std::lock_guard lock(told_mutex_);
        if (told_) {
            told_();
        }
        return true;
    }

    std::mutex told_mutex_;  ///< held while the owner is told
    std::function<void()> told_;
    std::mutex mutex_;  ///< for what follows
    std::condition_variable idle_;
    std::deque<Job> waiting_;
    bool working_ = false;
    std::vector<std::pair<Job, Outcome>> done_;
};

Jobs::Jobs(std::function<void()> told) : shared_(std::make_shared<Shared>(std::move(told))) {}

Jobs::~Jobs() = default;

void Jobs::add(Job job)
{
    shared_->add(std::move(job));
    if (worker_) {
        worker_->wake();
        return;
    }
    worker_ = std::make_unique<control::Worker>(
        "pv-bridges", [shared = shared_](control::Worker::Signals& signals) { shared->serve(signals); });
}

void Jobs::wait_idle() { shared_->wait_idle(); }

std::vector<std::pair<Job, Outcome>> Jobs::take() { return shared_->take(); }

void Jobs::silence() { shared_->silence(); }

}  // namespace vex::bridge_manager
