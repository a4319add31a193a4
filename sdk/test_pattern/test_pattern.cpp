#include "sdk/test_pattern/test_pattern_scene.h"

#include <algorithm>
#include <array>

namespace vex::test_pattern {

namespace {

constexpr std::uint32_t card_width = 640;
constexpr std::uint32_t card_height = 480;
constexpr std::uint32_t corner = 96;

constexpr Rgb16 black{0, 0, 0};
constexpr Rgb16 white{0xFFFF, 0xFFFF, 0xFFFF};
constexpr Rgb16 red{0xFFFF, 0, 0};
constexpr Rgb16 green{0, 0xFFFF, 0};
constexpr Rgb16 blue{0, 0, 0xFFFF};
constexpr Rgb16 amber{0xFFFF, 0xC000, 0};

constexpr std::array<Rgb16, 8> bars = {
    white, {0xFFFF, 0xFFFF, 0}, {0, 0xFFFF, 0xFFFF}, green, {0xFFFF, 0, 0xFFFF}, red, blue, black};
constexpr std::uint32_t bar_width = 80;

// The letter F in cells of 32 pixels: no mirror image or rotation of it looks the same.
constexpr std::array<std::uint8_t, 7> letter = {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b10000};
constexpr std::uint32_t letter_columns = 5;
constexpr std::uint32_t letter_cell = 32;
constexpr std::uint32_t letter_left = 240;
constexpr std::uint32_t letter_top = 112;

constexpr std::uint32_t block_size = 40;
constexpr std::uint32_t block_top = 400;

constexpr std::uint32_t block_left(std::uint32_t phase)
{
    constexpr std::uint32_t stride = (card_width - 2 * corner - block_size) / 15;  // the last of 16 ends at the right
    return corner + phase * stride;
}

constexpr std::uint32_t phase_of(std::uint64_t block_id) { return static_cast<std::uint32_t>(block_id % cycle); }

constexpr Rgb16 grey(std::uint32_t value)
{
    const auto v = static_cast<std::uint16_t>(value);
    return {v, v, v};
}

// Dark, with a slope in each direction, so that every line and column differs.
constexpr Rgb16 card_background(std::uint32_t x, std::uint32_t y)
{
    return {static_cast<std::uint16_t>(4096 + x * 16), static_cast<std::uint16_t>(8192 + y * 16),
            static_cast<std::uint16_t>(12288 + (x + y) * 8)};
}

Rgb16 card(std::uint32_t phase, std::uint32_t sensor_x, std::uint32_t sensor_y)
{
    const std::uint32_t x = sensor_x % card_width;
    const std::uint32_t y = sensor_y % card_height;
    const bool left = x < corner;
    const bool right = x >= card_width - corner;
    if (y < corner && (left || right)) {
        return left ? red : green;
    }
    if (y >= card_height - corner && (left || right)) {
        return left ? blue : white;
    }
    if (y >= block_top && y < block_top + block_size && x >= block_left(phase) && x < block_left(phase) + block_size) {
        return amber;
    }
    if (x >= letter_left && y >= letter_top) {
        const std::uint32_t column = (x - letter_left) / letter_cell;
        const std::uint32_t row = (y - letter_top) / letter_cell;
        if (column < letter_columns && row < letter.size() &&
            ((letter[row] >> (letter_columns - 1 - column)) & 1) != 0) {
            return white;
        }
    }
    return card_background(x, y);
}

Rgb16 gradient(std::uint32_t phase, std::uint32_t x, std::uint32_t y)
{
    // odd factors: each sample differs from its neighbours in high and low bits, whatever depth is looked at
    return {static_cast<std::uint16_t>((x + 16 * phase) * 257),
            static_cast<std::uint16_t>((y + 16 * phase) * 257 + 3 * x),
            static_cast<std::uint16_t>((x + y + 16 * phase) * 129 + 5 * y)};
}

// One line of the card; `out` has card_width places.
void card_line(std::uint32_t phase, std::uint32_t sensor_y, std::span<Rgb16> out)
{
    const std::uint32_t y = sensor_y % card_height;
    for (std::uint32_t x = 0; x < card_width; ++x) {
        out[x] = card_background(x, y);
    }
    const auto fill = [&](std::uint32_t from, std::uint32_t count, Rgb16 value) {
        std::fill_n(out.begin() + from, count, value);
    };
    if (y >= letter_top && y < letter_top + letter.size() * letter_cell) {
        const std::uint8_t row = letter[(y - letter_top) / letter_cell];
        for (std::uint32_t column = 0; column < letter_columns; ++column) {
            if (((row >> (letter_columns - 1 - column)) & 1) != 0) {
                fill(letter_left + column * letter_cell, letter_cell, white);
            }
        }
    }
    if (y >= block_top && y < block_top + block_size) {
        fill(block_left(phase), block_size, amber);
    }
    if (y < corner) {
        fill(0, corner, red);
        fill(card_width - corner, corner, green);
    } else if (y >= card_height - corner) {
        fill(0, corner, blue);
        fill(card_width - corner, corner, white);
    }
}

}  // namespace

Rgb16 scene(Pattern pattern, std::uint64_t block_id, std::uint32_t x, std::uint32_t y) noexcept
{
    const std::uint32_t phase = phase_of(block_id);
    switch (pattern) {
    case Pattern::card: return card(phase, x, y);
    case Pattern::black: return black;
    case Pattern::white: return white;
    case Pattern::grey_horizontal_ramp: return grey(x * 257);
    case Pattern::grey_vertical_ramp: return grey(y * 257);
    case Pattern::grey_horizontal_ramp_moving: return grey((x + 16 * phase) * 257);
    case Pattern::grey_vertical_ramp_moving: return grey((y + 16 * phase) * 257);
    case Pattern::color_bars: return bars[x / bar_width % bars.size()];
    case Pattern::color_gradient_moving: return gradient(phase, x, y);
    }
    return black;
}

void scene_line(Pattern pattern, std::uint64_t block_id, std::uint32_t x, std::uint32_t y, std::span<Rgb16> out)
{
    const std::uint32_t phase = phase_of(block_id);
    const auto each = [&](auto value_at) {
        for (std::uint32_t i = 0; i < out.size(); ++i) {
            out[i] = value_at(x + i);
        }
    };
    switch (pattern) {
    case Pattern::card: {
        std::array<Rgb16, card_width> tile;
        card_line(phase, y, tile);
        std::uint32_t from = x % card_width;
        for (std::size_t done = 0; done < out.size();) {
            const std::size_t count = std::min<std::size_t>(card_width - from, out.size() - done);
            std::copy_n(tile.begin() + from, count, out.begin() + static_cast<std::ptrdiff_t>(done));
            done += count;
            from = 0;
        }
        break;
    }
    case Pattern::grey_horizontal_ramp: each([](std::uint32_t at) { return grey(at * 257); }); break;
    case Pattern::grey_horizontal_ramp_moving:
        each([phase](std::uint32_t at) { return grey((at + 16 * phase) * 257); });
        break;
    case Pattern::color_bars: each([](std::uint32_t at) { return bars[at / bar_width % bars.size()]; }); break;
    case Pattern::color_gradient_moving: each([phase, y](std::uint32_t at) { return gradient(phase, at, y); }); break;
    case Pattern::black:
    case Pattern::white:
    case Pattern::grey_vertical_ramp:
    case Pattern::grey_vertical_ramp_moving:
        std::fill(out.begin(), out.end(), scene(pattern, block_id, x, y));  // the same along the line
        break;
    }
}

}  // namespace vex::test_pattern
