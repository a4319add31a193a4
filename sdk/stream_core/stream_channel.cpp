#include "sdk/stream_core/stream_channel.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <string>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/base/trace.h"
#include "sdk/net/receive_backends.h"

namespace vex::stream {

using namespace std::chrono_literals;

namespace {

/// The largest UDP payload there is: whatever packet size a device uses, its packets fit.
constexpr std::size_t largest_packet = 65507;
constexpr std::size_t packets_per_batch = 64;
/// Bridges the receive thread's pauses: 100 ms at a gigabit per second. The system may give less.
constexpr int socket_buffer_bytes = 16 * 1024 * 1024;

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
    PvResult result = open_untold(endpoints);
    trace::write(trace::Category::stream, result.IsOK() ? trace::Level::info : trace::Level::error, [&] {
        const std::string device = endpoints.device.to_string() + ", channel " + std::to_string(endpoints.channel);
        if (!result.IsOK()) {
            return device + ": " + std::string(result.description());
        }
        const SystemFacts facts = system_facts();
        return device + ": stream opened on " + endpoints.local.to_string() + ", port " +
               std::to_string(this->endpoints().value_or(endpoints).port) + ", the system keeps " +
               std::to_string(facts.buffer_bytes) + " bytes for it" +
               (endpoints.may_ask ? "" : ", missing packets are not asked for");
    });
    return result;
}

PvResult StreamChannel::open_untold(const Endpoints& endpoints)
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
        overload_guard_ = {};
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
    trace::write(trace::Category::stream, trace::Level::info, [&] {
        return endpoints_.device.to_string() + ", channel " + std::to_string(endpoints_.channel) +
               ": stream closed; packets thrown away by the system: " +
               (ended_facts_.dropped ? std::to_string(*ended_facts_.dropped) : "not known");
    });
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
