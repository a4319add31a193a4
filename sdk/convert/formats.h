// The pixel types as the converter sees them: what the values mean and how they are packed.
#pragma once

#include <cstdint>

#include "sdk/buffer/PvPixelType.h"

namespace vex::convert {

/// What the channels of a pixel are.
enum class Model : std::uint8_t {
    mono,   ///< one channel, grey
    bayer,  ///< one channel, whose colour depends on the place
    rgb,
    yuv,
};

/// How the values lie in memory (see PvPixelType). Where colours have an order, red comes first.
enum class Packing : std::uint8_t {
    bytes,         ///< one channel
    signed_bytes,  ///< one channel
    words,         ///< one channel, `depth` low bits of 16
    pairs,         ///< one channel, two pixels in three bytes
    triples,       ///< three channels of a byte each
    quads,         ///< the same and a fourth byte
    word_triples,  ///< three channels of 16 bits
    rgb555,
    rgb10_v1,
    rgb10_v2,
    rgb12_v1,
    planar_bytes,
    planar_words,
    yuv411,
    uyvy,
    yuyv,
    yuv444,
};

struct Format {
    PvPixelType type = PvPixelUndefined;
    Model model = Model::mono;
    Packing packing = Packing::bytes;
    std::uint8_t depth = 8;   ///< significant bits of a channel; below 8 they are scaled up to 8 when unpacked
    bool blue_first = false;  ///< red and blue change places
    bool alpha = false;       ///< the fourth byte has a meaning
    bool windows = false;
    bool destination = false;  ///< other types can be converted to this one
    std::uint8_t red_x = 0;    ///< Bayer: column and line of the first red pixel
    std::uint8_t red_y = 0;
};

/// Null for a value that is no pixel type.
[[nodiscard]] const Format* find_format(PvPixelType type) noexcept;

}  // namespace vex::convert
