// Colour from Bayer lines: the two interpolations.
#pragma once

#include "sdk/convert/lines.h"

namespace vex::convert {

/// Which colours a Bayer line has.
struct BayerLine {
    bool has_red = false;     ///< red and green; else blue and green
    std::size_t colored = 0;  ///< column parity of its red or blue pixels
};

/// A Bayer line and its neighbours. Beyond the borders the image is mirrored, the border pixel not repeated: `above` of
/// the first line is the second one.
template <class Sample>
struct BayerLines {
    const Sample* above = nullptr;
    const Sample* here = nullptr;
    const Sample* below = nullptr;
};

/// How much more two opposite neighbours must differ than the two across, in steps of 8 bits, for an edge to be taken
/// to run between them. Below it noise would decide; smooth shades change by less.
inline constexpr unsigned edge_threshold = 16;

/// Each missing colour is the rounded mean of the two or four neighbours that have it. Of four 16-bit samples it is the
/// rounded mean of the two rounded means of those that lie opposite each other: at most one step more.
template <class Sample>
void demosaic_simple(BayerLine line, const BayerLines<Sample>& from, std::size_t width,
                     const Channels<Sample>& to) noexcept;

/// The same, but where four neighbours have the colour and an edge runs between them, the mean of the two along it.
template <class Sample>
void demosaic_3x3(BayerLine line, const BayerLines<Sample>& from, std::size_t width,
                  const Channels<Sample>& to) noexcept;

}  // namespace vex::convert
