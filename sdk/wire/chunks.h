// Chunks: pieces of data of a device's own, each with an ID, that travel in a block with or instead of an image.
//
// An area of chunks is read from its end: each chunk is its data, then its ID and its length, 32 bits each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vex::wire::chunks {

/// Bytes behind each chunk's data.
inline constexpr std::size_t tail_size = 8;
/// An area with more chunks than this is taken for damaged.
inline constexpr std::size_t most_chunks = 1024;

struct Chunk {
    std::uint32_t id = 0;
    std::span<const std::uint8_t> data;
};

/// The chunk that ends the area; nothing when its length does not fit into what stands before it.
[[nodiscard]] std::optional<Chunk> last_of(std::span<const std::uint8_t> area) noexcept;
/// What stands before the chunk that ends the area.
[[nodiscard]] std::span<const std::uint8_t> before(std::span<const std::uint8_t> area, const Chunk& last) noexcept;
/// The area consists of chunks from its first byte to its last.
[[nodiscard]] bool is_well_formed(std::span<const std::uint8_t> area) noexcept;

/// What is known of a received block.
struct Block {
    std::span<const std::uint8_t> bytes;
    std::uint16_t payload_type = 0;                  ///< as on the wire, chunks_appended included
    std::uint64_t data_size = 0;                     ///< bytes of the image or other data before appended chunks
    std::optional<std::uint32_t> chunk_data_length;  ///< by the trailer
};
/// Where the block's chunks lie: the whole block for the chunk types, the length that the trailer told for data with
/// chunks appended, which end with the block or, where a device fills its last packet up, begin right behind the data.
/// Nothing for other types, and where no such area is well-formed. The image may be the first chunk.
[[nodiscard]] std::span<const std::uint8_t> area_of(const Block& block) noexcept;

/// Writes what stands behind the data of a chunk into `out`, which has room for tail_size bytes.
void encode_tail(std::uint32_t id, std::uint32_t length, std::span<std::uint8_t> out) noexcept;

}  // namespace vex::wire::chunks
