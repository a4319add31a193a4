// Scenes whose colour is known at every place, for judging how well a mosaic of them is interpolated.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace scenes {

/// Red, green and blue, 0 to 1.
using Color = std::array<double, 3>;

struct Scene {
    const char* name;
    Color (*at)(double x, double y);  ///< in pixels
    bool smooth;                      ///< without edges and fine detail
};

inline Color gradient(double x, double y)
{
    const auto ramp = [](double position) { return 0.5 + 0.45 * std::sin(position); };
    return {ramp(x * 0.006), ramp(y * 0.007 + 1), ramp((x + y) * 0.004 + 2)};
}

inline Color waves(double x, double y)
{
    const auto wave = [&](double u, double v, double phase) {
        return 0.5 + 0.25 * std::sin(u * x + phase) + 0.2 * std::cos(v * y - phase);
    };
    return {wave(0.11, 0.07, 0.0), wave(0.09, 0.13, 1.0), wave(0.05, 0.12, 2.0)};
}

/// How much of a pixel lies inside an edge that is `distance` pixels away.
inline double coverage(double distance) { return std::clamp(0.5 - distance, 0.0, 1.0); }

inline Color mixed(const Color& a, const Color& b, double share)
{
    Color result{};
    for (std::size_t c = 0; c < 3; ++c) {
        result[c] = a[c] + (b[c] - a[c]) * share;
    }
    return result;
}

/// Coloured discs on a grey ground.
inline Color discs(double x, double y)
{
    constexpr double pitch = 46;
    const double column = std::floor(x / pitch);
    const double row = std::floor(y / pitch);
    const double distance = std::hypot(x - (column + 0.5) * pitch, y - (row + 0.5) * pitch);
    const auto tone = [&](double seed) { return 0.5 + 0.4 * std::sin(column * 1.7 + row * 2.3 + seed); };
    return mixed({0.55, 0.55, 0.5}, {tone(0), tone(1.1), tone(2.2)}, coverage(distance - 17));
}

/// Dark bars on paper, at angles that change over the scene.
inline Color bars(double x, double y)
{
    const double angle = std::floor(x / 120) * 0.35 + std::floor(y / 120) * 0.15;
    const double position = x * std::cos(angle) + y * std::sin(angle);
    const double distance = std::abs(std::remainder(position, 18)) - 4.3;
    return mixed({0.9, 0.88, 0.82}, {0.12, 0.13, 0.2}, coverage(distance));
}

/// Rings that become finer from the middle of a 512 pixel square outwards, to a period of five pixels.
inline Color rings(double x, double y)
{
    const double u = std::fmod(x, 512) - 256;
    const double v = std::fmod(y, 512) - 256;
    const double value = 0.5 + 0.35 * std::cos((u * u + v * v) * 3.14159265 / (5 * 512));
    return {value, 0.95 * value, 0.85 * value + 0.05};
}

inline constexpr std::array all = {Scene{"gradient", gradient, true}, Scene{"waves", waves, true},
                                   Scene{"discs", discs, false}, Scene{"bars", bars, false},
                                   Scene{"rings", rings, false}};

inline std::uint8_t as_byte(double value)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
}

/// The scene as interleaved red, green and blue.
inline std::vector<std::uint8_t> picture(const Scene& scene, std::uint32_t width, std::uint32_t height)
{
    std::vector<std::uint8_t> rgb;
    rgb.reserve(std::size_t{3} * width * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            for (const double value : scene.at(x, y)) {
                rgb.push_back(as_byte(value));
            }
        }
    }
    return rgb;
}

/// What a sensor with its first red pixel at `red_x`, `red_y` sees of a picture.
inline std::vector<std::uint8_t> mosaic(const std::vector<std::uint8_t>& rgb, std::uint32_t width, std::uint32_t red_x,
                                        std::uint32_t red_y)
{
    std::vector<std::uint8_t> samples(rgb.size() / 3);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const bool red_column = i % width % 2 == red_x;
        const bool red_line = i / width % 2 == red_y;
        samples[i] = rgb[3 * i + (red_column == red_line ? (red_line ? 0 : 2) : 1)];
    }
    return samples;
}

/// Peak signal to noise ratio in dB of two pictures with `border` pixels left out on each side. `second` has
/// `step` bytes a pixel and, with `blue_first`, the other order of colours.
inline double psnr(const std::vector<std::uint8_t>& rgb, const std::uint8_t* second, std::size_t step, bool blue_first,
                   std::uint32_t width, std::uint32_t border)
{
    const std::size_t height = rgb.size() / 3 / width;
    double squares = 0;
    std::size_t count = 0;
    for (std::size_t y = border; y + border < height; ++y) {
        for (std::size_t x = border; x + border < width; ++x) {
            for (std::size_t c = 0; c < 3; ++c, ++count) {
                const std::size_t pixel = y * width + x;
                const int other = second[pixel * step + (blue_first ? 2 - c : c)];
                squares += std::pow(other - static_cast<int>(rgb[pixel * 3 + c]), 2);
            }
        }
    }
    return 10 * std::log10(255.0 * 255.0 / (squares / static_cast<double>(count)));
}

}  // namespace scenes
