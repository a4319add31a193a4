// Turns the scene into images: binning, reversal, region, gain, pixel format.
#include <algorithm>
#include <array>
#include <vector>

#include "sdk/test_pattern/test_pattern_scene.h"

namespace vex::test_pattern {

namespace {

constexpr std::uint32_t unity_gain = 65536;

Rgb16 amplify(Rgb16 value, const FrameSettings& settings)
{
    const auto one = [&](std::uint16_t component) {
        const std::uint64_t amplified = ((std::uint64_t{component} * settings.gain) >> 16) + settings.black_level;
        return static_cast<std::uint16_t>(std::min<std::uint64_t>(amplified, 0xFFFF));
    };
    return {one(value.red), one(value.green), one(value.blue)};
}

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

// The samples of one line: luma, or the one colour of each mosaic position.
void take_samples(Mosaic mosaic, std::span<const Rgb16> values, std::uint32_t y, std::span<std::uint16_t> samples)
{
    if (mosaic == Mosaic::none) {
        std::ranges::transform(values, samples.begin(), luma);
        return;
    }
    // the red pixel of each 2x2 cell; blue is opposite, green the rest
    const bool red_right = mosaic == Mosaic::gr || mosaic == Mosaic::bg;
    const bool red_below = mosaic == Mosaic::gb || mosaic == Mosaic::bg;
    const bool red_line = ((y & 1) != 0) == red_below;
    const auto take = [&](std::size_t first, std::uint16_t Rgb16::*colour) {
        for (std::size_t x = first; x < values.size(); x += 2) {
            samples[x] = values[x].*colour;
        }
    };
    const std::size_t red_column = red_right ? 1 : 0;
    take(red_column, red_line ? &Rgb16::red : &Rgb16::green);
    take(1 - red_column, red_line ? &Rgb16::green : &Rgb16::blue);
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
            for (const std::uint16_t sample : samples(values, y)) {
                *out_++ = static_cast<std::uint8_t>(sample >> 8);
            }
            break;
        case Layout::words:
            for (const std::uint16_t sample : samples(values, y)) {
                word(static_cast<std::uint16_t>(sample >> (16 - format_.depth)));
            }
            break;
        case Layout::packed10:
        case Layout::packed12:
            for (const std::uint16_t sample : samples(values, y)) {
                packed(static_cast<std::uint16_t>(sample >> (16 - format_.depth)));
            }
            break;
        case Layout::rgb:
            for (const Rgb16 value : values) {
                triple(value.red, value.green, value.blue);
            }
            break;
        case Layout::bgr:
            for (const Rgb16 value : values) {
                triple(value.blue, value.green, value.red);
            }
            break;
        case Layout::uyvy:
        case Layout::yuyv:
            for (std::size_t x = 0; x < values.size(); x += 2) {
                pair(yuv_pair(values[x], values[std::min(x + 1, values.size() - 1)]), x + 1 < values.size());
            }
            break;
        }
    }

    void finish()
    {
        if (half_) {
            packed(0);
        }
    }

private:
    std::span<const std::uint16_t> samples(std::span<const Rgb16> values, std::uint32_t y)
    {
        samples_.resize(values.size());
        take_samples(format_.mosaic, values, y, samples_);
        return samples_;
    }

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
        if (!whole) {
            return;
        }
        *out_++ = chroma_first ? value.v : value.y1;
        *out_++ = chroma_first ? value.y1 : value.v;
    }

    const Format& format_;
    std::uint8_t* out_;
    std::vector<std::uint16_t> samples_;
    std::uint16_t first_ = 0;
    bool half_ = false;
};

// Turns the scene into lines of the image: binning, reversal, region, gain.
class LineSource {
public:
    LineSource(const FrameSettings& settings, std::uint64_t block_id)
        : s_(settings), block_id_(block_id), amplifies_(settings.gain != unity_gain || settings.black_level != 0),
          values_(settings.width), scene_(std::size_t{settings.width} * settings.binning_x)
    {}

    std::span<const Rgb16> line(std::uint32_t y)
    {
        const std::uint32_t last_column = s_.sensor_width / s_.binning_x - 1;
        const std::uint32_t last_line = s_.sensor_height / s_.binning_y - 1;
        const std::uint32_t column =
            s_.reverse_x ? last_column - (s_.offset_x + s_.width - 1) : s_.offset_x;  // of the leftmost scene pixel
        const std::uint32_t line = s_.reverse_y ? last_line - (s_.offset_y + y) : s_.offset_y + y;
        if (s_.binning_x == 1 && s_.binning_y == 1) {
            scene_line(s_.pattern, block_id_, column, line, values_);
        } else {
            bin(column, line);
        }
        if (s_.reverse_x) {
            std::ranges::reverse(values_);
        }
        if (amplifies_) {
            for (Rgb16& value : values_) {
                value = amplify(value, s_);
            }
        }
        return values_;
    }

private:
    void bin(std::uint32_t column, std::uint32_t line)
    {
        sums_.assign(s_.width, {});
        for (std::uint32_t j = 0; j < s_.binning_y; ++j) {
            scene_line(s_.pattern, block_id_, column * s_.binning_x, line * s_.binning_y + j, scene_);
            for (std::size_t i = 0; i < scene_.size(); ++i) {
                Sum& sum = sums_[i / s_.binning_x];
                sum.red += scene_[i].red;
                sum.green += scene_[i].green;
                sum.blue += scene_[i].blue;
            }
        }
        const std::uint32_t count = s_.binning_x * s_.binning_y;
        std::ranges::transform(sums_, values_.begin(), [count](const Sum& sum) -> Rgb16 {
            return {static_cast<std::uint16_t>(sum.red / count), static_cast<std::uint16_t>(sum.green / count),
                    static_cast<std::uint16_t>(sum.blue / count)};
        });
    }

    struct Sum {
        std::uint32_t red = 0;
        std::uint32_t green = 0;
        std::uint32_t blue = 0;
    };

    const FrameSettings& s_;
    const std::uint64_t block_id_;
    const bool amplifies_;
    std::vector<Rgb16> values_;
    std::vector<Rgb16> scene_;
    std::vector<Sum> sums_;
};

}  // namespace

bool supports(std::uint32_t pixel_format) noexcept { return find_format(pixel_format) != nullptr; }

std::size_t image_bytes(const FrameSettings& settings) noexcept
{
    const std::size_t pixels = std::size_t{settings.width} * settings.height;
    const Format* format = find_format(settings.pixel_format);
    if (format != nullptr && (format->layout == Layout::packed10 || format->layout == Layout::packed12)) {
        return (pixels + 1) / 2 * 3;
    }
    return pixels * ((settings.pixel_format >> 16) & 0xFF) / 8;
}

Rgb16 pixel(const FrameSettings& settings, std::uint64_t block_id, std::uint32_t x, std::uint32_t y) noexcept
{
    std::uint32_t binned_x = settings.offset_x + x;
    std::uint32_t binned_y = settings.offset_y + y;
    if (settings.reverse_x) {
        binned_x = settings.sensor_width / settings.binning_x - 1 - binned_x;
    }
    if (settings.reverse_y) {
        binned_y = settings.sensor_height / settings.binning_y - 1 - binned_y;
    }
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
    return amplify({static_cast<std::uint16_t>(red / count), static_cast<std::uint16_t>(green / count),
                    static_cast<std::uint16_t>(blue / count)},
                   settings);
}

void render(const FrameSettings& settings, std::uint64_t block_id, std::span<std::uint8_t> out)
{
    const Format* format = find_format(settings.pixel_format);
    if (format == nullptr || out.size() < image_bytes(settings)) {
        return;
    }
    LineSource source(settings, block_id);
    Packer packer(*format, out);
    for (std::uint32_t y = 0; y < settings.height; ++y) {
        packer.line(source.line(y), y);
    }
    packer.finish();
}

}  // namespace vex::test_pattern
