#include "sdk/display/shrink.h"

#include <cstring>

namespace vex::display {

namespace {

/// Which of `from` pixels is at the middle of pixel `index` of `to`.
int nearest(int index, int from, int to) noexcept
{
    return static_cast<int>((2 * static_cast<std::int64_t>(index) + 1) * from / (2 * static_cast<std::int64_t>(to)));
}

}  // namespace

const std::uint32_t* Shrinker::shrink(const std::uint8_t* lines, std::size_t stride, int first, Size from, Size to)
{
    choose_columns(first, from.width, to.width);
    pixels_.resize(static_cast<std::size_t>(to.width) * static_cast<std::size_t>(to.height));
    std::uint32_t* target = pixels_.data();
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* const line = lines + static_cast<std::size_t>(nearest(y, from.height, to.height)) * stride;
        for (const int column : columns_) {
            std::memcpy(target++, line + static_cast<std::size_t>(column) * sizeof *target, sizeof *target);
        }
    }
    return pixels_.data();
}

void Shrinker::choose_columns(int first, int from, int to)
{
    if (first == first_ && from == from_ && columns_.size() == static_cast<std::size_t>(to)) {
        return;
    }
    columns_.resize(static_cast<std::size_t>(to));
    for (int x = 0; x < to; ++x) {
        columns_[static_cast<std::size_t>(x)] = first + nearest(x, from, to);
    }
    first_ = first;
    from_ = from;
}

}  // namespace vex::display
