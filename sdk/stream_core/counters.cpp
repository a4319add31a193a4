#include "sdk/stream_core/counters.h"

#include <array>
#include <numeric>

namespace vex::stream {

namespace {

constexpr std::array sums{
    &Counters::blocks_begun,
    &Counters::images,
    &Counters::stored_bytes,
    &Counters::packets_lost,
    &Counters::packets_out_of_order,
    &Counters::packets_resent,
    &Counters::statuses_unknown,
    &Counters::local_problems,
    &Counters::data_overruns,
    &Counters::block_ids_missing,
    &Counters::blocks_dropped_by_device,
    &Counters::restarts,
    &Counters::overloads,
    &Counters::resend_requests,
    &Counters::resend_packets_requested,
    &Counters::resends_expected,
    &Counters::resends_expected_single,
    &Counters::resends_unexpected,
    &Counters::images_dropped,
    &Counters::partial_line_missing,
    &Counters::full_line_missing,
    &Counters::eof_by_line_count,
    &Counters::interlaced_even,
    &Counters::interlaced_odd,
};
static_assert(sizeof(Counters) ==
                  (packet_fates + block_fates + sums.size()) * sizeof(std::uint64_t) + sizeof(std::uint64_t),
              "every counter but the last error has an entry above");

}  // namespace

Counters Counters::since(const Counters& start) const noexcept
{
    Counters counted = *this;
    for (std::size_t i = 0; i < packet_fates; ++i) {
        counted.packets[i] -= start.packets[i];
    }
    for (std::size_t i = 0; i < block_fates; ++i) {
        counted.blocks[i] -= start.blocks[i];
    }
    for (const auto sum : sums) {
        counted.*sum -= start.*sum;
    }
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

std::uint64_t Counters::blocks_received() const noexcept
{
    return std::accumulate(blocks.begin(), blocks.end(), std::uint64_t{0}) - of(BlockFate::aborted) -
           of(BlockFate::no_buffer) - of(BlockFate::discarded);
}

}  // namespace vex::stream
