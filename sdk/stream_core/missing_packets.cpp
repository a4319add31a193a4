#include "sdk/stream_core/missing_packets.h"

namespace vex::stream {

namespace {

/// More gaps than these in one block are not told apart: packets between the last ones count as missing, too.
constexpr std::size_t most_gaps = 4096;

}  // namespace

MissingPackets::Terms::Terms(const StreamSettings& settings) noexcept
    : delay(std::chrono::microseconds(settings.resend_delay_us)),
      timeout(std::chrono::milliseconds(settings.resend_request_timeout_ms)),
      most_requests(settings.maximum_resend_request_retry_by_packet + 1), group(settings.maximum_resend_group_size),
      most_pending(settings.maximum_pending_resends), budget(settings.maximum_pending_resends)
{}

void MissingPackets::open() noexcept
{
    gaps_.clear();
    next_ = 0;
    tail_open_ = true;
    tail_asked_ = false;
    tail_refused_ = false;
    tail_spent_ = false;
    tail_requests_ = 0;
    tail_first_ = 0;
    tail_last_ = 0;
    tail_due_ = {};
    tail_asked_at_ = {};
    tail_numbers_ = {};
    answered_ = 0;
    tail_probed_ = false;
    probe_answered_ = false;
    refused_ = false;
    exhausted_ = false;
    too_many_ = false;
}

std::vector<MissingPackets::Gap>::iterator MissingPackets::find(std::uint32_t id) noexcept
{
    const auto gap = std::ranges::lower_bound(gaps_, id, {}, &Gap::last);
    return gap != gaps_.end() && gap->first <= id ? gap : gaps_.end();
}

MissingPackets::Arrival MissingPackets::arrived_otherwise(std::uint32_t id, time_point now)
{
    if (id >= next_) {
        const bool asked = tail_asked_ && id >= tail_first_ && id <= tail_last_;
        if (id > next_) {
            // what was asked for with the tail is asked for again in its turn
            add({.first = next_,
                 .last = id - 1,
                 .since = now,
                 .requests = asked ? std::max(tail_requests_, 1U) : 0,
                 .numbers = asked ? tail_numbers_ : Requests{}});
        }
        probe_answered_ = tail_probed_ && id == tail_first_;
        next_ = id + 1;
        tail_requests_ = 0;
        tail_due_ = {};
        tail_spent_ = false;
        tail_refused_ = false;
        if (!asked) {
            return Arrival::unasked;
        }
        answered_ = std::max(answered_, tail_numbers_.first);
        return tail_first_ == tail_last_ ? Arrival::asked_alone : Arrival::asked;
    }
    const auto gap = find(id);
    if (gap == gaps_.end()) {
        return Arrival::unasked;
    }
    const Gap whole = *gap;
    if (whole.first == whole.last) {
        gaps_.erase(gap);
    } else if (id == whole.first) {
        gap->first = id + 1;
    } else if (id == whole.last) {
        gap->last = id - 1;
    } else {
        gap->last = id - 1;
        Gap rest = whole;
        rest.first = id + 1;
        gaps_.insert(gap + 1, rest);
    }
    if (whole.requests == 0) {
        return Arrival::unasked;
    }
    answered_ = std::max(answered_, whole.numbers.first);
    return whole.alone ? Arrival::asked_alone : Arrival::asked;
}

/// Of a gap behind all others.
void MissingPackets::add(const Gap& gap)
{
    if (gaps_.size() >= most_gaps) {
        too_many_ = true;
        return;
    }
    gaps_.push_back(gap);
}

void MissingPackets::lose(std::uint32_t id, time_point now)
{
    if (id >= next_ || find(id) != gaps_.end() || gaps_.size() >= most_gaps) {
        return;
    }
    gaps_.insert(std::ranges::lower_bound(gaps_, id, {}, &Gap::last), {.first = id, .last = id, .since = now});
}

void MissingPackets::refuse(std::uint32_t id, bool all_before)
{
    for (auto gap = gaps_.begin(); gap != gaps_.end() && gap->first <= id;) {
        if (!all_before && gap->last < id) {
            ++gap;
            continue;
        }
        refused_ = true;
        if (gap->last <= id && (all_before || gap->first == id)) {
            gap = gaps_.erase(gap);
        } else if (all_before || gap->first == id) {
            gap->first = id + 1;
            ++gap;
        } else {
            Gap rest = *gap;
            gap->last = id - 1;
            rest.first = id + 1;
            ++gap;
            if (rest.first <= rest.last) {
                gap = gaps_.insert(gap, rest) + 1;
            }
        }
    }
    // a packet of the tail may just not have been sent: only what was asked for is known to be refused
    if (tail_open_ && id >= next_ && tail_asked_ && id >= tail_first_ && id <= tail_last_) {
        refused_ = true;
        tail_refused_ = true;
    }
}

void MissingPackets::postpone(std::uint32_t id, time_point until) noexcept
{
    if (const auto gap = find(id); gap != gaps_.end()) {
        gap->since = std::max(gap->since, until);
    } else if (id >= next_) {
        tail_due_ = std::max(tail_due_, until);
        tail_numbers_ = {};
    }
}

std::optional<MissingPackets::time_point> MissingPackets::due(const Terms& terms) const noexcept
{
    std::optional<time_point> first;
    for (const Gap& gap : gaps_) {
        if (gap.requests == 0 && gap.size() > terms.budget && gap.size() <= terms.most_pending) {
            continue;  // waits for others, not for a time
        }
        const time_point due = gap.due(terms);
        first = std::min(first.value_or(due), due);
    }
    return first;
}

std::uint64_t MissingPackets::pending() const noexcept
{
    std::uint64_t count = tail_requests_ != 0 && tail_open_ && tail_last_ >= next_ ? tail_last_ - next_ + 1 : 0;
    for (const Gap& gap : gaps_) {
        count += gap.requests != 0 ? gap.size() : 0;
    }
    return count;
}

}  // namespace vex::stream
