#include "sdk/convert/demosaic.h"

namespace convert {
namespace {

template <class Sample>
Sample mean(unsigned a, unsigned b) noexcept
{
    return static_cast<Sample>((a + b + 1) / 2);
}

template <class Sample>
Sample mean(unsigned a, unsigned b, unsigned c, unsigned d) noexcept
{
    return static_cast<Sample>((a + b + c + d + 2) / 4);
}

/// The line's own colour and the one that it lacks.
template <class Sample>
struct Targets {
    Sample* own;
    Sample* green;
    Sample* other;
};

template <class Sample>
Targets<Sample> targets(BayerLine line, const Channels<Sample>& to) noexcept
{
    return line.has_red ? Targets<Sample>{to.color[0], to.color[1], to.color[2]}
                        : Targets<Sample>{to.color[2], to.color[1], to.color[0]};
}

template <class Sample>
struct Simple {
    const Sample* here;
    const Sample* next;
    Targets<Sample> to;

    void colored(std::size_t x, std::size_t right) const noexcept
    {
        to.own[x] = here[x];
        to.green[x] = mean<Sample>(here[right], next[x]);
        to.other[x] = next[right];
    }
    void green(std::size_t x, std::size_t right) const noexcept
    {
        to.own[x] = here[right];
        to.green[x] = mean<Sample>(here[x], next[right]);
        to.other[x] = next[x];
    }
};

template <class Sample>
struct Bilinear {
    const Sample* above;
    const Sample* here;
    const Sample* below;
    Targets<Sample> to;

    void colored(std::size_t x, std::size_t left, std::size_t right) const noexcept
    {
        to.own[x] = here[x];
        to.green[x] = mean<Sample>(here[left], here[right], above[x], below[x]);
        to.other[x] = mean<Sample>(above[left], above[right], below[left], below[right]);
    }
    void green(std::size_t x, std::size_t left, std::size_t right) const noexcept
    {
        to.own[x] = mean<Sample>(here[left], here[right]);
        to.green[x] = here[x];
        to.other[x] = mean<Sample>(above[x], below[x]);
    }
};

}  // namespace

template <class Sample>
void demosaic_simple(BayerLine line, const Sample* here, const Sample* next, std::size_t width,
                     const Channels<Sample>& to) noexcept
{
    const Simple<Sample> pixel{here, next, targets(line, to)};
    const auto at = [&](std::size_t x, std::size_t right) {
        x % 2 == line.colored ? pixel.colored(x, right) : pixel.green(x, right);
    };
    std::size_t x = 0;
    if (line.colored == 1 && width > 1)
        at(x++, 1);
    for (; x + 2 < width; x += 2) {
        pixel.colored(x, x + 1);
        pixel.green(x + 1, x + 2);
    }
    for (; x < width; ++x)
        at(x, x + 1 < width ? x + 1 : (x > 0 ? x - 1 : 0));
}

template <class Sample>
void demosaic_3x3(BayerLine line, const Sample* above, const Sample* here, const Sample* below, std::size_t width,
                  const Channels<Sample>& to) noexcept
{
    const Bilinear<Sample> pixel{above, here, below, targets(line, to)};
    const auto at = [&](std::size_t x) {
        const std::size_t left = x > 0 ? x - 1 : (width > 1 ? 1 : 0);
        const std::size_t right = x + 1 < width ? x + 1 : (x > 0 ? x - 1 : 0);
        x % 2 == line.colored ? pixel.colored(x, left, right) : pixel.green(x, left, right);
    };
    std::size_t x = 0;
    for (; x < width && (x == 0 || x % 2 != line.colored); ++x)
        at(x);
    for (; x + 2 < width; x += 2) {
        pixel.colored(x, x - 1, x + 1);
        pixel.green(x + 1, x, x + 2);
    }
    for (; x < width; ++x)
        at(x);
}

template void demosaic_simple(BayerLine, const std::uint8_t*, const std::uint8_t*, std::size_t,
                              const Channels<std::uint8_t>&) noexcept;
template void demosaic_simple(BayerLine, const std::uint16_t*, const std::uint16_t*, std::size_t,
                              const Channels<std::uint16_t>&) noexcept;
template void demosaic_3x3(BayerLine, const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, std::size_t,
                           const Channels<std::uint8_t>&) noexcept;
template void demosaic_3x3(BayerLine, const std::uint16_t*, const std::uint16_t*, const std::uint16_t*, std::size_t,
                           const Channels<std::uint16_t>&) noexcept;

}  // namespace convert
