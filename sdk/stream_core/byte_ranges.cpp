#include "sdk/stream_core/byte_ranges.h"

#include <algorithm>

namespace vex::stream {

bool ByteRanges::add(std::uint64_t from, std::uint64_t length)
{
    const std::uint64_t to = from + length;
    if (!ranges_.empty() && ranges_.back().to == from) {
        ranges_.back().to = to;
        total_ += length;
        return true;
    }
    // those that touch the new one become one with it
    const auto first = std::ranges::lower_bound(ranges_, from, {}, &Range::to);
    const auto last = std::ranges::upper_bound(first, ranges_.end(), to, {}, &Range::from);
    if (first == last) {
        if (ranges_.size() >= most_ranges) {
            return false;
        }
        ranges_.insert(first, {from, to});
        total_ += length;
        return true;
    }
    const Range merged{std::min(from, first->from), std::max(to, (last - 1)->to)};
    for (auto range = first; range != last; ++range) {
        total_ -= range->to - range->from;
    }
    total_ += merged.to - merged.from;
    *first = merged;
    ranges_.erase(first + 1, last);
    return true;
}

bool ByteRanges::covers(std::uint64_t from, std::uint64_t length) const noexcept
{
    if (length == 0) {
        return true;
    }
    const auto next = std::ranges::upper_bound(ranges_, from, {}, &Range::from);
    return next != ranges_.begin() && (next - 1)->to >= from + length;
}

}  // namespace vex::stream
