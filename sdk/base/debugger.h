// Whether somebody debugs this process.
#pragma once

namespace vex {

/// A debugger holds, or may at any time hold, this process.
[[nodiscard]] bool is_debugger_attached() noexcept;

}  // namespace vex
