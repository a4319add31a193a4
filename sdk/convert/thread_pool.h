// Threads that are kept, for work that is split into numbered jobs.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vex::convert {

/// Thread safety: run() from one thread at a time.
class ThreadPool {
public:
    /// `threads` in all, the caller of run() being one of them. Where the system gives fewer, fewer it is.
    explicit ThreadPool(unsigned threads);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    [[nodiscard]] unsigned size() const noexcept { return static_cast<unsigned>(workers_.size()) + 1; }

    /// What is called for a job: its number, and that of the thread, below size().
    using Work = std::function<void(unsigned job, unsigned thread)>;
    /// Calls the work for the jobs 0 to `jobs` - 1, each once, on the pool's threads and the caller's; returns when all
    /// are done. The work must not throw.
    void run(unsigned jobs, const Work& work);

private:
    void worker(unsigned thread);
    void take_jobs(unsigned thread, std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;
    std::condition_variable work_arrived_;
    std::condition_variable work_done_;
    const Work* work_ = nullptr;
    unsigned jobs_ = 0;
    unsigned next_job_ = 0;
    unsigned unfinished_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace vex::convert
