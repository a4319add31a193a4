// A thread that nobody waits for.
#pragma once

#include <functional>

namespace vex::net {

/// Runs `work` on a thread of its own, which keeps the library that this is part of in memory until it ends. Throws
/// std::system_error when there can be no thread.
void run_loose(std::function<void()> work);

}  // namespace vex::net
