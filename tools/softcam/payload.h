// The types of payload that the camera's blocks can have.
#pragma once

#include <cstdint>

#include "sdk/transmitterraw/block_transmitter.h"

namespace softcam {

/// How a picture is sent. Its bytes are the same in every type; the leaders tell of them as the type has it, so nothing
/// is really compressed.
enum class PayloadKind : std::uint8_t { image, raw_data, file, jpeg, jpeg2000 };

/// Turns the block of an image into one of another type, when its data is there. Chunks behind the image stay.
void send_as(PayloadKind kind, vex::transmitter::Block& block);

}  // namespace softcam
