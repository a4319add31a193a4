// How wide a browser's columns are shown in the room that there is.
#pragma once

#include <array>

#include "sdk/browser/browser_state.h"

namespace vex::browser {

using Widths = std::array<int, column_count>;

/// Values take what the other columns leave. Where there is less room than for all of their own widths, names and
/// values share what is left in the proportion of those, down to `least` each, unless their own are less; units and
/// access stay as they are. All in the same unit, none below 0.
[[nodiscard]] Widths fitted(const Widths& own, int room, int least);

}  // namespace vex::browser
