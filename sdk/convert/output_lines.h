// Where the lines of a destination are written.
#pragma once

#include <algorithm>
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

    /// Writes line `y` by calls of write(pixels, to), for one part of the line or several. Lines come one after
    /// another. `upcoming`: what will be read next, fetched meanwhile.
    template <class Write>
    void write_in_parts(std::size_t y, std::span<const std::uint8_t> upcoming, Write&& write)
    {
        const std::size_t pixels = part_bytes * image_.width / image_.line_bytes;
        write_line(y, upcoming, pixels - pixels % simd::part_alignment, write);
    }
    /// The same for what can only write a line as a whole, by a call of write(to).
    template <class Write>
    void write_whole(std::size_t y, std::span<const std::uint8_t> upcoming, Write&& write)
    {
        write_line(y, upcoming, image_.width, [&](simd::Pixels, const PackedLine<std::uint8_t>& to) { write(to); });
    }

private:
    static constexpr std::size_t cache_line = 64;
    /// Bytes that are written at a time: few enough to drain to memory while the next ones are computed, enough to
    /// fetch ahead of these.
    static constexpr std::size_t part_bytes = 4096;

    template <class Write>
    void write_line(std::size_t y, std::span<const std::uint8_t> upcoming, std::size_t part, Write&& write)
    {
        if (memory_ == nullptr)
            return write(simd::Pixels{0, image_.width}, image_.line(y));
        begin(y);
        for (simd::Pixels pixels{0, 0}; pixels.first < image_.width; pixels.first = pixels.last) {
            pixels.last = std::min(pixels.first + part, image_.width);
            write(pixels, PackedLine<std::uint8_t>{memory_ + filled_to_});
            const auto share = [&](std::size_t bytes, std::size_t x) { return bytes / image_.width * x; };
            const std::size_t fetched = share(upcoming.size(), pixels.first);
            pass_on(image_.line_bytes / image_.width * (pixels.last - pixels.first),
                    upcoming.subspan(fetched, share(upcoming.size(), pixels.last) - fetched));
        }
    }

    void begin(std::size_t y) noexcept;
    void pass_on(std::size_t bytes, std::span<const std::uint8_t> upcoming) noexcept;
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
