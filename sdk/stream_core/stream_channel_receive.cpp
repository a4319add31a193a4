// What a channel's receive thread does.
#include <algorithm>
#include <chrono>
#include <new>
#include <optional>

#include "sdk/base/short_pause.h"
#include "sdk/base/thread_name.h"
#include "sdk/base/thread_priority.h"
#include "sdk/base/trace.h"
#include "sdk/stream_core/stream_channel.h"

namespace vex::stream {

using namespace std::chrono_literals;

namespace {

/// How soon the receive thread notices that it shall stop or flush.
constexpr std::chrono::milliseconds longest_wait = 20ms;
/// A flush that a device keeps feeding ends after this time; what was there when it began is read much sooner.
constexpr std::chrono::milliseconds longest_flush = 50ms;
/// In the middle of a block packets may gather for so long: a system call for each of them costs more than all else.
constexpr std::chrono::microseconds longest_pause = 250us;
constexpr std::chrono::microseconds shortest_pause = 20us;
/// The share of a block's remaining time that may pass unseen. The end of a block is waited for without a pause.
constexpr int pause_share = 2;

}  // namespace

void StreamChannel::receive_loop()
{
    name_this_thread("pv-stream");
    favour_this_thread();
    while (!stop_) {
        if (flush_wanted_) {
            flush_received();
            continue;
        }
        std::chrono::milliseconds wait = 0ms;
        bool is_idle = false;
        {
            const std::lock_guard work(work_);
            const std::span<const net::Datagram> datagrams = read();
            wait = take_in(datagrams);
            is_idle = datagrams.empty();
        }
        if (pause_ >= shortest_pause && pause_shortly(pause_)) {
            continue;
        }
        if (is_idle) {
            // whether there is something now or not: the next read tells
            static_cast<void>(receiver_->wait(wait));
        }
    }
}

/// What has been received, its data where it belongs if it is what was expected. With `work_` held, because until they
/// are looked at packets are written into a buffer.
std::span<const net::Datagram> StreamChannel::read()
{
    const std::span<const net::Datagram> datagrams = receiver_->read(assembler_->landing());
    receiver_->recall(assembler_->landed_well(datagrams));
    return datagrams;
}

/// Takes a batch in and returns how long the next one may take to come. With `work_` held.
std::chrono::milliseconds StreamChannel::take_in(std::span<const net::Datagram> datagrams)
{
    const net::Clock::time_point now = clock_.now();
    try {
        assembler_->process(datagrams, now, receiver_->drained());
    } catch (const std::bad_alloc&) {
        // the rest of the batch is lost like packets on the wire
    }
    tend_overload(datagrams.size(), now);
    expire_request(now);
    firewall_opener_.tend(socket_, endpoints_.device, endpoints_.channel, now);
    if (assembler_->take_flush_request()) {
        flush_wanted_ = true;
    }
    const auto deadline = assembler_->next_deadline();
    choose_pause(now, deadline);
    if (!deadline.has_value()) {
        return longest_wait;
    }
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(*deadline - now), 0ms, longest_wait);
}

/// With `work_` held.
void StreamChannel::choose_pause(net::Clock::time_point now, std::optional<net::Clock::time_point> deadline)
{
    pause_ = {};
    if (!receiver_->drained()) {
        return;
    }
    net::Clock::duration pause =
        std::min<net::Clock::duration>(longest_pause, assembler_->payload_left() / pause_share);
    if (deadline.has_value()) {
        pause = std::min(pause, *deadline - now);
    }
    pause_ = std::chrono::floor<std::chrono::microseconds>(pause);
}

/// Where more is sent than can be taken in, gives up some blocks so that the others are whole. With `work_` held.
void StreamChannel::tend_overload(std::size_t packets, net::Clock::time_point now)
{
    const bool drained = receiver_->drained();
    if (!overload_guard_.is_due(packets, drained)) {
        return;
    }
    const std::optional<std::uint64_t> dropped = receiver_->dropped_by_system();
    switch (dropped.has_value() ? overload_guard_.look(now, drained, *dropped) : OverloadGuard::Step::none) {
    case OverloadGuard::Step::shed:
        trace::write(trace::Category::stream, trace::Level::warning, [&] {
            return endpoints_.device.to_string() + ": more is sent than can be taken in; some blocks are given up";
        });
        if (receiver_->refuse_new(true)) {
            assembler_->shed();
        } else {
            overload_guard_.give_up();
        }
        break;
    case OverloadGuard::Step::resume:
        assembler_->resume(now);
        static_cast<void>(receiver_->refuse_new(false));
        // what was thrown away until now was by our own wish
        overload_guard_.resumed(now, receiver_->dropped_by_system().value_or(*dropped));
        break;
    case OverloadGuard::Step::none: break;
    }
}

/// Gives the first buffer back when no block has come for it in time. With `work_` held.
void StreamChannel::expire_request(net::Clock::time_point now)
{
    if (settings_.request_timeout_ms == 0) {
        return;
    }
    {
        const std::lock_guard lock(queues_);
        if (idle_.empty() || filling_ != 0 ||
            now < request_since_ + std::chrono::milliseconds(settings_.request_timeout_ms)) {
            return;
        }
        PvBuffer* buffer = idle_.front();
        idle_.erase(idle_.begin());
        request_since_ = now;
        ++queue_counters_.requests_expired;
        mark_unfilled(*buffer, PvResult::Timeout);
        failures_.note(failures_.timeout, buffer->GetOperationResult());
        ready_.push_back(buffer);
    }
    changed_.notify_one();
}

/// Throws away what the system has received, and the blocks in flight.
void StreamChannel::flush_received()
{
    const net::Clock::time_point end = clock_.now() + longest_flush;
    while (!receiver_->receive(0ms).empty() && clock_.now() < end)
        ;
    {
        const std::lock_guard work(work_);
        assembler_->discard();
        const std::lock_guard lock(queues_);
        flush_wanted_ = false;
        ++flushes_done_;
    }
    flushed_.notify_all();
}

PvBuffer* StreamChannel::take() noexcept
{
    const std::lock_guard lock(queues_);
    if (idle_.empty()) {
        ++underruns_;
        return nullptr;
    }
    PvBuffer* buffer = idle_.front();
    idle_.erase(idle_.begin());
    ++filling_;
    request_since_ = clock_.now();
    return buffer;
}

void StreamChannel::deliver(PvBuffer& buffer, BlockFate fate) noexcept
{
    const net::Clock::time_point now = clock_.now();
    const bool is_whole = fate == BlockFate::complete;
    trace::write(trace::Category::stream, is_whole ? trace::Level::debug : trace::Level::warning, [&] {
        return endpoints_.device.to_string() + ": block " + std::to_string(buffer.GetBlockID()) + ", " +
               std::to_string(buffer.GetAcquiredSize()) +
               " bytes: " + (is_whole ? "whole" : std::string(buffer.GetOperationResult().description()));
    });
    {
        const std::lock_guard lock(queues_);
        end_filling(now);
        largest_block_ = assembler_->largest_block();
        if (fate == BlockFate::aborted) {
            failures_.note(failures_.aborted, buffer.GetOperationResult());
        } else {
            rates_.add(buffer.GetAcquiredSize(), now, buffer.GetTimestamp());
        }
        if (fate != BlockFate::aborted && fate != BlockFate::complete) {
            failures_.note(failures_.block, buffer.GetOperationResult());
        }
        if (ready_.size() >= most_ready_) {
            recycle_oldest();
        }
        ready_.push_back(&buffer);
    }
    changed_.notify_one();
}

/// One buffer less is being filled. While one is, the others are not waited for. With `queues_` held.
void StreamChannel::end_filling(net::Clock::time_point now) noexcept
{
    if (--filling_ == 0) {
        request_since_ = now;
    }
}

/// Nobody came for the oldest filled buffer. With `queues_` held.
void StreamChannel::recycle_oldest() noexcept
{
    idle_.push_back(ready_.front());
    ready_.erase(ready_.begin());
    ++queue_counters_.blocks_recycled;
}

/// On the receive thread, which sends from the stream's own port: the device answers there, in the stream.
void StreamChannel::request_resend(const wire::gvcp::PacketResend& range) noexcept
{
    wire::gvcp::PacketResend request = range;
    request.channel = endpoints_.channel;
    latest_request_id_ = latest_request_id_ % 0xFFFF + 1;
    const auto message = wire::gvcp::packet_resend(static_cast<std::uint16_t>(latest_request_id_), request);
    trace::write(trace::Category::stream, trace::Level::info, [&] {
        return endpoints_.device.to_string() + ": block " + std::to_string(range.block_id) + ": packets " +
               std::to_string(range.first_packet) + " to " + std::to_string(range.last_packet) + " are asked for again";
    });
    // one that gets lost, here or on its way, is repeated
    static_cast<void>(socket_.send_to({endpoints_.device, wire::gvcp::port}, message.bytes()));
}

}  // namespace vex::stream
