#include "sdk/convert/bmp.h"

namespace vex::convert::bmp {
namespace {

constexpr std::size_t file_header_size = 14;
constexpr std::size_t info_header_size = 40;
constexpr std::size_t palette_entries = 256;
constexpr std::uint32_t pixels_per_metre = 2835;  // 72 per inch

void put16(std::vector<std::uint8_t>& to, std::uint32_t value)
{
    to.push_back(static_cast<std::uint8_t>(value));
    to.push_back(static_cast<std::uint8_t>(value >> 8));
}

void put32(std::vector<std::uint8_t>& to, std::uint32_t value)
{
    put16(to, value & 0xFFFF);
    put16(to, value >> 16);
}

}  // namespace

std::optional<std::vector<std::uint8_t>> header(std::uint32_t width, std::uint32_t height, unsigned bits_per_pixel)
{
    const std::uint32_t colors = bits_per_pixel == 8 ? palette_entries : 0;
    const std::uint64_t pixels_at = file_header_size + info_header_size + std::uint64_t{4} * colors;
    const std::uint64_t pixel_bytes = line_bytes(width, bits_per_pixel) * height;
    if (pixels_at + pixel_bytes > 0xFFFFFFFF || width > 0x7FFFFFFF || height > 0x7FFFFFFF) {
        return std::nullopt;
    }

    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(pixels_at));
    bytes.push_back('B');
    bytes.push_back('M');
    put32(bytes, static_cast<std::uint32_t>(pixels_at + pixel_bytes));
    put32(bytes, 0);
    put32(bytes, static_cast<std::uint32_t>(pixels_at));

    put32(bytes, info_header_size);
    put32(bytes, width);
    put32(bytes, height);  // positive: the last line comes first
    put16(bytes, 1);       // planes
    put16(bytes, bits_per_pixel);
    put32(bytes, 0);  // not compressed
    put32(bytes, static_cast<std::uint32_t>(pixel_bytes));
    put32(bytes, pixels_per_metre);
    put32(bytes, pixels_per_metre);
    put32(bytes, colors);
    put32(bytes, 0);  // all colours matter
    for (std::uint32_t grey = 0; grey < colors; ++grey) {
        put32(bytes, grey * 0x010101);
    }
    return bytes;
}

}  // namespace vex::convert::bmp
