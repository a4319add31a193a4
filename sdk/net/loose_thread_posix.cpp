#include "sdk/net/loose_thread.h"

#include <thread>
#include <utility>

namespace vex::net {

void run_loose(std::function<void()> work) { std::thread(std::move(work)).detach(); }

}  // namespace vex::net
