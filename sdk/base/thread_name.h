// Names for threads, as debuggers and profilers show them.
#pragma once

#include <pthread.h>

namespace vex {

/// Names the calling thread. At most 15 characters; longer names are refused by some systems and then have no effect.
inline void name_this_thread(const char* name) noexcept { ::pthread_setname_np(::pthread_self(), name); }

}  // namespace vex
