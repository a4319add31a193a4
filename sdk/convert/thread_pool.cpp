#include "sdk/convert/thread_pool.h"

#include <exception>

#include "sdk/base/thread_name.h"

namespace vex::convert {

ThreadPool::ThreadPool(unsigned threads)
{
    workers_.reserve(threads > 0 ? threads - 1 : 0);
    try {
        while (size() < threads) {
            workers_.emplace_back([this, thread = size()] { worker(thread); });
        }
    } catch (const std::exception&) {
        // no more threads or no memory for them: fewer do the same work
    }
}

ThreadPool::~ThreadPool()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    work_arrived_.notify_all();
    for (auto& worker : workers_) {
        worker.join();
    }
}

void ThreadPool::run(unsigned jobs, const Work& work)
{
    std::unique_lock lock(mutex_);
    work_ = &work;
    jobs_ = jobs;
    next_job_ = 0;
    unfinished_ = jobs;
    work_arrived_.notify_all();
    take_jobs(0, lock);
    work_done_.wait(lock, [this] { return unfinished_ == 0; });
    jobs_ = 0;
}

void ThreadPool::worker(unsigned thread)
{
    name_this_thread("pv-convert");
    std::unique_lock lock(mutex_);
    for (;;) {
        work_arrived_.wait(lock, [this] { return stopping_ || next_job_ < jobs_; });
        if (stopping_) {
            return;
        }
        take_jobs(thread, lock);
    }
}

void ThreadPool::take_jobs(unsigned thread, std::unique_lock<std::mutex>& lock)
{
    while (next_job_ < jobs_) {
        const unsigned job = next_job_++;
        const auto& work = *work_;
        lock.unlock();
        work(job, thread);
        lock.lock();
        if (--unfinished_ == 0) {
            work_done_.notify_one();
        }
    }
}

}  // namespace vex::convert
