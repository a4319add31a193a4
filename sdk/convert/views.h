// Images of buffers as the stages see them, checked once.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"
#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"

class PvBuffer;

namespace vex::convert {

/// A buffer's image whose bytes are known to be there.
template <class Byte>
struct CheckedImage {
    const Format* format = nullptr;  ///< null for a code that is no pixel type
    ImageView<Byte> view;
};

/// InvalidParameter (no buffer, no image, no pixels) or BufferTooSmall (the memory does not hold all lines; `name`
/// tells which buffer). Padding after the last line need not be there.
PvResult check_image(const PvBuffer* buffer, const char* name, CheckedImage<const std::uint8_t>& image);
/// The same for writing, and StateError when a stream holds the buffer.
PvResult check_image(PvBuffer* buffer, const char* name, CheckedImage<std::uint8_t>& image);

/// Whether the data blocks have bytes in common.
[[nodiscard]] bool overlap(const PvBuffer& a, const PvBuffer& b) noexcept;

}  // namespace vex::convert
