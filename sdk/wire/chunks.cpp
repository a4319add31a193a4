#include "sdk/wire/chunks.h"

#include <cassert>

#include "sdk/wire/bytes.h"
#include "sdk/wire/gvsp.h"

namespace vex::wire::chunks {

namespace {

/// `length` bytes of the block from `offset` on, when they are chunks.
std::span<const std::uint8_t> checked(std::span<const std::uint8_t> block, std::uint64_t offset,
                                      std::uint64_t length) noexcept
{
    if (length == 0 || offset > block.size() || length > block.size() - offset) {
        return {};
    }
    const auto area = block.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
    return is_well_formed(area) ? area : std::span<const std::uint8_t>();
}

}  // namespace

std::optional<Chunk> last_of(std::span<const std::uint8_t> area) noexcept
{
    if (area.size() < tail_size) {
        return std::nullopt;
    }
    const std::size_t room = area.size() - tail_size;
    const std::uint8_t* tail = area.data() + room;
    const std::uint32_t length = load_be32(tail + 4);
    if (length > room) {
        return std::nullopt;
    }
    return Chunk{load_be32(tail), area.subspan(room - length, length)};
}

std::span<const std::uint8_t> before(std::span<const std::uint8_t> area, const Chunk& last) noexcept
{
    return area.first(area.size() - tail_size - last.data.size());
}

bool is_well_formed(std::span<const std::uint8_t> area) noexcept
{
    std::size_t count = 0;
    while (!area.empty()) {
        const std::optional<Chunk> chunk = last_of(area);
        if (!chunk.has_value() || ++count > most_chunks) {
            return false;
        }
        area = before(area, *chunk);
    }
    return count != 0;
}

std::span<const std::uint8_t> area_of(const Block& block) noexcept
{
    const auto base_type = static_cast<std::uint16_t>(block.payload_type & ~gvsp::payload_type::chunks_appended);
    const std::uint64_t size = block.bytes.size();
    const std::uint64_t told = block.chunk_data_length.value_or(0);
    if (block.payload_type != base_type) {
        if (told == 0 || told > size) {
            return {};
        }
        const auto at_end = checked(block.bytes, size - told, told);
        return !at_end.empty() ? at_end : checked(block.bytes, block.data_size, told);
    }
    if (base_type == gvsp::payload_type::chunk_data || base_type == gvsp::payload_type::extended_chunk_data) {
        const auto by_trailer = checked(block.bytes, 0, told);
        return !by_trailer.empty() ? by_trailer : checked(block.bytes, 0, size);
    }
    return {};
}

void encode_tail(std::uint32_t id, std::uint32_t length, std::span<std::uint8_t> out) noexcept
{
    assert(out.size() >= tail_size);
    store_be32(&out[0], id);
    store_be32(&out[4], length);
}

}  // namespace vex::wire::chunks
