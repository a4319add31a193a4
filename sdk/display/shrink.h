// Images made smaller for a window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sdk/display/view.h"

namespace vex::display {

/// Takes the pixel nearest to the middle of each one that is wanted. What the system does the same way takes twice as
/// long, and a display does it for every image.
///
/// Memory is kept from image to image. Thread safety: none.
class Shrinker {
public:
    /// Pixels of 32 bits, line after line without padding, valid until the next call. `lines` is the first line of
    /// `from` that is used, lines `stride` bytes apart, of which the pixels from `first` on are, `from.width` of them.
    /// No side of `to` is longer than that of `from`, none of either is 0.
    [[nodiscard]] const std::uint32_t* shrink(const std::uint8_t* lines, std::size_t stride, int first, Size from,
                                              Size to);

private:
    void choose_columns(int first, int from, int to);

    std::vector<std::uint32_t> pixels_;
    std::vector<int> columns_;  ///< of the image, for each of the window
    int first_ = 0;
    int from_ = 0;
};

}  // namespace vex::display
