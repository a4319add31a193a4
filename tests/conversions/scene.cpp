#include "tests/conversions/scene.h"

#include <optional>

namespace sheet {
namespace {

constexpr int width = 96;
constexpr int height = 64;
constexpr int full = 0xFFFF;

Color color(int red, int green, int blue)
{
    return {static_cast<std::uint16_t>(red), static_cast<std::uint16_t>(green), static_cast<std::uint16_t>(blue)};
}

Color sky(int x, int y)
{
    return color(0x3000 + y * 0x4000 / height, 0x5000 + x * 0x5000 / width, 0xE000 - y * 0x8000 / height);
}

std::optional<Color> ball(int x, int y)
{
    constexpr int radius_squared = 17 * 17;
    const auto squared = [](int value) { return value * value; };
    if (squared(x - 26) + squared(y - 22) > radius_squared) {
        return std::nullopt;
    }
    const int light = full - squared(x - 20) * 85 - squared(y - 15) * 85;  // brightest up on the left
    return color(light, light / 4, light / 5);
}

std::optional<Color> chequers(int x, int y)
{
    if (x < 54 || x >= 86 || y < 6 || y >= 38) {
        return std::nullopt;
    }
    return (x / 4 + y / 4) % 2 != 0 ? color(0x1800, 0x7000, 0x2000) : color(0xF800, 0xE800, 0x4000);
}

Color bar(int x)
{
    const int index = 7 - x * 8 / width;  // white, yellow, cyan, green, magenta, red, blue, black
    return color((index & 2) != 0 ? full : 0, (index & 4) != 0 ? full : 0, (index & 1) != 0 ? full : 0);
}

Color pixel(int x, int y)
{
    if (y >= height - 10) {
        return bar(x);
    }
    if (y >= height - 18) {
        return color(x * full / (width - 1), x * full / (width - 1), x * full / (width - 1));
    }
    if (const auto found = ball(x, y)) {
        return *found;
    }
    return chequers(x, y).value_or(sky(x, y));
}

}  // namespace

Scene draw_scene()
{
    Scene scene{width, height, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            scene.pixels.push_back(pixel(x, y));
        }
    }
    return scene;
}

}  // namespace sheet
