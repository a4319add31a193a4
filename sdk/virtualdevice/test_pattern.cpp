#include "sdk/virtualdevice/test_pattern.h"

#include <algorithm>
#include <array>
#include <vector>

namespace test_pattern {

namespace {

constexpr std::uint32_t card_width = 640;
constexpr std::uint32_t card_height = 480;
constexpr std::uint32_t corner = 96;

constexpr Rgb16 black{0, 0, 0};
constexpr Rgb16 white{0xFFFF, 0xFFFF, 0xFFFF};

constexpr std::array<Rgb16, 8> bars = {{{0xFFFF, 0xFFFF, 0xFFFF},
                                        {0xFFFF, 0xFFFF, 0},
                                        {0, 0xFFFF, 0xFFFF},
                                        {0, 0xFFFF, 0},
                                        {0xFFFF, 0, 0xFFFF},
                                        {0xFFFF, 0, 0},
                                        {0, 0, 0xFFFF},
                                        {0, 0, 0}}};

// The letter F in cells of 32 pixels: no mirror image or rotation of it looks the same.
constexpr std::array<std::uint8_t, 7> letter = {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b10000};
constexpr std::uint32_t letter_cell = 32;
constexpr std::uint32_t letter_left = 240;
constexpr std::uint32_t letter_top = 112;

constexpr std::uint32_t block_size = 40;
constexpr std::uint32_t block_top = 400;

constexpr std::uint32_t step(std::uint64_t block_id) { return static_cast<std::uint32_t>(block_id % cycle); }

constexpr Rgb16 grey(std::uint32_t value)
{
    const auto v = static_cast<std::uint16_t>(value);
    return {v, v, v};
}

Rgb16 card(std::uint32_t phase, std::uint32_t sensor_x, std::uint32_t sensor_y)
{
    const std::uint32_t x = sensor_x % card_width;
    const std::uint32_t y = sensor_y % card_height;
    const bool left = x < corner;
    const bool right = x >= card_width - corner;
    if (y < corner) {
        if (left)
            return {0xFFFF, 0, 0};
        if (right)
            return {0, 0xFFFF, 0};
    }
    if (y >= card_height - corner) {
        if (left)
            return {0, 0, 0xFFFF};
        if (right)
            return white;
        constexpr std::uint32_t stride =
            (card_width - 2 * corner - block_size) / 15;  // the last of 16 ends at the right
        const std::uint32_t block_left = corner + phase * stride;
        if (y >= block_top && y < block_top + block_size && x >= block_left && x < block_left + block_size)
            return {0xFFFF, 0xC000, 0};
    }
    if (x >= letter_left && y >= letter_top) {
        const std::uint32_t column = (x - letter_left) / letter_cell;
        const std::uint32_t row = (y - letter_top) / letter_cell;
        if (column < 5 && row < letter.size() && ((letter[row] >> (4 - column)) & 1) != 0)
            return white;
    }
    // a dark background with a slope in each direction, so that every line and column differs
    return {static_cast<std::uint16_t>(4096 + x * 16), static_cast<std::uint16_t>(8192 + y * 16),
            static_cast<std::uint16_t>(12288 + (x + y) * 8)};
}

Rgb16 gradient(std::uint32_t phase, std::uint32_t x, std::uint32_t y)
{
    // odd factors: each sample differs from its neighbours in high and low bits, whatever depth is looked at
    const std::uint32_t red = (x + 16 * phase) * 257;
    const std::uint32_t green = (y + 16 * phase) * 257 + 3 * x;
    const std::uint32_t blue = (x + y + 16 * phase) * 129 + 5 * y;
    return {static_cast<std::uint16_t>(red), static_cast<std::uint16_t>(green), static_cast<std::uint16_t>(blue)};
}

std::uint16_t amplify(std::uint32_t value, const FrameSettings& settings)
{
    const std::uint64_t amplified = ((std::uint64_t{value} * settings.gain) >> 16) + settings.black_level;
    return static_cast<std::uint16_t>(std::min<std::uint64_t>(amplified, 0xFFFF));
}

// ---- packing ----

// How samples of a format lie in memory.
enum class Layout : std::uint8_t { bits8, words, packed10, packed12, rgb, bgr, uyvy, yuyv };

// Which colour a mosaic has at even and odd positions of even and odd lines.
enum class Mosaic : std::uint8_t { none, rg, gr, gb, bg };

struct Format {
    std::uint32_t code;
    Layout layout;
    unsigned depth;
    Mosaic mosaic;
};

constexpr std::array formats = {
    Format{0x01080001, Layout::bits8, 8, Mosaic::none},     Format{0x01100003, Layout::words, 10, Mosaic::none},
    Format{0x010C0004, Layout::packed10, 10, Mosaic::none}, Format{0x01100005, Layout::words, 12, Mosaic::none},
    Format{0x010C0006, Layout::packed12, 12, Mosaic::none}, Format{0x01100007, Layout::words, 16, Mosaic::none},
    Format{0x01080008, Layout::bits8, 8, Mosaic::gr},       Format{0x01080009, Layout::bits8, 8, Mosaic::rg},
    Format{0x0108000A, Layout::bits8, 8, Mosaic::gb},       Format{0x0108000B, Layout::bits8, 8, Mosaic::bg},
    Format{0x0110000C, Layout::words, 10, Mosaic::gr},      Format{0x0110000D, Layout::words, 10, Mosaic::rg},
    Format{0x0110000E, Layout::words, 10, Mosaic::gb},      Format{0x0110000F, Layout::words, 10, Mosaic::bg},
    Format{0x01100010, Layout::words, 12, Mosaic::gr},      Format{0x01100011, Layout::words, 12, Mosaic::rg},
    Format{0x01100012, Layout::words, 12, Mosaic::gb},      Format{0x01100013, Layout::words, 12, Mosaic::bg},
    Format{0x010C0026, Layout::packed10, 10, Mosaic::gr},   Format{0x010C0027, Layout::packed10, 10, Mosaic::rg},
    Format{0x010C0028, Layout::packed10, 10, Mosaic::gb},   Format{0x010C0029, Layout::packed10, 10, Mosaic::bg},
    Format{0x010C002A, Layout::packed12, 12, Mosaic::gr},   Format{0x010C002B, Layout::packed12, 12, Mosaic::rg},
    Format{0x010C002C, Layout::packed12, 12, Mosaic::gb},   Format{0x010C002D, Layout::packed12, 12, Mosaic::bg},
    Format{0x0110002E, Layout::words, 16, Mosaic::gr},      Format{0x0110002F, Layout::words, 16, Mosaic::rg},
    Format{0x01100030, Layout::words, 16, Mosaic::gb},      Format{0x01100031, Layout::words, 16, Mosaic::bg},
    Format{0x02180014, Layout::rgb, 8, Mosaic::none},       Format{0x02180015, Layout::bgr, 8, Mosaic::none},
    Format{0x0210001F, Layout::uyvy, 8, Mosaic::none},      Format{0x02100032, Layout::yuyv, 8, Mosaic::none},
};

const Format* find_format(std::uint32_t code) noexcept
{
    const auto found = std::ranges::find(formats, code, &Format::code);
    return found != formats.end() ? &*found : nullptr;
}

std::uint16_t sample(const Format& format, Rgb16 value, std::uint32_t x, std::uint32_t y)
{
    if (format.mosaic == Mosaic::none)
        return luma(value);
    // the red pixel of each 2x2 cell; blue is opposite, green the rest
    const bool red_right = format.mosaic == Mosaic::gr || format.mosaic == Mosaic::bg;
    const bool red_below = format.mosaic == Mosaic::gb || format.mosaic == Mosaic::bg;
    const bool at_red_column = ((x & 1) != 0) == red_right;
    const bool at_red_line = ((y & 1) != 0) == red_below;
    if (at_red_column && at_red_line)
        return value.red;
    if (!at_red_column && !at_red_line)
        return value.blue;
    return value.green;
}

std::uint8_t clamp8(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

struct Yuv {
    std::uint8_t y0, y1, u, v;
};

// Full-range BT.601 of two neighbours, which share the chroma of their mean.
Yuv yuv_pair(Rgb16 a, Rgb16 b)
{
    const int red = ((a.red >> 8) + (b.red >> 8)) / 2;
    const int green = ((a.green >> 8) + (b.green >> 8)) / 2;
    const int blue = ((a.blue >> 8) + (b.blue >> 8)) / 2;
    const int u = ((-43 * red - 85 * green + 128 * blue) >> 8) + 128;
    const int v = ((128 * red - 107 * green - 21 * blue) >> 8) + 128;
    return {static_cast<std::uint8_t>(luma(a) >> 8), static_cast<std::uint8_t>(luma(b) >> 8), clamp8(u), clamp8(v)};
}

// Writes lines one after another; packed pairs may span from one line to the next.
class Packer {
public:
    Packer(const Format& format, std::span<std::uint8_t> out) : format_(format), out_(out.data()) {}

    void line(std::span<const Rgb16> values, std::uint32_t y)
    {
        switch (format_.layout) {
        case Layout::bits8:
            for (std::uint32_t x = 0; x < values.size(); ++x)
                *out_++ = static_cast<std::uint8_t>(sample(format_, values[x], x, y) >> 8);
            break;
        case Layout::words:
            for (std::uint32_t x = 0; x < values.size(); ++x)
                word(static_cast<std::uint16_t>(sample(format_, values[x], x, y) >> (16 - format_.depth)));
            break;
        case Layout::packed10:
        case Layout::packed12:
            for (std::uint32_t x = 0; x < values.size(); ++x)
                packed(static_cast<std::uint16_t>(sample(format_, values[x], x, y) >> (16 - format_.depth)));
            break;
        case Layout::rgb:
            for (const Rgb16 value : values)
                triple(value.red, value.green, value.blue);
            break;
        case Layout::bgr:
            for (const Rgb16 value : values)
                triple(value.blue, value.green, value.red);
            break;
        case Layout::uyvy:
        case Layout::yuyv:
            for (std::size_t x = 0; x < values.size(); x += 2)
                pair(yuv_pair(values[x], values[std::min(x + 1, values.size() - 1)]), x + 1 < values.size());
            break;
        }
    }

    void finish()
    {
        if (half_)
            packed(0);
    }

private:
    void word(std::uint16_t value)
    {
        *out_++ = static_cast<std::uint8_t>(value);
        *out_++ = static_cast<std::uint8_t>(value >> 8);
    }

    void triple(std::uint16_t a, std::uint16_t b, std::uint16_t c)
    {
        *out_++ = static_cast<std::uint8_t>(a >> 8);
        *out_++ = static_cast<std::uint8_t>(b >> 8);
        *out_++ = static_cast<std::uint8_t>(c >> 8);
    }

    void packed(std::uint16_t value)
    {
        if (!half_) {
            first_ = value;
            half_ = true;
            return;
        }
        half_ = false;
        if (format_.layout == Layout::packed12) {
            *out_++ = static_cast<std::uint8_t>(first_ >> 4);
            *out_++ = static_cast<std::uint8_t>((first_ & 0xF) | ((value & 0xF) << 4));
            *out_++ = static_cast<std::uint8_t>(value >> 4);
        } else {
            *out_++ = static_cast<std::uint8_t>(first_ >> 2);
            *out_++ = static_cast<std::uint8_t>((first_ & 0x3) | ((value & 0x3) << 4));
            *out_++ = static_cast<std::uint8_t>(value >> 2);
        }
    }

    void pair(const Yuv& value, bool whole)
    {
        const bool chroma_first = format_.layout == Layout::uyvy;
        *out_++ = chroma_first ? value.u : value.y0;
        *out_++ = chroma_first ? value.y0 : value.u;
        if (!whole)
            return;
        *out_++ = chroma_first ? value.v : value.y1;
        *out_++ = chroma_first ? value.y1 : value.v;
    }

    const Format& format_;
    std::uint8_t* out_;
    std::uint16_t first_ = 0;
    bool half_ = false;
};

}  // namespace

Rgb16 scene(Pattern pattern, std::uint64_t block_id, std::uint32_t x, std::uint32_t y) noexcept
{
    const std::uint32_t phase = step(block_id);
    switch (pattern) {
    case Pattern::card: return card(phase, x, y);
    case Pattern::black: return black;
    case Pattern::white: return white;
    case Pattern::grey_horizontal_ramp: return grey(x * 257);
    case Pattern::grey_vertical_ramp: return grey(y * 257);
    case Pattern::grey_horizontal_ramp_moving: return grey((x + 16 * phase) * 257);
    case Pattern::grey_vertical_ramp_moving: return grey((y + 16 * phase) * 257);
    case Pattern::color_bars: return bars[x / 80 % bars.size()];
    case Pattern::color_gradient_moving: return gradient(phase, x, y);
    }
    return black;
}

Rgb16 pixel(const FrameSettings& settings, std::uint64_t block_id, std::uint32_t x, std::uint32_t y) noexcept
{
    std::uint32_t binned_x = settings.offset_x + x;
    std::uint32_t binned_y = settings.offset_y + y;
    if (settings.reverse_x)
        binned_x = settings.sensor_width / settings.binning_x - 1 - binned_x;
    if (settings.reverse_y)
        binned_y = settings.sensor_height / settings.binning_y - 1 - binned_y;
    std::uint32_t red = 0;
    std::uint32_t green = 0;
    std::uint32_t blue = 0;
    for (std::uint32_t j = 0; j < settings.binning_y; ++j) {
        for (std::uint32_t i = 0; i < settings.binning_x; ++i) {
            const Rgb16 value =
                scene(settings.pattern, block_id, binned_x * settings.binning_x + i, binned_y * settings.binning_y + j);
            red += value.red;
            green += value.green;
            blue += value.blue;
        }
    }
    const std::uint32_t count = settings.binning_x * settings.binning_y;
    return {amplify(red / count, settings), amplify(green / count, settings), amplify(blue / count, settings)};
}

bool supports(std::uint32_t pixel_format) noexcept { return find_format(pixel_format) != nullptr; }

std::size_t image_bytes(const FrameSettings& settings) noexcept
{
    const std::size_t pixels = std::size_t{settings.width} * settings.height;
    const Format* format = find_format(settings.pixel_format);
    if (format != nullptr && (format->layout == Layout::packed10 || format->layout == Layout::packed12))
        return (pixels + 1) / 2 * 3;
    return pixels * ((settings.pixel_format >> 16) & 0xFF) / 8;
}

void render(const FrameSettings& settings, std::uint64_t block_id, std::span<std::uint8_t> out)
{
    const Format* format = find_format(settings.pixel_format);
    if (format == nullptr || out.size() < image_bytes(settings))
        return;
    std::vector<Rgb16> values(settings.width);
    Packer packer(*format, out);
    for (std::uint32_t y = 0; y < settings.height; ++y) {
        for (std::uint32_t x = 0; x < settings.width; ++x)
            values[x] = pixel(settings, block_id, x, y);
        packer.line(values, y);
    }
    packer.finish();
}

}  // namespace test_pattern
