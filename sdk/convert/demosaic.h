// Colour from Bayer lines: the two interpolations.
#pragma once

#include "sdk/convert/lines.h"

namespace convert {

/// Which colours a Bayer line has.
struct BayerLine {
    bool has_red = false;     ///< red and green; else blue and green
    std::size_t colored = 0;  ///< column parity of its red or blue pixels
};

/// Each pixel takes its colours from the two by two pixels that begin with it; `next` is the line below or, for the
/// last line, the one above. The last column uses the one before it.
template <class Sample>
void demosaic_simple(BayerLine line, const Sample* here, const Sample* next, std::size_t width,
                     const Channels<Sample>& to) noexcept;

/// Each missing colour is the rounded mean of the neighbours that have it. Beyond the borders the image is mirrored,
/// the border pixel not repeated: `above` of the first line is the second one.
template <class Sample>
void demosaic_3x3(BayerLine line, const Sample* above, const Sample* here, const Sample* below, std::size_t width,
                  const Channels<Sample>& to) noexcept;

}  // namespace convert
