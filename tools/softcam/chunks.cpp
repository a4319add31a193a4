#include "tools/softcam/chunks.h"

#include <array>
#include <bit>

#include "sdk/wire/bytes.h"
#include "sdk/wire/chunks.h"

using namespace vex;

namespace softcam {

namespace {

bool is_enabled(const ChunkSettings& settings, std::uint32_t kind) noexcept
{
    return settings.active && (settings.enabled >> kind & 1) != 0;
}

/// The first kinds are 64 bits wide, those about the image 32.
std::uint32_t width_of(std::uint32_t kind) noexcept
{
    return kind < static_cast<std::uint32_t>(ChunkKind::width) ? 8 : 4;
}

}  // namespace

std::size_t chunk_bytes(const ChunkSettings& settings) noexcept
{
    std::size_t bytes = 0;
    for (std::uint32_t kind = 0; kind < chunk_kinds; ++kind) {
        bytes += is_enabled(settings, kind) ? width_of(kind) + wire::chunks::tail_size : 0;
    }
    return bytes;
}

void append_chunks(std::vector<std::uint8_t>& block, const ChunkSettings& settings,
                   const test_pattern::FrameSettings& frame, std::uint64_t timestamp, std::uint64_t block_id)
{
    const std::array<std::uint64_t, chunk_kinds> values{
        timestamp,
        block_id,
        std::bit_cast<std::uint64_t>(settings.exposure_us),
        std::bit_cast<std::uint64_t>(settings.gain_db),
        frame.width,
        frame.height,
        frame.offset_x,
        frame.offset_y,
        frame.pixel_format,
    };
    for (std::uint32_t kind = 0; kind < chunk_kinds; ++kind) {
        if (!is_enabled(settings, kind)) {
            continue;
        }
        const std::uint32_t width = width_of(kind);
        block.resize(block.size() + width + wire::chunks::tail_size);
        std::uint8_t* const at = block.data() + block.size() - wire::chunks::tail_size - width;
        if (width == 8) {
            wire::store_be64(at, values[kind]);
        } else {
            wire::store_be32(at, static_cast<std::uint32_t>(values[kind]));
        }
        wire::chunks::encode_tail(first_chunk_id + kind, width, std::span(block).last(wire::chunks::tail_size));
    }
}

}  // namespace softcam
