#include "sdk/transmitterraw/block_layout.h"

#include <algorithm>
#include <array>

#include "sdk/transmitterraw/block_transmitter.h"

namespace vex::transmitter {

namespace gvsp = wire::gvsp;

namespace {

bool fits_one_packet(const Block& block, std::uint32_t packet_size, bool extended_ids)
{
    if (!block.all_in || block.data.empty() || !gvsp::has_all_in_layout(block.leader)) {
        return false;
    }
    std::array<std::uint8_t, gvsp::largest_leader + gvsp::largest_trailer + gvsp::payload_head_size> head;
    const std::size_t size = gvsp::encode_all_in_head(block.leader, block.trailer, block.timestamp, head);
    return size + block.data.size() <= gvsp::data_per_packet(packet_size, extended_ids);
}

}  // namespace

std::optional<BlockLayout> BlockLayout::of(const Block& block, std::uint32_t packet_size, bool extended_ids)
{
    const std::uint16_t type = block.leader.base_type();
    BlockLayout layout;
    layout.data_size_ = block.data.size();
    layout.data_per_packet_ = gvsp::data_per_packet(packet_size, extended_ids);
    layout.all_in_ = fits_one_packet(block, packet_size, extended_ids);
    if (type == gvsp::payload_type::h264 || type == gvsp::payload_type::multi_part) {
        layout.format_ = type == gvsp::payload_type::h264 ? gvsp::Format::h264 : gvsp::Format::multi_part;
        layout.data_per_packet_ -= std::min(layout.data_per_packet_, gvsp::payload_head_size);
    }
    const bool unknown = type == gvsp::payload_type::multi_zone || type == gvsp::payload_type::gendc ||
                         (type == gvsp::payload_type::multi_part && !extended_ids);
    if (layout.data_per_packet_ == 0 || unknown) {
        return std::nullopt;
    }
    if (layout.all_in_) {
        return layout;
    }
    if (type == gvsp::payload_type::multi_part) {
        std::size_t begin = 0;
        for (std::size_t index = 0; const auto part = gvsp::decode_part(block.leader, index); ++index) {
            if (part->length > block.data.size() - begin) {
                return std::nullopt;
            }
            layout.add_run(begin, begin + static_cast<std::size_t>(part->length));
            begin += static_cast<std::size_t>(part->length);
        }
        if (begin != block.data.size()) {
            return std::nullopt;
        }
    } else {
        layout.add_run(0, block.data.size());
    }
    ++layout.last_packet_;  // the trailer
    return layout;
}

void BlockLayout::add_run(std::size_t begin, std::size_t end)
{
    runs_.push_back({last_packet_ + 1, begin, end});
    last_packet_ += (end - begin + data_per_packet_ - 1) / data_per_packet_;
}

BlockLayout::Piece BlockLayout::piece(std::uint64_t packet_id) const noexcept
{
    // of several that begin with the same packet, all but the last are empty
    const auto after = std::ranges::upper_bound(runs_, packet_id, {}, &Run::first_packet);
    const Run& run = *std::prev(after);
    const std::size_t in_part = static_cast<std::size_t>(packet_id - run.first_packet) * data_per_packet_;
    const std::size_t left = run.end - run.begin - in_part;
    return {.part = static_cast<std::size_t>(std::prev(after) - runs_.begin()),
            .offset = run.begin + in_part,
            .in_part = in_part,
            .size = std::min(data_per_packet_, left),
            .ends_part = left <= data_per_packet_};
}

std::size_t BlockLayout::data_before(std::uint64_t packet_id) const noexcept
{
    if (packet_id == 0) {
        return 0;
    }
    return packet_id >= last_packet_ ? data_size_ : piece(packet_id).offset;
}

std::size_t BlockLayout::data_bytes(std::uint64_t first, std::uint64_t last) const noexcept
{
    return data_before(last + 1) - data_before(first);
}

}  // namespace vex::transmitter
