// Packets that say themselves where their data belong.
#include <algorithm>
#include <cstring>
#include <new>

#include "sdk/stream_core/block_frame.h"

namespace vex::stream {

PacketFate BlockFrame::put_placed(std::uint32_t packet_id, const wire::gvsp::PlacedPayload& payload, bool of_part,
                                  Counters& counters)
{
    const bool is_other_kind = (highest_ != 0 || leader_seen_) && !placed_;
    const bool has_parts = parts_.size() != 0;
    if (packet_id == 0 || payload.data.empty() || is_other_kind || (trailer_seen_ && packet_id > payload_packets_) ||
        (leader_seen_ && has_parts != of_part)) {
        return PacketFate::malformed;
    }
    if (of_part && !leader_seen_) {
        return PacketFate::unsupported;  // it is missing until it comes again
    }
    if (arrived_.test(packet_id)) {
        return PacketFate::redundant;
    }
    const std::uint64_t length = payload.data.size();
    std::uint64_t offset = payload.offset;
    if (of_part) {
        const std::optional<std::uint64_t> place = parts_.place(payload.part, payload.offset, length);
        if (!place.has_value()) {
            return PacketFate::malformed;
        }
        offset = *place;
    } else if (offset > announced_.most || length > announced_.most - offset) {
        return PacketFate::malformed;
    }
    placed_ = true;
    if (offset > capacity_ || length > capacity_ - offset) {
        note_order(packet_id, counters);
        extent_ = std::max(extent_, offset + length);
        return put_outside(packet_id, offset, payload.data, counters);
    }
    try {
        const std::uint64_t before = ranges_.total();
        if (!ranges_.add(offset, length)) {
            return PacketFate::malformed;
        }
        arrived_.set(packet_id);
        bytes_ += ranges_.total() - before;
        counters.stored_bytes += ranges_.total() - before;
    } catch (const std::bad_alloc&) {
        failure_ = PvResult::NotEnoughMemory;
        return PacketFate::no_room;
    }
    note_order(packet_id, counters);
    extent_ = std::max(extent_, offset + length);
    std::memcpy(memory_ + offset, payload.data.data(), payload.data.size());
    arrived(packet_id);
    ++received_;
    return PacketFate::stored;
}

}  // namespace vex::stream
