#include "tools/pvctl/terminal.h"

#include <chrono>
#include <cstdio>
#include <utility>

#include "tools/pvctl/console.h"

namespace pvctl {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds short_wait{300};
constexpr milliseconds step{100};

}  // namespace

Progress::Progress(std::string what) : what_(std::move(what))
{
    if (error_output_is_terminal()) {
        thread_ = std::thread([this] { show(); });
    }
}

Progress::~Progress()
{
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::scoped_lock lock(mutex_);
        ended_ = true;
    }
    ended_changed_.notify_all();
    thread_.join();
}

void Progress::update(std::string what)
{
    const std::scoped_lock lock(mutex_);
    what_ = std::move(what);
}

void Progress::show()
{
    const auto begin = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    auto next = begin + short_wait;
    bool shown = false;
    while (!ended_changed_.wait_until(lock, next, [this] { return ended_; })) {
        const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
        std::fprintf(stderr, "\r%s ... %.1f s\x1b[K", what_.c_str(), waited.count());
        shown = true;
        next += step;
    }
    if (shown) {
        std::fputs("\r\x1b[K", stderr);  // the line is empty again
    }
}

}  // namespace pvctl
