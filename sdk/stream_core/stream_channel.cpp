#include "sdk/stream_core/stream_channel.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <string>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/base/thread_name.h"
#include "sdk/base/thread_priority.h"
#include "sdk/net/receive_backends.h"

namespace vex::stream {

using namespace std::chrono_literals;

namespace {

/// The largest UDP payload there is: whatever packet size a device uses, its packets fit.
constexpr std::size_t largest_packet = 65507;
constexpr std::size_t packets_per_batch = 64;
/// Bridges the receive thread's pauses: 100 ms at a gigabit per second. The system may give less.
constexpr int socket_buffer_bytes = 16 * 1024 * 1024;
/// How soon the receive thread notices that it shall stop or flush.
constexpr std::chrono::milliseconds longest_wait = 20ms;
/// A flush that a device keeps feeding ends after this time; what was there when it began is read much sooner.
constexpr std::chrono::milliseconds longest_flush = 50ms;

PvResult not_open() { return failure(PvResult::NotConnected, "The stream is not open"); }

}  // namespace

StreamChannel::StreamChannel(const net::Clock& clock)
    : clock_(clock), most_idle_(settings_.maximum_pre_queued_buffers),
      most_ready_(settings_.maximum_internal_retrieve_buffers)
{}

StreamChannel::~StreamChannel() { close(); }

net::UdpSocket StreamChannel::open_socket(const Endpoints& endpoints) const
{
    net::UdpOptions options;
    options.receive_buffer_bytes = socket_buffer_bytes;
    if (!endpoints.group.has_value()) {
        return net::UdpSocket::open({endpoints.local, endpoints.port}, options);
    }

    options.reuse_address = true;
    net::UdpSocket socket;
    try {
        // bound to the group, the socket does not see the groups that others on this host have joined
        socket = net::UdpSocket::open({*endpoints.group, endpoints.port}, options);
    } catch (const std::system_error&) {
        socket = net::UdpSocket::open({any_address, endpoints.port}, options);
    }
    if (const std::error_code error = socket.join(*endpoints.group, endpoints.local)) {
        throw std::system_error(error,
                                "cannot join " + endpoints.group->to_string() + " on " + endpoints.local.to_string());
    }
    return socket;
}

PvResult StreamChannel::open(const Endpoints& endpoints)
{
    const std::lock_guard lifecycle(lifecycle_);
    {
        const std::lock_guard lock(queues_);
        if (open_) {
            return failure(PvResult::StateError, "The stream is open already");
        }
    }
    try {
        socket_ = open_socket(endpoints);
        receiver_ = net::create_receiver({.socket = socket_,
                                          .path = {endpoints.device, endpoints.local},
                                          .largest_packet = largest_packet,
                                          .batch = packets_per_batch},
                                         backend());
        {
            const std::lock_guard work(work_);
            assembler_ = std::make_unique<BlockAssembler>(static_cast<BufferPort&>(*this), endpoints.device);
            assembler_->set_settings(settings_);
            assembler_->allow_resends(endpoints.may_ask);
        }
        {
            const std::lock_guard lock(queues_);
            endpoints_ = endpoints;
            endpoints_.port = socket_.local().port;
            open_ = true;
            ++session_;
            reset_at_ = {};
            queue_counters_ = {};
            rates_.reset();
            pipeline_drops_ = 0;
            failures_ = {};
            request_since_ = clock_.now();
            largest_block_ = 0;
        }
        firewall_opener_ = {};
        flush_wanted_ = false;  // of an earlier opening
        stop_ = false;
        thread_ = std::thread([this] { receive_loop(); });
        return PvResult::OK;
    } catch (const std::exception& error) {
        {
            const std::lock_guard lock(queues_);
            open_ = false;
            claim_ = 0;
        }
        changed_.notify_all();
        flushed_.notify_all();
        give_all_back();
        receiver_.reset();
        socket_.close();
        if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
            return PvResult::NotEnoughMemory;
        }
        return failure(PvResult::NetworkError, "Cannot open the stream: ", error.what());
    }
}

void StreamChannel::close()
{
    const std::lock_guard lifecycle(lifecycle_);
    {
        const std::lock_guard lock(queues_);
        if (!open_) {
            return;
        }
        open_ = false;
        claim_ = 0;
    }
    changed_.notify_all();
    flushed_.notify_all();
    stop_ = true;
    thread_.join();
    ended_facts_ = {receiver_->buffer_bytes(), receiver_->dropped_by_system()};
    if (endpoints_.group.has_value()) {
        socket_.leave(*endpoints_.group, endpoints_.local);
    }
    receiver_.reset();
    socket_.close();
    {
        const std::lock_guard work(work_);
        assembler_->abort();
        ended_counters_ = assembler_->counters();
        assembler_.reset();
        give_all_back();
    }
}

/// Lets go of all buffers; those that are not filled are marked as aborted.
void StreamChannel::give_all_back()
{
    const std::lock_guard lock(queues_);
    for (PvBuffer* buffer : idle_) {
        mark_unfilled(*buffer, PvResult::Aborted);
        acquisition::release(*buffer, *this);
    }
    for (PvBuffer* buffer : ready_) {
        acquisition::release(*buffer, *this);
    }
    idle_.clear();
    ready_.clear();
}

void StreamChannel::mark_unfilled(PvBuffer& buffer, PvResult::Code result) noexcept
{
    acquisition::begin(buffer, {.payload_type = buffer.GetPayloadType()});
    acquisition::finish(buffer, {.result = result});
}

PvResult StreamChannel::retrieve(PvBuffer*& buffer, PvResult& operation_result, std::uint32_t timeout_ms,
                                 const Claim* claim)
{
    buffer = nullptr;
    std::unique_lock lock(queues_);
    const std::uint64_t underruns = underruns_;
    PvResult result = wait_for_block(lock, timeout_ms, claim);
    if (result.IsOK()) {
        buffer = ready_.front();
        ready_.erase(ready_.begin());
        operation_result = buffer->GetOperationResult();
        acquisition::release(*buffer, *this);
        return result;
    }
    if (result.GetCode() == PvResult::Timeout) {
        ++queue_counters_.retrievals_timed_out;
        lock.unlock();
        result =
            failure(PvResult::Timeout, "No block was completed within ", timeout_ms, " ms", why_nothing(underruns));
        lock.lock();
        failures_.note(failures_.timeout, result);
    } else {
        count_refusal(result);
    }
    operation_result = result;
    return result;
}

PvResult StreamChannel::wait_for_block(std::unique_lock<std::mutex>& lock, std::uint32_t timeout_ms, const Claim* claim)
{
    if (PvResult refused = refusal(claim); !refused.IsOK()) {
        return refused;
    }
    const std::uint64_t session = session_;
    const std::uint64_t user = claim_;
    const auto closed = [&] { return !open_ || session_ != session; };
    const auto leaving = [&] { return claim != nullptr && claim->leaving; };
    const auto done = [&] { return !ready_.empty() || closed() || claim_ != user || leaving(); };
    if (timeout_ms == wait_forever) {
        changed_.wait(lock, done);
    } else {
        changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), done);
    }
    if (closed()) {
        return failure(PvResult::NotConnected, "The stream was closed");
    }
    if (claim_ != user) {
        return refusal(claim);
    }
    if (!ready_.empty()) {
        return PvResult::OK;
    }
    if (leaving()) {
        return failure(PvResult::Aborted, "The claimant leaves the stream");
    }
    return PvResult::Timeout;
}

PvResult StreamChannel::abort()
{
    const std::lock_guard work(work_);
    if (assembler_ == nullptr) {
        return not_open();
    }
    abort_all();
    return PvResult::OK;
}

/// Makes all buffers that are not filled ready as they are. With `work_` held, on an open channel.
void StreamChannel::abort_all()
{
    assembler_->abort();
    {
        const std::lock_guard lock(queues_);
        for (PvBuffer* buffer : idle_) {
            mark_unfilled(*buffer, PvResult::Aborted);
            ready_.push_back(buffer);
        }
        idle_.clear();
    }
    changed_.notify_all();
}

PvResult StreamChannel::flush()
{
    std::unique_lock lock(queues_);
    if (!open_) {
        return not_open();
    }
    const std::uint64_t session = session_;
    const std::uint64_t done = flushes_done_;
    flush_wanted_ = true;
    flushed_.wait(lock, [&] { return flushes_done_ != done || !open_ || session_ != session; });
    return flushes_done_ != done ? PvResult(PvResult::OK) : not_open();
}

std::uint32_t StreamChannel::held_buffers() const
{
    const std::lock_guard lock(queues_);
    return static_cast<std::uint32_t>(idle_.size() + ready_.size()) + filling_;
}

std::optional<Endpoints> StreamChannel::endpoints() const
{
    const std::lock_guard lock(queues_);
    return open_ ? std::optional(endpoints_) : std::nullopt;
}

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
    expire_request(now);
    firewall_opener_.tend(socket_, endpoints_.device, endpoints_.channel, now);
    if (assembler_->take_flush_request()) {
        flush_wanted_ = true;
    }
    const auto deadline = assembler_->next_deadline();
    if (!deadline.has_value()) {
        return longest_wait;
    }
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(*deadline - now), 0ms, longest_wait);
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
    // one that gets lost, here or on its way, is repeated
    static_cast<void>(socket_.send_to({endpoints_.device, wire::gvcp::port}, message.bytes()));
}

void StreamChannel::put_back(PvBuffer& buffer) noexcept
{
    const std::lock_guard lock(queues_);
    end_filling(clock_.now());
    idle_.insert(idle_.begin(), &buffer);
}

/// On the thread that destroys the buffer.
void StreamChannel::buffer_destroyed(PvBuffer& buffer) noexcept
{
    const std::lock_guard work(work_);
    const bool filling = assembler_ != nullptr && assembler_->forget(buffer);
    const std::lock_guard lock(queues_);
    if (filling) {
        end_filling(clock_.now());
    }
    std::erase(idle_, &buffer);
    std::erase(ready_, &buffer);
}

}  // namespace vex::stream
