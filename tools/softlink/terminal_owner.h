// A process that a terminal belongs to.
#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "sdk/net/descriptor_linux.h"

namespace softlink {

/// Makes a terminal the controlling terminal of a process of its own, from construction to destruction. Otherwise it
/// becomes that of a server without one that opens it for others, as Wine's does, and that is sent a hang-up when the
/// simulated camera goes.
class TerminalOwner {
public:
    /// `terminal` is its name. Throws std::system_error when it becomes nobody's.
    explicit TerminalOwner(const std::string& terminal);
    TerminalOwner(const TerminalOwner&) = delete;
    TerminalOwner& operator=(const TerminalOwner&) = delete;
    ~TerminalOwner();

private:
    void end() noexcept;

    pid_t process_ = -1;
    std::optional<vex::net::Descriptor> child_;  ///< the process ends when this is closed
};

}  // namespace softlink
