#include "sdk/convert/demosaic.h"

#include <cstdlib>

namespace vex::convert {
namespace {

template <class Sample>
Sample mean(unsigned a, unsigned b) noexcept
{
    return static_cast<Sample>((a + b + 1) / 2);
}

/// Of two pairs of opposite neighbours.
struct MeanOfFour {
    static std::uint8_t of(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) noexcept
    {
        return static_cast<std::uint8_t>((a + b + c + d + 2) / 4);
    }
    static std::uint16_t of(std::uint16_t a, std::uint16_t b, std::uint16_t c, std::uint16_t d) noexcept
    {
        return mean<std::uint16_t>(mean<std::uint16_t>(a, b), mean<std::uint16_t>(c, d));
    }
};

/// Of two pairs of opposite neighbours, the one that differs clearly less.
struct MeanAlongEdge {
    template <class Sample>
    static Sample of(Sample a, Sample b, Sample c, Sample d) noexcept
    {
        constexpr int threshold = edge_threshold << (8 * (sizeof(Sample) - 1));
        const int first = std::abs(a - b);
        const int second = std::abs(c - d);
        if (second > first + threshold) {
            return mean<Sample>(a, b);
        }
        if (first > second + threshold) {
            return mean<Sample>(c, d);
        }
        return MeanOfFour::of(a, b, c, d);
    }
};

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

template <class Four, class Sample>
void demosaic(BayerLine line, const BayerLines<Sample>& from, std::size_t width,
              const Channels<Sample>& channels) noexcept
{
    const auto [above, here, below] = from;
    const auto to = targets(line, channels);
    for (std::size_t x = 0; x < width; ++x) {
        const std::size_t left = x > 0 ? x - 1 : (width > 1 ? 1 : 0);
        const std::size_t right = x + 1 < width ? x + 1 : (x > 0 ? x - 1 : 0);
        if (x % 2 == line.colored) {
            to.own[x] = here[x];
            to.green[x] = Four::of(here[left], here[right], above[x], below[x]);
            to.other[x] = Four::of(above[left], below[right], above[right], below[left]);
        } else {
            to.own[x] = mean<Sample>(here[left], here[right]);
            to.green[x] = here[x];
            to.other[x] = mean<Sample>(above[x], below[x]);
        }
    }
}

}  // namespace

template <class Sample>
void demosaic_simple(BayerLine line, const BayerLines<Sample>& from, std::size_t width,
                     const Channels<Sample>& to) noexcept
{
    demosaic<MeanOfFour>(line, from, width, to);
}

template <class Sample>
void demosaic_3x3(BayerLine line, const BayerLines<Sample>& from, std::size_t width,
                  const Channels<Sample>& to) noexcept
{
    demosaic<MeanAlongEdge>(line, from, width, to);
}

using Byte = std::uint8_t;
using Word = std::uint16_t;
template void demosaic_simple(BayerLine, const BayerLines<Byte>&, std::size_t, const Channels<Byte>&) noexcept;
template void demosaic_simple(BayerLine, const BayerLines<Word>&, std::size_t, const Channels<Word>&) noexcept;
template void demosaic_3x3(BayerLine, const BayerLines<Byte>&, std::size_t, const Channels<Byte>&) noexcept;
template void demosaic_3x3(BayerLine, const BayerLines<Word>&, std::size_t, const Channels<Word>&) noexcept;

}  // namespace vex::convert
