// Buffers as blocks.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/transmitterraw/block_transmitter.h"

class PvBuffer;

namespace vex::transmitter {

/// Whether the buffer holds an image or raw data with at least one byte.
[[nodiscard]] bool can_be_sent(const PvBuffer& buffer);

/// What the receiver is told of the buffer; the data is sent from where it lies.
[[nodiscard]] std::shared_ptr<Block> make_block(const PvBuffer& buffer, std::uint64_t block_id,
                                                std::uint64_t timestamp);

/// The block sends a copy of its data from now on, for which it can be asked again.
void keep_a_copy(Block& block);

}  // namespace vex::transmitter
