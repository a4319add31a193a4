#include "sdk/convert/conversion.h"

#include <cstring>
#include <type_traits>

#include "sdk/convert/line_converter.h"
#include "sdk/convert/output_lines.h"
#include "sdk/convert/simd/simd.h"

namespace vex::convert {
namespace {

void copy_lines(const Conversion& conversion, std::size_t first, std::size_t last) noexcept
{
    const auto& source = conversion.source;
    const auto& destination = conversion.destination;
    // lines without padding are as good as one, which is faster to copy
    const bool together = source.stride == source.line_bytes && destination.stride == source.line_bytes;
    const std::size_t at_a_time = together ? last - first : 1;
    for (std::size_t y = first; y < last; y += at_a_time) {
        const auto from = source.line(y);
        const auto to = destination.line(y);
        for (std::size_t plane = 0; plane < source.planes; ++plane) {
            std::memcpy(to[plane], from[plane], at_a_time * source.line_bytes);
        }
    }
}

/// What turns a line of the source into one of the destination in a single step; null when there are more.
simd::LineKernel direct_kernel(const Conversion& conversion) noexcept
{
    const auto& from = *conversion.source_format;
    if (from.model != Model::mono && !conversion.gains.neutral()) {
        return nullptr;
    }
    return simd::find_line_kernel(from, *conversion.destination_format);
}

/// Converts as many lines as go four at a time, far apart, and returns the first that is left.
std::size_t convert_far_lines(const Conversion& conversion, std::size_t first, std::size_t last) noexcept
{
    constexpr std::size_t far_apart = 65536;  // bytes; nearer ones are fetched one after the other anyway
    const auto& source = conversion.source;
    const std::size_t apart = (last - first) / simd::far_lines;
    const auto kernel = simd::find_far_lines_kernel(*conversion.source_format, *conversion.destination_format);
    if (kernel == nullptr || apart * source.stride < far_apart) {
        return first;
    }
    for (std::size_t y = first; y < first + apart; ++y) {
        simd::FarLines<const Byte> from;
        simd::FarLines<Byte> to;
        for (std::size_t i = 0; i < simd::far_lines; ++i) {
            from[i] = source.line(y + i * apart)[0];
            to[i] = conversion.destination.line(y + i * apart)[0];
        }
        kernel(from, source.width, to);
    }
    return first + simd::far_lines * apart;
}

void convert_directly(simd::LineKernel kernel, const Conversion& conversion, std::size_t first, std::size_t last,
                      Scratch& scratch) noexcept
{
    const auto& source = conversion.source;
    OutputLines output(conversion.destination, scratch.line<Byte>(0));
    if (output.streamed_in_place()) {
        first = convert_far_lines(conversion, first, last);
    }
    for (std::size_t y = first; y < last; ++y) {
        output.write_in_parts(y, source.bytes_of(y + 1), [&](simd::Part part, const PackedLine<Byte>& to) {
            kernel(source.line(y), source.width, part, to);
        });
    }
}

/// Whether 8 bits of a sample are enough on the way. Deep Bayer samples that end in 8 bits lose the others before
/// colours are interpolated, which takes half the time; a filter that raises values gets them all.
bool takes_bytes(const Conversion& conversion) noexcept
{
    const auto& from = *conversion.source_format;
    return from.depth <= 8 ||
           (from.model == Model::bayer && conversion.destination_format->depth <= 8 && conversion.gains.neutral());
}

template <class Sample>
void convert_lines_of(const Conversion& conversion, std::size_t first, std::size_t last, Scratch& scratch) noexcept
{
    LineConverter<Sample> converter(conversion, scratch);
    for (std::size_t y = first; y < last; ++y) {
        converter.convert(y);
    }
}

}  // namespace

void Scratch::reserve(std::size_t width, std::size_t lines)
{
    // an odd number of cache lines apart: lines at the same place of their pages would get in each other's way
    constexpr std::size_t samples_per_cache_line = 32;
    const std::size_t cache_lines = (width + samples_per_cache_line - 1) / samples_per_cache_line + 1;
    pitch_ = (cache_lines | 1) * samples_per_cache_line;
    const std::size_t needed = pitch_ * lines;
    if (memory_.size() < needed) {
        memory_.clear();
        memory_.shrink_to_fit();
        memory_.resize(needed);
    }
}

bool is_copy(const Conversion& conversion) noexcept
{
    if (conversion.source_format != conversion.destination_format) {
        return false;
    }
    const auto& format = *conversion.source_format;
    const bool filterable = format.destination && format.model != Model::mono;
    return !filterable || conversion.gains.neutral();
}

void convert_lines(const Conversion& conversion, std::size_t first, std::size_t last, Scratch& scratch) noexcept
{
    if (is_copy(conversion)) {
        copy_lines(conversion, first, last);
    } else if (const auto kernel = direct_kernel(conversion); kernel != nullptr) {
        convert_directly(kernel, conversion, first, last, scratch);
    } else if (takes_bytes(conversion)) {
        convert_lines_of<Byte>(conversion, first, last, scratch);
    } else {
        convert_lines_of<std::uint16_t>(conversion, first, last, scratch);
    }
}

}  // namespace vex::convert
