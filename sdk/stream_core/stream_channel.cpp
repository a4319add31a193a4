#include "sdk/stream_core/stream_channel.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <string>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/base/thread_name.h"
#include "sdk/net/receive_backends.h"
#include "sdk/stream_core/work_lock.h"

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

StreamChannel::StreamChannel(const net::Clock& clock) : clock_(clock)
{
    idle_.reserve(most_buffers);
    ready_.reserve(most_buffers);
}

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
                                          .batch = packets_per_batch});
        {
            const WorkLock work(*this);
            assembler_ = std::make_unique<BlockAssembler>(static_cast<BufferPort&>(*this), endpoints.device);
            assembler_->set_settings(settings_);
        }
        {
            const std::lock_guard lock(queues_);
            endpoints_ = endpoints;
            endpoints_.port = socket_.local().port;
            open_ = true;
            ++session_;
            counters_ = {};
            reset_at_ = {};
            rates_.reset();
            pipeline_drops_ = 0;
        }
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
    if (endpoints_.group.has_value()) {
        socket_.leave(*endpoints_.group, endpoints_.local);
    }
    receiver_.reset();
    socket_.close();
    {
        const WorkLock work(*this);
        assembler_->abort();
        assembler_.reset();
        give_all_back();
    }
}

/// Lets go of all buffers; those that are not filled are marked as aborted.
void StreamChannel::give_all_back()
{
    const std::lock_guard lock(queues_);
    for (PvBuffer* buffer : idle_) {
        mark_aborted(*buffer);
        acquisition::release(*buffer, *this);
    }
    for (PvBuffer* buffer : ready_) {
        acquisition::release(*buffer, *this);
    }
    idle_.clear();
    ready_.clear();
}

void StreamChannel::mark_aborted(PvBuffer& buffer) noexcept
{
    acquisition::begin(buffer, {.payload_type = buffer.GetPayloadType()});
    acquisition::finish(buffer, {.result = PvResult::Aborted});
}

PvResult StreamChannel::queue(PvBuffer* buffer, const Claim* claim)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no buffer to queue");
    }
    const std::lock_guard lock(queues_);
    if (PvResult refused = refusal(claim); !refused.IsOK()) {
        return refused;
    }
    if (idle_.size() + ready_.size() + filling_ >= most_buffers) {
        return failure(PvResult::ErrOverflow, "The queue holds ", most_buffers, " buffers already");
    }
    if (!acquisition::hold(*buffer, *this)) {
        return failure(PvResult::StateError, "The buffer is queued already");
    }
    idle_.push_back(buffer);
    return PvResult::OK;
}

PvResult StreamChannel::retrieve(PvBuffer*& buffer, PvResult& operation_result, std::uint32_t timeout_ms,
                                 const Claim* claim)
{
    buffer = nullptr;
    std::unique_lock lock(queues_);
    PvResult result = wait_for_block(lock, timeout_ms, claim);
    if (result.IsOK()) {
        buffer = ready_.front();
        ready_.erase(ready_.begin());
        operation_result = buffer->GetOperationResult();
        acquisition::release(*buffer, *this);
    } else {
        operation_result = result;
    }
    return result;
}

PvResult StreamChannel::wait_for_block(std::unique_lock<std::mutex>& lock, std::uint32_t timeout_ms, const Claim* claim)
{
    if (PvResult refused = refusal(claim); !refused.IsOK()) {
        return refused;
    }
    const std::uint64_t session = session_;
    const std::uint64_t underruns = underruns_;
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
    return failure(PvResult::Timeout, "No block was completed within ", timeout_ms, " ms",
                   (underruns_ != underruns ? ": blocks arrived for which no buffer was queued" : what_came_so_far()));
}

/// Why nothing may be coming at all, for the text of a timeout; empty where blocks have come. With `queues_` held.
std::string StreamChannel::what_came_so_far() const
{
    if (counters_.blocks_begun != 0) {
        return {};
    }
    const std::string way = endpoints_.device.to_string() + " to " + endpoints_.local.to_string() + ", port " +
                            std::to_string(endpoints_.port);
    if (counters_.of(PacketFate::foreign) != 0) {
        return ": no packet has come from " + way + ", but from other senders";
    }
    if (counters_.of(PacketFate::malformed) != 0) {
        return ": what has come from " + way + " is not a stream";
    }
    return ": no packet has ever come from " + way;
}

PvResult StreamChannel::abort()
{
    const WorkLock work(*this);
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
            mark_aborted(*buffer);
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

Statistics StreamChannel::statistics() const
{
    const net::Clock::time_point now = clock_.now();
    const std::lock_guard lock(queues_);
    return {counters_.since(reset_at_), pipeline_drops_, rates_.current(now), rates_.average(), rates_.sampling_time()};
}

void StreamChannel::reset_statistics()
{
    const std::lock_guard lock(queues_);
    reset_at_ = counters_;
    rates_.reset();
    pipeline_drops_ = 0;
}

StreamSettings StreamChannel::settings() const
{
    const WorkLock work(*this);
    return settings_;
}

PvResult StreamChannel::set(const NumberSetting& setting, std::uint32_t value)
{
    if (value < setting.min || value > setting.max) {
        return failure(PvResult::InvalidParameter, setting.name, " takes ", setting.min, " to ", setting.max,
                       *setting.unit != 0 ? " " : "", setting.unit, ", not ", value);
    }
    const WorkLock work(*this);
    settings_.*setting.value = value;
    apply_settings();
    return PvResult::OK;
}

void StreamChannel::set(const SwitchSetting& setting, bool value)
{
    const WorkLock work(*this);
    settings_.*setting.value = value;
    apply_settings();
}

/// With `work_` held.
void StreamChannel::apply_settings()
{
    if (assembler_ != nullptr) {
        assembler_->set_settings(settings_);
    }
}

void StreamChannel::receive_loop()
{
    name_this_thread("pv-stream");
    std::chrono::milliseconds wait = longest_wait;
    while (!stop_) {
        const std::span<const net::Datagram> datagrams = receiver_->receive(wait);
        if (flush_wanted_) {
            flush_received();
            continue;
        }
        while (waiting_for_work_.load(std::memory_order_relaxed) != 0) {
            std::this_thread::yield();
        }
        const std::lock_guard work(work_);
        wait = take_in(datagrams);
    }
}

/// Takes a batch in and returns how long the next one may take to come. With `work_` held.
std::chrono::milliseconds StreamChannel::take_in(std::span<const net::Datagram> datagrams)
{
    const net::Clock::time_point now = clock_.now();
    try {
        assembler_->process(datagrams, now);
    } catch (const std::bad_alloc&) {
        // the rest of the batch is lost like packets on the wire
    }
    {
        const std::lock_guard lock(queues_);
        counters_ = assembler_->counters();
    }
    const auto deadline = assembler_->next_deadline();
    if (!deadline.has_value()) {
        return longest_wait;
    }
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(*deadline - now), 0ms, longest_wait);
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
        counters_ = assembler_->counters();
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
    return buffer;
}

void StreamChannel::deliver(PvBuffer& buffer, BlockFate fate) noexcept
{
    const net::Clock::time_point now = clock_.now();
    {
        const std::lock_guard lock(queues_);
        --filling_;
        counters_ = assembler_->counters();
        if (fate != BlockFate::aborted) {
            rates_.add(buffer.GetAcquiredSize(), now);
        }
        ready_.push_back(&buffer);
    }
    changed_.notify_one();
}

void StreamChannel::put_back(PvBuffer& buffer) noexcept
{
    const std::lock_guard lock(queues_);
    --filling_;
    idle_.insert(idle_.begin(), &buffer);
}

/// On the thread that destroys the buffer.
void StreamChannel::buffer_destroyed(PvBuffer& buffer) noexcept
{
    const WorkLock work(*this);
    const bool filling = assembler_ != nullptr && assembler_->forget(buffer);
    const std::lock_guard lock(queues_);
    if (filling) {
        --filling_;
    }
    std::erase(idle_, &buffer);
    std::erase(ready_, &buffer);
}

}  // namespace vex::stream
