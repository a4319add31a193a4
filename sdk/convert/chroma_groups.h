// Packed YUV types whose pixels share their chroma: where the values of a group lie.
#pragma once

#include <array>
#include <cstddef>

namespace vex::convert {

/// Positions of the values in a group of pixels that share their chroma.
struct ChromaGroup {
    std::size_t pixels;
    std::size_t bytes;
    std::size_t u;
    std::size_t v;
    std::array<std::size_t, 4> y;

    /// Bytes of that many pixels; a last group that is not whole may end before its V.
    [[nodiscard]] constexpr std::size_t bytes_of(std::size_t count) const
    {
        return (count * bytes + pixels - 1) / pixels;
    }
};
inline constexpr ChromaGroup group_411{4, 6, 0, 3, {1, 2, 4, 5}};
inline constexpr ChromaGroup group_uyvy{2, 4, 0, 2, {1, 3}};
inline constexpr ChromaGroup group_yuyv{2, 4, 1, 3, {0, 2}};

}  // namespace vex::convert
