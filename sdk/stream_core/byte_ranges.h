// Which bytes of a block have come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vex::stream {

/// A set of byte positions, kept as ranges. What comes in order costs one comparison; memory is kept from block to
/// block.
class ByteRanges {
public:
    /// Ranges apart from each other; packets that would make more are not those of a camera.
    static constexpr std::size_t most_ranges = 4096;

    void clear() noexcept
    {
        ranges_.clear();
        total_ = 0;
    }

    /// Adds `length` bytes from `from` on. False, and nothing added, when that would make too many ranges. Throws
    /// std::bad_alloc, with the set unchanged.
    bool add(std::uint64_t from, std::uint64_t length);

    /// Bytes in the set.
    [[nodiscard]] std::uint64_t total() const noexcept { return total_; }
    /// All `length` bytes from `from` on are in the set.
    [[nodiscard]] bool covers(std::uint64_t from, std::uint64_t length) const noexcept;

    /// Calls `gap(from, to)` for each range of absent bytes before `end`, ascending.
    template <typename Function>
    void for_each_gap(std::uint64_t end, Function gap) const
    {
        std::uint64_t at = 0;
        for (const Range& range : ranges_) {
            if (range.from >= end) {
                break;
            }
            if (range.from > at) {
                gap(at, range.from);
            }
            at = range.to;
        }
        if (at < end) {
            gap(at, end);
        }
    }

private:
    struct Range {
        std::uint64_t from;
        std::uint64_t to;
    };

    std::vector<Range> ranges_;  // ascending, apart from each other
    std::uint64_t total_ = 0;
};

}  // namespace vex::stream
