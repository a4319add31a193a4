// The scene line by line, for the renderer; test_pattern.h has it pixel by pixel.
#pragma once

#include <span>

#include "sdk/test_pattern/test_pattern.h"

namespace vex::test_pattern {

/// The scene at (x, y), (x + 1, y) and so on.
void scene_line(Pattern pattern, std::uint64_t block_id, std::uint32_t x, std::uint32_t y, std::span<Rgb16> out);

}  // namespace vex::test_pattern
