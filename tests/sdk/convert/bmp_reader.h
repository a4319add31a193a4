// A reader of uncompressed Windows bitmaps that shares nothing with the writer.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

namespace test {

struct Bitmap {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned bits = 0;
    std::vector<std::uint8_t> rgb;     ///< from the top, three bytes a pixel
    std::vector<std::uint8_t> fourth;  ///< the fourth byte of each 32-bit pixel
};

inline std::optional<Bitmap> read_bitmap(const std::vector<std::uint8_t>& file)
{
    const auto number = [&](std::size_t at, int bytes) {
        std::uint32_t value = 0;
        for (int i = bytes; i-- > 0;) {
            value = value * 256 +
                    (at + static_cast<std::size_t>(i) < file.size() ? file[at + static_cast<std::size_t>(i)] : 0);
        }
        return value;
    };
    if (file.size() < 54 || file[0] != 'B' || file[1] != 'M' || number(2, 4) != file.size() || number(14, 4) != 40 ||
        number(26, 2) != 1 || number(30, 4) != 0) {
        return std::nullopt;
    }
    Bitmap bitmap;
    bitmap.width = number(18, 4);
    bitmap.height = number(22, 4);
    bitmap.bits = number(28, 2);
    const std::size_t pixels = number(10, 4);
    const std::size_t line = (bitmap.width * bitmap.bits / 8 + 3) / 4 * 4;
    if (file.size() != pixels + line * bitmap.height) {
        return std::nullopt;
    }
    for (std::uint32_t y = bitmap.height; y-- > 0;) {
        for (std::uint32_t x = 0; x < bitmap.width; ++x) {
            std::size_t at = pixels + line * y + x * bitmap.bits / 8;
            if (bitmap.bits == 8) {
                at = 54 + std::size_t{4} * file[at];
            }
            for (std::size_t c = 3; c-- > 0;) {
                bitmap.rgb.push_back(file.at(at + c));
            }
            if (bitmap.bits == 32) {
                bitmap.fourth.push_back(file.at(at + 3));
            }
        }
    }
    return bitmap;
}

}  // namespace test
