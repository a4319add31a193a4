// Where the lines of a destination are written.
#pragma once

#include <span>

#include "sdk/convert/lines.h"
#include "sdk/convert/simd.h"

namespace convert {

/// In place; or, when an image is so large that it leaves the caches before anybody reads it, by way of working memory
/// and past the caches, which saves reading what is overwritten. Then only whole cache lines are written, as parts of
/// them would be slow: what a line of the image leaves over waits for the next.
///
/// Thread safety: for one thread.
class OutputLines {
public:
    /// Bytes of working memory that are needed for an image whose lines have this many.
    static constexpr std::size_t working_bytes(std::size_t line_bytes) { return line_bytes + 3 * cache_line; }

    OutputLines(const ImageView<std::uint8_t>& image, std::uint8_t* working_memory) noexcept;
    ~OutputLines();
    OutputLines(const OutputLines&) = delete;
    OutputLines& operator=(const OutputLines&) = delete;

    /// Where to write line `y`, to be followed by finish(). Lines come one after another.
    [[nodiscard]] PackedLine<std::uint8_t> begin(std::size_t y) noexcept;
    /// `upcoming`: what will be read next, fetched meanwhile.
    void finish(std::span<const std::uint8_t> upcoming) noexcept;

private:
    static constexpr std::size_t cache_line = 64;

    void write_rest() noexcept;

    const ImageView<std::uint8_t>& image_;
    std::uint8_t* memory_ = nullptr;  // cache line aligned; null when lines are written in place
    // memory_[filled_from_] to memory_[filled_to_ - 1] belong at `target_` and after it; memory_[0] is where a cache
    // line of the destination begins
    std::uint8_t* target_ = nullptr;
    std::size_t filled_from_ = 0;
    std::size_t filled_to_ = 0;
};

}  // namespace convert
