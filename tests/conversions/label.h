// Small letters for the tiles of the sheet.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace sheet {

inline constexpr unsigned letter_width = 6;  ///< pixels, with the gap that follows
inline constexpr unsigned letter_height = 7;

/// Calls `dot` for each pixel of the text, from its upper left corner. Letters are drawn as capitals; what is neither
/// letter nor digit is a gap.
void draw_text(std::string_view text, const std::function<void(std::uint32_t x, std::uint32_t y)>& dot);

}  // namespace sheet
