#include "sdk/convert/output_lines.h"

#include <cstring>

namespace vex::convert {
namespace {

/// Where writing past the caches begins to pay.
constexpr std::size_t large_image = std::size_t{1} << 20;

std::size_t past_alignment(const std::uint8_t* address, std::size_t alignment) noexcept
{
    return reinterpret_cast<std::uintptr_t>(address) % alignment;
}

}  // namespace

OutputLines::OutputLines(const ImageView<std::uint8_t>& image, std::uint8_t* working_memory) noexcept : image_(image)
{
    if (image.planes != 1 || image.line_bytes * image.height < large_image) {
        return;
    }
    memory_ = working_memory + (cache_line - past_alignment(working_memory, cache_line));
    aligned_ = past_alignment(image.data, cache_line) == 0 && image.stride % cache_line == 0;
}

OutputLines::~OutputLines()
{
    if (memory_ == nullptr) {
        return;
    }
    write_rest();
    simd::finish_streaming();
}

void OutputLines::begin(std::size_t y) noexcept
{
    auto* const line = image_.line(y)[0];
    if (target_ + (filled_to_ - filled_from_) == line) {
        return;
    }
    write_rest();
    target_ = line;
    filled_from_ = filled_to_ = past_alignment(line, cache_line);
}

void OutputLines::pass_on(std::size_t bytes, std::span<const std::uint8_t> upcoming) noexcept
{
    filled_to_ += bytes;
    if (filled_from_ > 0 && filled_to_ >= cache_line) {
        // the destination's first cache line is not all this image's
        std::memcpy(target_, memory_ + filled_from_, cache_line - filled_from_);
        target_ += cache_line - filled_from_;
        filled_from_ = cache_line;
    }
    const std::size_t whole = filled_to_ / cache_line * cache_line;
    if (whole <= filled_from_) {
        return;
    }
    simd::stream_copy(target_, memory_ + filled_from_, whole - filled_from_, upcoming);
    target_ += whole - filled_from_;
    std::memcpy(memory_, memory_ + whole, cache_line);  // the bytes after the filled ones do not matter
    filled_from_ = 0;
    filled_to_ -= whole;
}

void OutputLines::write_rest() noexcept
{
    if (filled_to_ > filled_from_) {
        std::memcpy(target_, memory_ + filled_from_, filled_to_ - filled_from_);
    }
    filled_from_ = filled_to_ = 0;
}

}  // namespace vex::convert
