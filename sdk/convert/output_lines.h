// Where the lines of a destination are written.
#pragma once

#include <algorithm>
#include <span>

#include "sdk/convert/lines.h"
#include "sdk/convert/simd/simd.h"

namespace vex::convert {

/// In place; or, when an image is so large that it leaves the caches before anybody reads it, past the caches, which
/// saves reading what is overwritten. Vector code does that itself where the lines are aligned. Others go by way of
/// working memory, of which only whole cache lines are passed on, as parts of them would be slow: what a line of the
/// image leaves over waits for the next.
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

    /// Whether the image is large and each of its lines begins with a cache line, so that vector code can stream them
    /// by itself.
    [[nodiscard]] bool streamed_in_place() const noexcept { return aligned_; }

    /// Writes line `y` by calls of write(part, to), for one part of the line or several. Lines come one after
    /// another. `upcoming`: what will be read next, fetched meanwhile.
    template <class Write>
    void write_in_parts(std::size_t y, std::span<const std::uint8_t> upcoming, Write&& write)
    {
        if (aligned_) {
            return write(simd::Part{0, image_.width, true}, image_.line(y));
        }
        const std::size_t pixels = part_bytes * image_.width / image_.line_bytes;
        write_line(y, upcoming, pixels - pixels % simd::part_alignment, write);
    }
    /// The same for what can only write a line as a whole, by a call of write(to).
    template <class Write>
    void write_whole(std::size_t y, std::span<const std::uint8_t> upcoming, Write&& write)
    {
        write_line(y, upcoming, image_.width, [&](simd::Part, const PackedLine<std::uint8_t>& to) { write(to); });
    }

private:
    static constexpr std::size_t cache_line = simd::stream_alignment;
    /// Bytes that are written at a time: few enough to drain to memory while the next ones are computed, enough to
    /// fetch ahead of these.
    static constexpr std::size_t part_bytes = 4096;

    template <class Write>
    void write_line(std::size_t y, std::span<const std::uint8_t> upcoming, std::size_t pixels, Write&& write)
    {
        if (memory_ == nullptr) {
            return write(simd::Part{0, image_.width}, image_.line(y));
        }
        begin(y);
        const auto share = [&](std::size_t bytes, std::size_t x) { return bytes / image_.width * x; };
        for (simd::Part part{0, 0}; part.first < image_.width; part.first = part.last) {
            part.last = std::min(part.first + pixels, image_.width);
            write(part, PackedLine<std::uint8_t>{memory_ + filled_to_});
            const std::size_t fetched = share(upcoming.size(), part.first);
            pass_on(share(image_.line_bytes, part.last) - share(image_.line_bytes, part.first),
                    upcoming.subspan(fetched, share(upcoming.size(), part.last) - fetched));
        }
    }

    void begin(std::size_t y) noexcept;
    void pass_on(std::size_t bytes, std::span<const std::uint8_t> upcoming) noexcept;
    void write_rest() noexcept;

    const ImageView<std::uint8_t>& image_;
    bool aligned_ = false;
    std::uint8_t* memory_ = nullptr;  // cache line aligned; null when lines are written into the caches
    // memory_[filled_from_] to memory_[filled_to_ - 1] belong at `target_` and after it; memory_[0] is where a cache
    // line of the destination begins
    std::uint8_t* target_ = nullptr;
    std::size_t filled_from_ = 0;
    std::size_t filled_to_ = 0;
};

}  // namespace vex::convert
