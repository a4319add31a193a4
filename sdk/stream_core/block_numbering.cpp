#include "sdk/stream_core/block_numbering.h"

#include <algorithm>

namespace vex::stream {

namespace {

/// No gap of 64-bit IDs is this long; the device counts from elsewhere.
constexpr std::int64_t longest_gap = std::int64_t{1} << 31;
/// A block that ended this many blocks ago gets no packets any more.
constexpr std::int64_t latest_packets = 100;
/// 0 follows the last standard ID of a device that counts through it, also when some blocks before it were lost.
constexpr std::uint64_t last_ids = wire::gvsp::largest_standard_block_id - 64;

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

bool BlockNumbering::can_be_id(const wire::gvsp::Header& header) const noexcept
{
    if (header.block_id != 0) {
        return true;
    }
    return begun_ && !extended_ids_ && !header.extended_ids && (zero_is_an_id_ || newest_id_ >= last_ids);
}

/// How many blocks after the newest one that ID comes, by the shorter way round.
std::int64_t BlockNumbering::distance_to(std::uint64_t id) const noexcept
{
    if (!extended_ids_ && (zero_is_an_id_ || id == 0)) {
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(id - newest_id_));
    }
    return wire::gvsp::block_id_distance(newest_id_, id, extended_ids_);
}

std::optional<std::int64_t> BlockNumbering::order_of(const wire::gvsp::Header& header) const noexcept
{
    if (header.extended_ids != extended_ids_) {
        return std::nullopt;
    }
    const std::int64_t distance = distance_to(header.block_id);
    if (distance > longest_gap || distance < -longest_gap) {
        return std::nullopt;
    }
    return newest_ + distance;
}

bool BlockNumbering::is_new_beginning(std::int64_t order, const wire::gvsp::Header& header,
                                      const wire::gvsp::Leader* leader, time_point now) const noexcept
{
    if (!has_ended(order) || wire::gvsp::is_resent(header)) {
        return false;
    }
    if (order < next_ - latest_packets) {
        return true;
    }
    const Ended ended = order >= first_ ? ended_[slot(order)] : Ended{.at = began_at_};
    if (leader != nullptr && ended.leader_seen && (leader->timestamp != 0 || ended.timestamp != 0)) {
        return ended.timestamp != leader->timestamp;
    }
    return now - ended.at > latest;
}

std::uint64_t BlockNumbering::id_of(std::int64_t order) const noexcept
{
    std::uint64_t id = newest_id_;
    for (std::int64_t at = newest_; at < order; ++at) {
        const bool to_zero = zero_is_an_id_ && !extended_ids_ && id == wire::gvsp::largest_standard_block_id;
        id = to_zero ? 0 : wire::gvsp::next_block_id(id, extended_ids_);
    }
    return id;
}

void BlockNumbering::note_begin(std::int64_t order, std::uint64_t block_id) noexcept
{
    if (order > newest_) {
        newest_ = order;
        newest_id_ = block_id;
        zero_is_an_id_ = zero_is_an_id_ || block_id == 0;
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
