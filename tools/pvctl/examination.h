// Looks at this computer and at cameras as diagnosis/checks.h wants it told.
#pragma once

#include <optional>
#include <vector>

#include "sdk/control/connection.h"
#include "tools/diagnosis/checks.h"

namespace pvctl {

/// The cameras that answer a search, on all interfaces.
[[nodiscard]] std::vector<diagnosis::FoundCamera> search_cameras();

/// What one camera shows: the way to it, its answers, its heartbeat, and which of its test packets arrive. Takes
/// control for the packets, for a moment, where nobody has it; the packet size is as before afterwards.
[[nodiscard]] diagnosis::Findings examine_camera(const vex::control::ConnectionTarget& target,
                                                 const diagnosis::SystemState& system,
                                                 const std::vector<diagnosis::FoundCamera>& found);

}  // namespace pvctl
