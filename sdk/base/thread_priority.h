// How much the system favours a thread.
#pragma once

namespace vex {

/// Lets the calling thread run before ordinary ones, for work that loses data when it comes late. Without effect where
/// the process may not do so.
void favour_this_thread() noexcept;

}  // namespace vex
