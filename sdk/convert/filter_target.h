// How a filter that works in place gets from one buffer to another.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"

class PvBuffer;

namespace vex::convert {

/// Makes `out` an image like `in` with the given number of lines, in its own memory or, if that is too small, in new
/// one; it takes over attributes too. The pixels are not copied.
///
/// InvalidParameter when `out` is no image, StateError when a stream holds it, or what PvImage::Alloc fails with; then
/// nothing has changed.
PvResult make_like(const PvBuffer& in, std::uint32_t height, PvBuffer* out);

/// Makes `out` a copy of the image in `in`; does nothing when they are the same buffer.
PvResult copy_image(const PvBuffer* in, PvBuffer* out);

}  // namespace vex::convert
