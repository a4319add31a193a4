// Where the lines of a destination are written.
#pragma once

#include "sdk/convert/lines.h"
#include "sdk/convert/simd.h"

namespace convert {

/// In place; or, when an image is so large that it leaves the caches before anybody reads it, by way of a line of
/// working memory and past the caches, which saves reading what is overwritten.
///
/// Thread safety: for one thread.
class OutputLines {
public:
    /// `line` has room for a line of the image.
    OutputLines(const ImageView<std::uint8_t>& image, std::uint8_t* line) noexcept
        : image_(image), line_(is_streamed(image) ? line : nullptr)
    {}
    ~OutputLines()
    {
        if (line_ != nullptr)
            simd::finish_streaming();
    }
    OutputLines(const OutputLines&) = delete;
    OutputLines& operator=(const OutputLines&) = delete;

    /// Where to write line `y`; to be followed by finish().
    [[nodiscard]] PackedLine<std::uint8_t> begin(std::size_t y) const noexcept
    {
        return line_ != nullptr ? PackedLine<std::uint8_t>{line_, nullptr, nullptr} : image_.line(y);
    }
    void finish(std::size_t y) const noexcept
    {
        if (line_ != nullptr)
            simd::stream_copy(image_.line(y)[0], line_, image_.line_bytes);
    }

private:
    static bool is_streamed(const ImageView<std::uint8_t>& image) noexcept
    {
        constexpr std::size_t large = std::size_t{1} << 20;
        return image.planes == 1 && image.line_bytes * image.height >= large;
    }

    const ImageView<std::uint8_t>& image_;
    std::uint8_t* const line_;
};

}  // namespace convert
