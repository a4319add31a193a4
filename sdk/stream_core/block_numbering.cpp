#include "sdk/stream_core/block_numbering.h"

#include <algorithm>

namespace vex::stream {

namespace {

/// No gap of 64-bit IDs is this long; the device counts from elsewhere.
constexpr std::int64_t longest_gap = std::int64_t{1} << 31;
/// A block that ended this many blocks ago gets no packets any more.
constexpr std::int64_t latest_packets = 100;

}  // namespace

std::int64_t BlockNumbering::begin(const wire::gvsp::Header& header, time_point now) noexcept
{
    begun_ = true;
    extended_ids_ = header.extended_ids;
    newest_id_ = header.block_id;
    first_ = newest_;
    next_ = newest_;
    began_at_ = now;
    return newest_;
}

std::optional<std::int64_t> BlockNumbering::order_of(const wire::gvsp::Header& header) const noexcept
{
    if (header.extended_ids != extended_ids_) {
        return std::nullopt;
    }
    const std::int64_t distance = wire::gvsp::block_id_distance(newest_id_, header.block_id, extended_ids_);
    if (distance > longest_gap || distance < -longest_gap) {
        return std::nullopt;
    }
    return newest_ + distance;
}

bool BlockNumbering::is_new_beginning(std::int64_t order, const wire::gvsp::Leader* leader, time_point now,
                                      const AssemblerSettings& settings) const noexcept
{
    if (!has_ended(order)) {
        return false;
    }
    if (order < next_ - latest_packets) {
        return true;
    }
    const Ended ended = order >= first_ ? ended_[slot(order)] : Ended{.at = began_at_};
    if (leader == nullptr) {
        return now - ended.at > settings.pause;
    }
    return (ended.leader_seen && ended.timestamp != leader->timestamp) || now - ended.at > settings.retention;
}

void BlockNumbering::note_begin(std::int64_t order, std::uint64_t block_id) noexcept
{
    if (order > newest_) {
        newest_ = order;
        newest_id_ = block_id;
    }
}

std::uint64_t BlockNumbering::note_end(std::int64_t order, const Ended& ended) noexcept
{
    const std::int64_t missing = order - next_;
    for (std::int64_t i = std::min(missing, memory_size); i > 0; --i) {
        ended_[slot(order - i)] = {.at = ended.at};
    }
    ended_[slot(order)] = ended;
    next_ = order + 1;
    return static_cast<std::uint64_t>(missing);
}

void BlockNumbering::forget() noexcept
{
    begun_ = false;
    next_ = ++newest_;
}

}  // namespace vex::stream
