// What of one block has not come yet, and what was done about it.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/stream_core/stream_settings.h"

namespace vex::stream {

/// IDs count from the leader (0) over the payload to the trailer. Packets before the furthest one seen that did not
/// come are gaps; what may follow the furthest one is the tail, which ends with the trailer.
///
/// A gap is asked for after a delay, again when nothing came, and given up in the end, or at once when the device says
/// that it has the packets no more. The tail is asked for when somebody says so, since it may just not have been sent:
/// while it may still come by itself, its first packet alone is asked for. If that comes and nothing after it, the rest
/// is lost.
///
/// Time is what the caller says it is. Not thread-safe; packets in their order cost one comparison, and memory is used
/// for gaps only and kept from block to block.
class MissingPackets {
public:
    using time_point = net::Clock::time_point;
    using duration = net::Clock::duration;

    /// What the order of answers tells. A device answers requests as they come: what was asked for before a packet that
    /// has come, and has not come itself, was lost on its way, unless it only changed places with others.
    struct Answered {
        std::uint64_t settled = 0;  ///< a request to which an answer came long enough ago
        std::uint64_t latest = 0;   ///< one to which an answer came since then, or the same
        time_point since{};         ///< when that was noticed

        /// An answer to `request` is the furthest so far; others are overtaken by it after `delay`.
        void look(std::uint64_t request, time_point now, duration delay) noexcept
        {
            if (settled != latest && now - since >= delay) {
                settled = latest;
            }
            if (settled == latest && request > latest) {
                latest = request;
                since = now;
            }
        }
    };

    /// The settings that matter here, and what is left of the packets that may be asked for at the same time.
    struct Terms {
        explicit Terms(const StreamSettings& settings) noexcept;

        duration delay;
        duration timeout;
        std::uint32_t most_requests;  ///< for one packet
        std::uint32_t group;
        std::uint64_t most_pending;
        std::uint64_t budget;
        bool may_repeat = true;  ///< false while an answer may wait to be read
        Answered answered;

        /// Whether what was asked for by that request, or the same one again, will not come any more.
        [[nodiscard]] bool is_overtaken(std::uint64_t request) const noexcept
        {
            return request != 0 && request < answered.settled;
        }
        /// When a request that was sent then, and repeated so often, has been waited for long enough.
        [[nodiscard]] time_point waits_until(time_point since, std::uint32_t requests,
                                             std::uint64_t request) const noexcept
        {
            const time_point silent = since + patience(requests);
            if (request == 0 || request >= answered.latest) {
                return silent;
            }
            // what cannot be asked for again is given the time of one answer
            const duration shortest = requests < most_requests ? delay : timeout;
            const time_point overtaken = is_overtaken(request) ? since : answered.since + delay;
            return std::min(silent, std::max(overtaken, since + shortest));
        }

        /// How long an answer to the latest of so many requests is waited for: twice as long for each further one. What
        /// is not answered soon comes from a sender or a host that is held up, and asking faster would hold it up more.
        [[nodiscard]] duration patience(std::uint32_t requests) const noexcept
        {
            constexpr std::uint32_t most_doublings = 4;
            return timeout * (1 << std::min(requests - 1, most_doublings));
        }
    };

    /// One request: packets `first` to `last`.
    struct Request {
        std::uint32_t first = 0;
        std::uint32_t last = 0;
    };

    enum class Arrival : std::uint8_t { unasked, asked, asked_alone };

    /// Nothing has come yet.
    void open() noexcept;

    /// A packet took its place. Tells whether it had been asked for.
    Arrival arrived(std::uint32_t id, time_point now)
    {
        if (id == next_ && !tail_asked_) [[likely]] {
            ++next_;
            return Arrival::unasked;
        }
        return arrived_otherwise(id, now);
    }
    /// The next `count` packets took their places in their order. Only while is_in_order().
    void arrived_in_order(std::uint32_t count) noexcept { next_ += count; }
    /// Whether the next packet in order is not one that was asked for.
    [[nodiscard]] bool is_in_order() const noexcept { return !tail_asked_; }
    /// The trailer came: nothing follows.
    void close_tail() noexcept { tail_open_ = false; }
    /// A packet that had come turned out to be damaged.
    void lose(std::uint32_t id, time_point now);

    /// The device has that packet no more, or none up to it.
    void refuse(std::uint32_t id, bool all_before);
    /// The device cannot send that packet before `until`.
    void postpone(std::uint32_t id, time_point until) noexcept;

    /// The first ID after all that were seen.
    [[nodiscard]] std::uint32_t next() const noexcept { return next_; }
    [[nodiscard]] bool tail_is_open() const noexcept { return tail_open_; }
    /// Gaps that are asked for, or will be.
    [[nodiscard]] bool has_gaps() const noexcept { return !gaps_.empty(); }
    /// Whether the tail is open and may be asked for (again).
    [[nodiscard]] bool may_ask_for_tail(const Terms& terms) const noexcept
    {
        return tail_open_ && !tail_refused_ && tail_requests_ < terms.most_requests;
    }
    /// Whether an answer to the latest request for the tail may come.
    [[nodiscard]] bool awaits_tail(time_point now, const Terms& terms) const noexcept
    {
        return tail_open_ && !tail_refused_ && tail_requests_ != 0 && tail_due(terms) > now;
    }
    /// The tail was asked for at some time.
    [[nodiscard]] bool tail_was_asked_for() const noexcept { return tail_asked_; }
    /// Its first packet came when that alone was asked for, and nothing after it.
    [[nodiscard]] bool tail_stopped_again() const noexcept { return probe_answered_; }
    /// Until then an answer to the latest request for the tail may come.
    [[nodiscard]] time_point tail_due(const Terms& terms) const noexcept
    {
        if (tail_requests_ == 0 || tail_numbers_.last == 0) {
            return tail_due_;
        }
        return std::min(tail_due_, terms.waits_until(tail_asked_at_, tail_requests_, tail_numbers_.last));
    }
    /// When the first gap is to be asked for or given up; empty without a gap.
    [[nodiscard]] std::optional<time_point> due(const Terms& terms) const noexcept;
    /// Whether the latest request for it was answered in vain, or its answer lost.
    [[nodiscard]] bool tail_is_overtaken(const Terms& terms) const noexcept
    {
        return terms.is_overtaken(tail_numbers_.last);
    }
    /// Of the requests to which answers came the one with the highest number; 0 without.
    [[nodiscard]] std::uint64_t answered() const noexcept { return answered_; }
    /// Packets that were asked for and have not come.
    [[nodiscard]] std::uint64_t pending() const noexcept;

    // why packets were given up
    [[nodiscard]] bool refused() const noexcept { return refused_; }
    [[nodiscard]] bool exhausted() const noexcept { return exhausted_ || (tail_open_ && tail_spent_); }
    [[nodiscard]] bool too_many() const noexcept { return too_many_; }
    [[nodiscard]] bool gave_up() const noexcept { return refused() || exhausted() || too_many(); }

    /// Asks for the gaps that are due, by calling `ask(Request)`, which returns the request's number, and gives up
    /// those that were asked for often enough. Requests are numbered over all blocks in their order, from 1 on. Returns
    /// how many packets were given up.
    template <typename Ask>
    std::uint64_t ask_for_gaps(time_point now, Terms& terms, Ask&& ask);
    /// What is known of a tail when it is asked for.
    struct Tail {
        std::optional<std::uint32_t> last;  ///< the trailer's ID
        bool may_follow = false;            ///< it may just not have been sent yet
    };
    /// Asks for the tail, or for its first packet: not by the last request that is allowed, that asks for all.
    template <typename Ask>
    void ask_for_tail(time_point now, Terms& terms, const Tail& tail, Ask&& ask);

private:
    /// The numbers of those that asked for the same packets. What comes answers the first of them, for all that is
    /// known; what does not come has failed to answer the last.
    struct Requests {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
    };
    struct Gap {
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        time_point since;            // noticed or, once asked for, last asked for (or put off)
        std::uint32_t requests = 0;  // so far
        bool alone = false;          // asked for by a request of its own
        Requests numbers{};

        [[nodiscard]] std::uint64_t size() const noexcept { return std::uint64_t{last} - first + 1; }
        [[nodiscard]] time_point due(const Terms& terms) const noexcept
        {
            return requests == 0 ? since + terms.delay : terms.waits_until(since, requests, numbers.last);
        }
    };

    Arrival arrived_otherwise(std::uint32_t id, time_point now);
    void add(const Gap& gap);
    [[nodiscard]] std::vector<Gap>::iterator find(std::uint32_t id) noexcept;
    template <typename Ask>
    static void ask_in_groups(std::uint32_t first, std::uint32_t last, const Terms& terms, Requests& numbers,
                              Ask&& ask);

    std::vector<Gap> gaps_;  // ascending, apart from each other
    std::uint32_t next_ = 0;
    bool tail_open_ = true;
    bool tail_asked_ = false;
    bool tail_refused_ = false;
    bool tail_spent_ = false;          // asked for as often as allowed
    std::uint32_t tail_requests_ = 0;  // since its latest packet came
    std::uint32_t tail_first_ = 0;     // asked for
    std::uint32_t tail_last_ = 0;
    time_point tail_due_;
    time_point tail_asked_at_;
    Requests tail_numbers_;     // none when the device said that it cannot answer yet
    bool tail_probed_ = false;  // the latest request was for its first packet alone, since more may follow
    bool probe_answered_ = false;
    bool refused_ = false;
    bool exhausted_ = false;
    bool too_many_ = false;
    std::uint64_t answered_ = 0;
};

template <typename Ask>
void MissingPackets::ask_in_groups(std::uint32_t first, std::uint32_t last, const Terms& terms, Requests& numbers,
                                   Ask&& ask)
{
    for (std::uint64_t at = first; at <= last; at += terms.group) {
        const auto end = static_cast<std::uint32_t>(std::min<std::uint64_t>(last, at + terms.group - 1));
        numbers.last = ask(Request{static_cast<std::uint32_t>(at), end});
        numbers.first = numbers.first == 0 ? numbers.last : numbers.first;
    }
}

template <typename Ask>
std::uint64_t MissingPackets::ask_for_gaps(time_point now, Terms& terms, Ask&& ask)
{
    std::uint64_t given_up = 0;
    for (auto gap = gaps_.begin(); gap != gaps_.end();) {
        const bool first_time = gap->requests == 0;
        const bool may_ask = first_time || terms.may_repeat || terms.is_overtaken(gap->numbers.last);
        if (gap->due(terms) > now || !may_ask) {
            ++gap;
            continue;
        }
        const bool too_long = first_time && gap->size() > terms.most_pending;
        if (too_long || gap->requests >= terms.most_requests) {
            too_many_ = too_many_ || too_long;
            exhausted_ = exhausted_ || !too_long;
            given_up += gap->size();
            gap = gaps_.erase(gap);
            continue;
        }
        if (first_time && gap->size() > terms.budget) {
            ++gap;
            continue;  // until others have come or were given up
        }
        terms.budget -= first_time ? gap->size() : 0;
        gap->alone = gap->first == gap->last;
        gap->since = now;
        ++gap->requests;
        ask_in_groups(gap->first, gap->last, terms, gap->numbers, ask);
        ++gap;
    }
    return given_up;
}

template <typename Ask>
void MissingPackets::ask_for_tail(time_point now, Terms& terms, const Tail& tail, Ask&& ask)
{
    std::uint64_t most = std::min<std::uint64_t>(tail.last.has_value() ? terms.most_pending : terms.group,
                                                 tail_requests_ == 0 ? terms.budget : terms.most_pending);
    if (most == 0) {
        return;
    }
    tail_probed_ = tail.may_follow && !probe_answered_ && tail_requests_ + 1 < terms.most_requests;
    most = tail_probed_ ? 1 : most;
    const std::uint64_t end = std::min<std::uint64_t>(std::uint64_t{next_} + most - 1,
                                                      tail.last.value_or(std::numeric_limits<std::uint32_t>::max()));
    if (end < next_) {
        tail_refused_ = true;  // all that there can be is there
        return;
    }
    if (tail_requests_ == 0) {
        terms.budget -= end - next_ + 1;
        tail_numbers_ = {};
    }
    ++tail_requests_;
    tail_asked_ = true;
    tail_spent_ = tail_requests_ >= terms.most_requests;
    tail_first_ = next_;
    tail_last_ = static_cast<std::uint32_t>(end);
    tail_due_ = now + terms.patience(tail_requests_);
    tail_asked_at_ = now;
    ask_in_groups(next_, tail_last_, terms, tail_numbers_, ask);
}

}  // namespace vex::stream
