// What the user of a terminal is told while pvctl works.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace pvctl {

/// Shows on the standard error, while it exists, what the user is waiting for and for how long already. Nothing for
/// what takes less than 300 ms, and nothing when the standard error is no terminal.
class Progress {
public:
    explicit Progress(std::string what);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// From now on it is this.
    void update(std::string what);

private:
    void show();

    std::string what_;
    std::mutex mutex_;
    std::condition_variable ended_changed_;
    bool ended_ = false;
    std::thread thread_;  ///< last: uses all others; none without a terminal
};

}  // namespace pvctl
