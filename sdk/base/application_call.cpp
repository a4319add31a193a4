#include "sdk/base/application_call.h"

#include <new>
#include <utility>
#include <vector>

namespace vex {

namespace {

/// Without a destructor, which not every thread would run.
struct ThreadCalls {
    int depth = 0;
    ApplicationCall::Watcher* watcher = nullptr;
    std::vector<std::shared_ptr<void>>* kept = nullptr;
};

thread_local ThreadCalls calls;

}  // namespace

ApplicationCall::ApplicationCall() noexcept
{
    if (calls.depth++ == 0 && calls.watcher != nullptr) {
        calls.watcher->call_begins();
    }
}

ApplicationCall::~ApplicationCall()
{
    if (--calls.depth == 0 && calls.watcher != nullptr) {
        calls.watcher->call_ended();
    }
}

bool ApplicationCall::is_under_way() noexcept { return calls.depth > 0; }

void ApplicationCall::watch(Watcher* watcher) noexcept { calls.watcher = watcher; }

void ApplicationCall::keep(std::shared_ptr<void> object) noexcept
{
    if (!is_under_way()) {
        return;
    }
    try {
        if (calls.kept == nullptr) {
            calls.kept = new std::vector<std::shared_ptr<void>>;
        }
        calls.kept->push_back(std::move(object));
        kept_.fetch_add(1, std::memory_order_relaxed);
    } catch (const std::bad_alloc&) {
        // then it goes now
    }
}

void ApplicationCall::let_go() noexcept
{
    if (is_under_way() || calls.kept == nullptr) {
        return;
    }
    // what goes may keep or let go of more
    const std::unique_ptr<std::vector<std::shared_ptr<void>>> going(std::exchange(calls.kept, nullptr));
    kept_.fetch_sub(static_cast<int>(going->size()), std::memory_order_relaxed);
}

}  // namespace vex
