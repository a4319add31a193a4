// What the camera tells of a frame inside the frame's block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sdk/test_pattern/test_pattern.h"

namespace softcam {

/// In the order of ChunkSelector's values, which is the order in a block, too.
enum class ChunkKind : std::uint32_t {
    timestamp,
    frame_id,
    exposure_time,
    gain,
    width,
    height,
    offset_x,
    offset_y,
    pixel_format,
};
inline constexpr std::uint32_t chunk_kinds = 9;
/// The description knows the chunk of a kind by this number and the kind.
inline constexpr std::uint32_t first_chunk_id = 0x5C000000;

struct ChunkSettings {
    bool active = false;
    std::uint32_t enabled = 0;  ///< a bit for each kind, the first one lowest
    double exposure_us = 0;
    double gain_db = 0;

    /// Whether blocks carry chunks.
    [[nodiscard]] bool any() const noexcept { return active && enabled != 0; }
};

/// Bytes that the chunks add to a block.
[[nodiscard]] std::size_t chunk_bytes(const ChunkSettings& settings) noexcept;
/// Appends the chunks of a frame. `timestamp` is in the camera's ticks.
void append_chunks(std::vector<std::uint8_t>& block, const ChunkSettings& settings,
                   const vex::test_pattern::FrameSettings& frame, std::uint64_t timestamp, std::uint64_t block_id);

}  // namespace softcam
