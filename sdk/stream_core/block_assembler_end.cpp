// What is done about blocks as time goes by: missing packets are asked for, and blocks end in their order.
#include <algorithm>

#include "sdk/stream_core/block_assembler.h"

namespace vex::stream {

namespace {

using Milliseconds = std::chrono::milliseconds;

/// So many blocks are given up before a device that has never sent anything again is not asked any more.
constexpr std::uint32_t enough_unanswered = 5;

}  // namespace

std::size_t BlockAssembler::blocks_in_flight() const noexcept
{
    return static_cast<std::size_t>(std::ranges::count_if(in_flight(), &BlockFrame::has_begun));
}

std::size_t BlockAssembler::packet_size() const noexcept
{
    std::size_t size = 0;
    for (const BlockFrame* frame : in_flight()) {
        // the only packet of a block may be shorter
        if (frame->next_payload() > 2 && frame->stride() != 0) {
            const std::size_t header =
                numbering_.extended_ids() ? wire::gvsp::extended_header_size : wire::gvsp::standard_header_size;
            size = wire::gvsp::ip_udp_header_size + header + frame->stride();
        }
    }
    return size;
}

bool BlockAssembler::asks_for_resends() const noexcept
{
    return resends_allowed_ && !shedding_ && settings_.resend_packet_enable && !device_.is_any() &&
           (answers_ || unanswered_ < enough_unanswered);
}

void BlockAssembler::look_after()
{
    if (asks_for_resends()) {
        ask();
    }
    settle(drained_);
    const bool starving =
        settings_.auto_reset_on_lack_of_resources != 0 && starved_ >= settings_.auto_reset_on_lack_of_resources;
    const std::optional<time_point> idle = idle_time();
    if (starving || (drained_ && idle.has_value() && *idle <= now_)) {
        abort(Ending::auto_aborted);
        flush_requested_ = flush_requested_ || starving;
        starved_ = 0;
    }
}

/// When the stream resets itself for want of packets.
std::optional<BlockAssembler::time_point> BlockAssembler::idle_time() const noexcept
{
    if (settings_.reset_on_idle_ms == 0 || !numbering_.has_begun()) {
        return std::nullopt;
    }
    return latest_packet_ + Milliseconds(settings_.reset_on_idle_ms);
}

/// Asks for what is missing and due.
void BlockAssembler::ask()
{
    std::uint64_t pending = 0;
    for (const BlockFrame* frame : in_flight()) {
        pending += frame->missing().pending();
    }
    terms_.budget = terms_.most_pending - std::min(terms_.most_pending, pending);
    terms_.may_repeat = drained_;
    terms_.answered.look(answered_, now_, terms_.delay);
    for (BlockFrame* frame : in_flight()) {
        if (!frame->wants_missing()) {
            continue;
        }
        const auto send = [&](const MissingPackets::Request& request) { return send_request(*frame, request); };
        frame->missing().ask_for_gaps(now_, terms_, send);
        const std::optional<time_point> tail = tail_time(*frame);
        if (tail.has_value() && *tail <= now_ &&
            (drained_ || !frame->missing().tail_was_asked_for() || frame->missing().tail_is_overtaken(terms_))) {
            frame->missing().ask_for_tail(
                now_, terms_, {.last = frame->probable_trailer(typical_), .may_follow = is_newest(*frame)}, send);
        }
    }
}

/// Returns the request's number.
std::uint64_t BlockAssembler::send_request(const BlockFrame& frame, const MissingPackets::Request& request)
{
    ++counters_.resend_requests;
    counters_.resend_packets_requested += std::uint64_t{request.last} - request.first + 1;
    port_.request_resend({.block_id = frame.block_id(),
                          .first_packet = request.first,
                          .last_packet = request.last,
                          .extended_ids = numbering_.extended_ids()});
    return counters_.resend_requests;
}

/// When the block's tail is to be asked for; empty when it is not. That of the newest block may just not have been sent
/// yet, and before the first payload packet it has not been exposed.
std::optional<BlockAssembler::time_point> BlockAssembler::tail_time(const BlockFrame& frame) const noexcept
{
    const MissingPackets& missing = frame.missing();
    const bool newest = is_newest(frame);
    if (!frame.wants_missing() || !missing.may_ask_for_tail(terms_) || frame.has_announced_payload() ||
        (newest && !frame.has_payload())) {
        return std::nullopt;
    }
    const bool may_come = newest || (missing.tail_was_asked_for() && !missing.tail_is_overtaken(terms_));
    net::Clock::duration silence = may_come ? terms_.timeout : terms_.delay;
    if (missing.tail_stopped_again()) {
        constexpr int spacings = 4;
        silence = std::clamp(frame.packet_spacing() * spacings, terms_.delay, std::max(terms_.delay, terms_.timeout));
        return frame.last_packet() + silence;
    }
    return std::max(missing.tail_due(terms_), frame.last_packet() + silence);
}

/// Ends, in block order, what is complete or given up; `by_time` also what waited for long enough.
void BlockAssembler::settle(bool by_time)
{
    block_completed_ = false;
    while (open_count_ != 0) {
        const BlockFrame& first = *open_[0];
        if (!is_over(first)) {
            const std::optional<time_point> end = by_time ? end_time(first) : std::nullopt;
            if (!end.has_value() || *end > now_) {
                return;
            }
        }
        end_first(Ending::by_itself);
    }
}

/// Nothing more is to be waited for.
bool BlockAssembler::is_over(const BlockFrame& first) const noexcept
{
    if (first.complete()) {
        return true;
    }
    if (is_newest(first) && first.missing().tail_is_open()) {
        return false;
    }
    if ((settings_.force_missing_packets_at_next_block_start || shedding_) && !is_newest(first)) {
        return true;
    }
    const MissingPackets& missing = first.missing();
    const bool tail_may_come = tail_time(first).has_value() || missing.awaits_tail(now_, terms_);
    return asks_for_resends() && missing.gave_up() && !missing.has_gaps() && !tail_may_come;
}

/// When the first block ends if nothing more comes; empty when it waits for as long as it takes.
std::optional<BlockAssembler::time_point> BlockAssembler::end_time(const BlockFrame& first) const noexcept
{
    std::optional<time_point> end;
    const std::uint32_t most =
        first.is_image() ? settings_.default_image_timeout_ms : settings_.default_block_timeout_ms;
    if (most != 0 && first.has_payload()) {
        end = first.first_payload() + Milliseconds(most);
    }
    if (const std::optional<time_point> waits = patience(first)) {
        end = std::min(end.value_or(*waits), *waits);
    }
    return end;
}

/// As end_time(), by what is missing.
std::optional<BlockAssembler::time_point> BlockAssembler::patience(const BlockFrame& first) const noexcept
{
    const bool newest = is_newest(first);
    if (asks_for_resends() && first.wants_missing()) {
        const MissingPackets& missing = first.missing();
        if (missing.has_gaps()) {
            return std::nullopt;
        }
        if (!newest && tail_time(first).has_value()) {
            return std::nullopt;
        }
        if (!newest && missing.awaits_tail(now_, terms_)) {
            return missing.tail_due(terms_);
        }
    }
    const time_point since = first.last_packet();
    const Milliseconds packet_timeout(settings_.packet_timeout_ms);
    const Milliseconds reordering(std::min(settings_.reordering_timeout_ms, settings_.packet_timeout_ms));
    const auto is_complete = [](const BlockFrame* frame) { return frame->complete(); };
    if (first.has_announced_payload() || std::ranges::any_of(in_flight().subspan(1), is_complete)) {
        return since + reordering;
    }
    if (!newest || first.has_hole() || first.dropped()) {
        return since + packet_timeout;
    }
    if (first.has_payload()) {
        return since + Milliseconds(settings_.inter_packet_timeout_ms);
    }
    // a leader alone announces a block whose exposure may take any time
    if (settings_.first_packet_timeout_ms != 0) {
        return since + Milliseconds(settings_.first_packet_timeout_ms);
    }
    return std::nullopt;
}

std::optional<BlockAssembler::time_point> BlockAssembler::next_deadline() const noexcept
{
    std::optional<time_point> next = idle_time();
    const auto consider = [&next](std::optional<time_point> time) {
        if (time.has_value()) {
            next = std::min(next.value_or(*time), *time);
        }
    };
    if (open_count_ != 0) {
        consider(end_time(*open_[0]));
    }
    if (asks_for_resends()) {
        for (const BlockFrame* frame : in_flight()) {
            if (frame->wants_missing()) {
                consider(frame->missing().due(terms_));
                // without a budget it waits for others, not for a time
                consider(terms_.budget != 0 ? tail_time(*frame) : std::nullopt);
            }
        }
    }
    return next;
}

net::Clock::duration BlockAssembler::payload_left() const noexcept
{
    if (open_count_ == 0) {
        return {};
    }
    const BlockFrame& newest = *open_[open_count_ - 1];
    const std::optional<std::uint32_t> trailer = newest.probable_trailer(typical_);
    const std::uint32_t next = newest.next_payload();
    if (!newest.has_payload() || !newest.missing().tail_is_open() || !trailer.has_value() || *trailer <= next) {
        return {};
    }
    return (now_ - newest.first_payload()) / (next - 1) * (*trailer - next);
}

void BlockAssembler::end_first(Ending ending)
{
    BlockFrame& frame = *open_[0];
    unanswered_ += frame.missing().exhausted() ? 1 : 0;
    if (frame.has_begun()) {
        counters_.block_ids_missing += numbering_.note_end(
            frame.order(), {.leader_seen = frame.has_leader(), .timestamp = frame.timestamp(), .at = now_});
        deliver(frame, ending);
    }
    remove(0);
}

void BlockAssembler::deliver(BlockFrame& frame, Ending ending)
{
    if (frame.buffer() == nullptr && ending != Ending::by_itself && !frame.dropped()) {
        ++counters_.of(BlockFate::discarded);
    } else if (frame.buffer() == nullptr && !give_buffer(frame)) {
        ++counters_.of(BlockFate::no_buffer);
    } else {
        PvBuffer& buffer = *frame.buffer();
        const BlockFate fate = frame.finish(ending, settings_.enable_missing_packets_list, typical_, counters_);
        ++counters_.of(fate);
        port_.deliver(buffer, fate);
    }
}

void BlockAssembler::remove(std::size_t position) noexcept
{
    if (current_ == open_[position]) {
        current_ = nullptr;
    }
    std::copy(open_.begin() + static_cast<std::ptrdiff_t>(position) + 1,
              open_.begin() + static_cast<std::ptrdiff_t>(open_count_),
              open_.begin() + static_cast<std::ptrdiff_t>(position));
    --open_count_;
}

void BlockAssembler::abort(Ending ending)
{
    while (open_count_ != 0) {
        end_first(ending);
    }
    if (ending == Ending::auto_aborted) {
        numbering_.forget();
    }
}

void BlockAssembler::resume(time_point now)
{
    now_ = now;
    while (open_count_ != 0) {
        end_first(Ending::by_itself);
    }
    // answers were thrown away like all else
    unanswered_ = 0;
    shedding_ = false;
    awaits_leader_ = true;
    ++counters_.overloads;
}

void BlockAssembler::discard()
{
    while (open_count_ != 0) {
        const std::size_t last = open_count_ - 1;
        if (PvBuffer* buffer = open_[last]->buffer()) {
            port_.put_back(*buffer);
        }
        counters_.of(BlockFate::discarded) += open_[last]->has_begun() ? 1 : 0;
        remove(last);
    }
    numbering_.forget();
}

bool BlockAssembler::forget(const PvBuffer& buffer) noexcept
{
    for (BlockFrame* frame : in_flight()) {
        if (frame->buffer() == &buffer) {
            frame->drop();
            return true;
        }
    }
    return false;
}

}  // namespace vex::stream
