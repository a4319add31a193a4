// What a stream counts. Every datagram is counted in exactly one fate and every block that was begun in exactly one
// end.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "sdk/base/PvResult.h"

namespace vex::stream {

/// What became of one received datagram.
enum class PacketFate : std::uint8_t {
    stored,       ///< part of its block: leader, trailer or payload
    redundant,    ///< its block had it already
    late,         ///< its block was closed already
    foreign,      ///< not from the device
    malformed,    ///< does not follow the protocol or contradicts its block
    no_room,      ///< would lie outside the buffer
    no_buffer,    ///< no buffer was queued for its block
    unavailable,  ///< carries an error status of the device instead of data
    unsupported,  ///< a payload layout that this receiver does not know
};
inline constexpr std::size_t packet_fates = 9;

/// How a block ended.
enum class BlockFate : std::uint8_t {
    complete,
    missing_packets,               ///< that were not asked for, or given up by a timeout
    too_many_resends,              ///< packets were asked for as often as allowed
    resends_failure,               ///< the device no longer has packets that were asked for
    too_many_consecutive_resends,  ///< more packets in a row are missing than may be asked for
    buffer_too_small,
    invalid_format,
    image_error,   ///< every packet came, but the device says that it lost data
    auto_aborted,  ///< by AutoResetOnLackOfResources or ResetOnIdle
    aborted,       ///< by the client
    failed,        ///< no memory for it
    no_buffer,     ///< dropped, as no buffer was queued
    discarded,     ///< thrown away by a flush, or aborted before it had a buffer
};
inline constexpr std::size_t block_fates = 13;

/// Plain sums since the stream was opened. Copied as a whole to be read by other threads.
struct Counters {
    std::array<std::uint64_t, packet_fates> packets{};
    std::array<std::uint64_t, block_fates> blocks{};
    std::uint64_t blocks_begun = 0;
    std::uint64_t images = 0;                    ///< complete blocks of the image type
    std::uint64_t stored_bytes = 0;              ///< payload written to buffers
    std::uint64_t packets_lost = 0;              ///< missing when their block ended
    std::uint64_t packets_out_of_order = 0;      ///< payload that came after later payload of its block
    std::uint64_t packets_resent = 0;            ///< marked by the device as sent again
    std::uint64_t statuses_unknown = 0;          ///< packets with a status that the protocol does not know
    std::uint64_t local_problems = 0;            ///< packets by which the device tells of a problem of its own
    std::uint64_t data_overruns = 0;             ///< blocks that the device could not send fast enough
    std::uint64_t block_ids_missing = 0;         ///< block IDs of which no packet came
    std::uint64_t blocks_dropped_by_device = 0;  ///< that the device says it could not send
    std::uint64_t restarts = 0;                  ///< times the device began to number its blocks anew

    std::uint64_t overloads = 0;  ///< times blocks were given up as more came than could be taken in

    std::uint64_t resend_requests = 0;           ///< sent
    std::uint64_t resend_packets_requested = 0;  ///< packets that the requests asked for
    std::uint64_t resends_expected = 0;          ///< packets that came after they had been asked for
    std::uint64_t resends_expected_single = 0;   ///< of these, by a request for one packet
    std::uint64_t resends_unexpected = 0;        ///< packets marked as sent again that nobody waited for

    std::uint64_t images_dropped = 0;        ///< images for which no buffer was queued
    std::uint64_t partial_line_missing = 0;  ///< images
    std::uint64_t full_line_missing = 0;     ///< images
    std::uint64_t eof_by_line_count = 0;     ///< images
    std::uint64_t interlaced_even = 0;       ///< images
    std::uint64_t interlaced_odd = 0;        ///< images
    PvResult::Code last_error = PvResult::OK;

    friend bool operator==(const Counters&, const Counters&) = default;

    /// What was counted after `start`, an earlier state of the same counters.
    [[nodiscard]] Counters since(const Counters& start) const noexcept;

    /// Blocks that reached the client other than complete, or did not reach it at all.
    [[nodiscard]] std::uint64_t failed_blocks() const noexcept;

    /// Blocks that were handed to the client, complete or not, without those that it aborted.
    [[nodiscard]] std::uint64_t blocks_received() const noexcept;

    [[nodiscard]] std::uint64_t& of(PacketFate fate) noexcept { return packets[static_cast<std::size_t>(fate)]; }
    [[nodiscard]] std::uint64_t of(PacketFate fate) const noexcept { return packets[static_cast<std::size_t>(fate)]; }
    [[nodiscard]] std::uint64_t& of(BlockFate fate) noexcept { return blocks[static_cast<std::size_t>(fate)]; }
    [[nodiscard]] std::uint64_t of(BlockFate fate) const noexcept { return blocks[static_cast<std::size_t>(fate)]; }
};

}  // namespace vex::stream
