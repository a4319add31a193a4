// The types of payload that the camera's blocks can have.
#pragma once

#include <cstdint>

#include "sdk/transmitterraw/block_transmitter.h"

namespace softcam {

/// How a picture is sent. Its bytes are the same in every type; the leaders tell of them as the type has it, so nothing
/// is really compressed.
///
/// Multi-part blocks hold the upper half of the picture, the lower half, and the chunks if there are any. They need
/// 64-bit IDs; while those are off, they are images.
enum class PayloadKind : std::uint8_t { image, raw_data, file, jpeg, jpeg2000, h264, multi_part };

/// Turns the block of an image into one of another type, when its data is there. Chunks behind the image stay.
void send_as(PayloadKind kind, vex::transmitter::Block& block, bool extended_ids);

}  // namespace softcam
