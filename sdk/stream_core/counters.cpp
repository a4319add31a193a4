#include "sdk/stream_core/counters.h"

#include <numeric>

namespace vex::stream {

Counters Counters::since(const Counters& start) const noexcept
{
    Counters counted = *this;
    for (std::size_t i = 0; i < packet_fates; ++i) {
        counted.packets[i] -= start.packets[i];
    }
    for (std::size_t i = 0; i < block_fates; ++i) {
        counted.blocks[i] -= start.blocks[i];
    }
    counted.blocks_begun -= start.blocks_begun;
    counted.images -= start.images;
    counted.stored_bytes -= start.stored_bytes;
    counted.packets_lost -= start.packets_lost;
    counted.packets_out_of_order -= start.packets_out_of_order;
    counted.packets_resent -= start.packets_resent;
    counted.data_overruns -= start.data_overruns;
    counted.partial_line_missing -= start.partial_line_missing;
    counted.full_line_missing -= start.full_line_missing;
    counted.block_ids_missing -= start.block_ids_missing;
    counted.restarts -= start.restarts;
    if (counted.failed_blocks() == 0) {
        counted.last_error = PvResult::OK;
    }
    return counted;
}

std::uint64_t Counters::failed_blocks() const noexcept
{
    return std::accumulate(blocks.begin(), blocks.end(), std::uint64_t{0}) - of(BlockFate::complete) -
           of(BlockFate::discarded);
}

}  // namespace vex::stream
