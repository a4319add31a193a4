#include "sdk/transmitterraw/PvTransmitterRaw.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/base/thread_name.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/net/interfaces.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "sdk/transmitterraw/buffer_block.h"
#include "sdk/transmitterraw/buffer_pool.h"
#include "sdk/transmitterraw/resend_queue.h"
#include "sdk/transmitterraw/stream_outlet.h"
#include "sdk/transmitterraw/transmission_meter.h"

using namespace vex;

namespace {

constexpr std::uint32_t smallest_packet = 576;
constexpr std::uint32_t largest_packet = 65000;
constexpr std::uint32_t default_packet = 1440;
constexpr std::uint32_t endless = 0xFFFFFFFF;
constexpr int send_buffer_bytes = 4 << 20;
constexpr int multicast_hops = 16;
// Blocks of a device's channel that can be sent again: copies, because their buffers are refilled.
constexpr std::size_t kept_blocks = 4;

}  // namespace

class PvTransmitterRaw::Impl final : private acquisition::Holder, private transmitter::BlockSource {
public:
    ~Impl() { close(); }

    PvResult open(const PvString& destination_address, std::uint16_t destination_port, const PvString& source_address,
                  std::uint16_t source_port, bool dont_fragment);
    PvResult close();
    [[nodiscard]] bool is_open() const;

    PvResult load_pool(PvBuffer** buffers, std::uint32_t count);
    PvResult queue(PvBuffer* buffer);
    PvResult retrieve(PvBuffer** buffer, std::uint32_t timeout);
    PvResult abort_queued(bool wait_for_current, std::uint32_t timeout);

    PvResult set_packet_size(std::uint32_t size);
    void set_extended_ids(bool extended_ids)
    {
        const std::lock_guard guard(mutex_);
        extended_ids_ = extended_ids;
    }
    PvResult set_throughput(float megabits);

    [[nodiscard]] std::uint32_t packet_size() const { return locked(packet_size_); }
    [[nodiscard]] bool extended_ids() const { return locked(extended_ids_); }
    [[nodiscard]] float throughput() const { return locked(megabits_per_second_); }
    [[nodiscard]] Endpoint destination() const { return locked(destination_); }
    [[nodiscard]] Endpoint source() const { return locked(source_); }
    [[nodiscard]] std::uint32_t queued_count() const
    {
        const std::lock_guard guard(mutex_);
        return static_cast<std::uint32_t>(queue_.size() + (current_ != nullptr ? 1 : 0));
    }
    [[nodiscard]] transmitter::TransmissionMeter meter() const { return locked(meter_); }
    void reset_meter()
    {
        const std::lock_guard guard(mutex_);
        meter_.reset(net::Clock::steady().now());
    }

private:
    void buffer_destroyed(PvBuffer& buffer) noexcept override;
    void run();
    void send_next(std::unique_lock<std::mutex>& lock);
    void find_outlet(transmitter::StreamSettings& settings);
    void leave_outlet();
    void allow_fragments(bool allowed);
    void resend(const wire::gvcp::PacketResend& range, bool extended_status) override
    {
        resends_.push(range, extended_status);
    }
    void make_free(PvBuffer* buffer);
    void make_queue_free();

    template <typename Value>
    [[nodiscard]] Value locked(const Value& value) const
    {
        const std::lock_guard guard(mutex_);
        return value;
    }

    net::UdpSocket socket_;
    std::unique_ptr<transmitter::BlockTransmitter> sender_;
    // cleared before the sender changes
    transmitter::ResendQueue resends_{
        [this](const auto& range, bool extended_status, const std::atomic<bool>& cancelled) {
            sender_->resend(range, extended_status, cancelled);
        }};
    // the worker's own while it runs
    std::shared_ptr<transmitter::StreamOutlet> outlet_;
    std::uint64_t block_id_ = 0;
    bool opened_for_fragments_ = true;
    bool fragments_ = true;
    std::thread worker_;

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    bool open_ = false;
    std::uint64_t closings_ = 0;  // so that a waiting caller notices one
    transmitter::BufferPool pool_;
    std::deque<PvBuffer*> queue_;
    PvBuffer* current_ = nullptr;  // being sent
    net::Clock::time_point opened_{};
    Endpoint destination_;
    Endpoint source_;
    std::uint32_t packet_size_ = default_packet;
    bool extended_ids_ = false;
    float megabits_per_second_ = 0;
    transmitter::TransmissionMeter meter_;
};

PvResult PvTransmitterRaw::Impl::open(const PvString& destination_address, std::uint16_t destination_port,
                                      const PvString& source_address, std::uint16_t source_port, bool dont_fragment)
{
    if (is_open()) {
        return failure(PvResult::StateError, "The transmitter is open already");
    }
    const auto destination = Ipv4Address::parse(destination_address.view());
    if (!destination || destination->is_any()) {
        return failure(PvResult::InvalidParameter, "\"", destination_address.view(), "\" is not a destination address");
    }
    if (destination_port == 0) {
        return failure(PvResult::InvalidParameter, "0 is not a destination port");
    }
    Ipv4Address source;
    if (source_address.empty()) {
        source = net::local_address_towards(*destination);
        if (source.is_any()) {
            return failure(PvResult::NetworkError, "No network interface reaches ", destination->to_string());
        }
    } else if (const auto parsed = Ipv4Address::parse(source_address.view())) {
        source = *parsed;
    } else {
        return failure(PvResult::InvalidParameter, "\"", source_address.view(), "\" is not a source address");
    }

    try {
        socket_ = net::UdpSocket::open(
            {source, source_port},
            {.broadcast = true, .dont_fragment = dont_fragment, .send_buffer_bytes = send_buffer_bytes});
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The transmitter cannot open: ", error.what());
    }
    if (destination->is_multicast()) {
        if (const std::error_code error = socket_.set_multicast_interface(source, multicast_hops)) {
            return failure(PvResult::NetworkError, "Multicasts cannot leave by ", source.to_string(), ": ",
                           error.message());
        }
    }
    sender_ = std::make_unique<transmitter::BlockTransmitter>(socket_, kept_blocks);
    block_id_ = 0;
    opened_for_fragments_ = fragments_ = !dont_fragment;
    {
        const std::lock_guard guard(mutex_);
        destination_ = {*destination, destination_port};
        source_ = socket_.local();
        opened_ = net::Clock::steady().now();
        meter_.start(opened_);
        open_ = true;
    }
    worker_ = std::thread([this] { run(); });
    return PvResult::OK;
}

PvResult PvTransmitterRaw::Impl::close()
{
    {
        const std::lock_guard guard(mutex_);
        if (!open_) {
            return PvResult::OK;
        }
        open_ = false;
        if (current_ != nullptr) {
            sender_->abort();
        }
        changed_.notify_all();
    }
    worker_.join();
    leave_outlet();
    socket_.close();
    const std::lock_guard guard(mutex_);
    make_queue_free();
    destination_ = {};
    source_ = {};
    meter_.stop(net::Clock::steady().now());
    ++closings_;
    changed_.notify_all();
    return PvResult::OK;
}

bool PvTransmitterRaw::Impl::is_open() const { return locked(open_); }

PvResult PvTransmitterRaw::Impl::load_pool(PvBuffer** buffers, std::uint32_t count)
{
    const std::lock_guard guard(mutex_);
    if (!queue_.empty() || current_ != nullptr) {
        return failure(PvResult::StateError, "Buffers of the pool are queued");
    }
    PvResult loaded = pool_.load({buffers, buffers != nullptr ? count : 0});
    changed_.notify_all();
    return loaded;
}

PvResult PvTransmitterRaw::Impl::queue(PvBuffer* buffer)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no buffer to queue");
    }
    const std::lock_guard guard(mutex_);
    if (!open_) {
        return failure(PvResult::StateError, "The transmitter is not open");
    }
    if (!transmitter::can_be_sent(*buffer)) {
        return failure(PvResult::InvalidParameter, "The buffer holds no image or raw data to send");
    }
    if (!acquisition::hold(*buffer, *this)) {
        return failure(PvResult::StateError, "The buffer is queued already");
    }
    queue_.push_back(buffer);
    pool_.use(*buffer);
    changed_.notify_all();
    return PvResult::OK;
}

PvResult PvTransmitterRaw::Impl::retrieve(PvBuffer** buffer, std::uint32_t timeout)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no place for the buffer");
    }
    *buffer = nullptr;
    std::unique_lock lock(mutex_);
    if (pool_.empty()) {
        return failure(PvResult::NoAvailableData, "The transmitter has no buffer pool");
    }
    const std::uint64_t closings = closings_;
    const auto ready = [&] { return pool_.has_free() || closings_ != closings; };
    if (timeout == endless) {
        changed_.wait(lock, ready);
    } else if (!changed_.wait_for(lock, std::chrono::milliseconds(timeout), ready)) {
        return failure(PvResult::Timeout, "No buffer became free in time");
    }
    *buffer = pool_.take();
    if (*buffer == nullptr) {
        return failure(PvResult::Aborted, "The transmitter was closed");
    }
    return PvResult::OK;
}

PvResult PvTransmitterRaw::Impl::abort_queued(bool wait_for_current, std::uint32_t timeout)
{
    std::unique_lock lock(mutex_);
    make_queue_free();
    const auto idle = [this] { return current_ == nullptr; };
    bool in_time = true;
    if (wait_for_current) {
        if (timeout == endless) {
            changed_.wait(lock, idle);
        } else {
            in_time = changed_.wait_for(lock, std::chrono::milliseconds(timeout), idle);
        }
    }
    if (!idle()) {
        sender_->abort();
        changed_.wait(lock, idle);
    }
    if (!in_time) {
        return failure(PvResult::Timeout, "The current block was cut off, it took longer than the timeout");
    }
    return PvResult::OK;
}

PvResult PvTransmitterRaw::Impl::set_packet_size(std::uint32_t size)
{
    if (size < smallest_packet || size > largest_packet) {
        return failure(PvResult::InvalidParameter, "The packet size must be from ", smallest_packet, " to ",
                       largest_packet, " bytes, not ", size);
    }
    const std::lock_guard guard(mutex_);
    packet_size_ = size;
    return PvResult::OK;
}

PvResult PvTransmitterRaw::Impl::set_throughput(float megabits)
{
    if (!(megabits >= 0.0F)) {
        return failure(PvResult::InvalidParameter, "The maximum payload throughput must be 0 or more Mbit/s");
    }
    const std::lock_guard guard(mutex_);
    megabits_per_second_ = megabits;
    return PvResult::OK;
}

void PvTransmitterRaw::Impl::make_free(PvBuffer* buffer)
{
    acquisition::release(*buffer, *this);
    pool_.make_free(*buffer);
}

void PvTransmitterRaw::Impl::make_queue_free()
{
    for (PvBuffer* buffer : queue_) {
        make_free(buffer);
    }
    queue_.clear();
    changed_.notify_all();
}

void PvTransmitterRaw::Impl::buffer_destroyed(PvBuffer& buffer) noexcept
{
    std::unique_lock lock(mutex_);
    pool_.remove(buffer);
    std::erase(queue_, &buffer);
    if (current_ == &buffer) {
        sender_->abort();
        changed_.wait(lock, [&] { return current_ != &buffer; });
    }
}

void PvTransmitterRaw::Impl::run()
{
    name_this_thread("pv-transmit");
    std::unique_lock lock(mutex_);
    while (open_) {
        if (queue_.empty()) {
            changed_.wait(lock);
        } else {
            send_next(lock);
        }
    }
}

void PvTransmitterRaw::Impl::send_next(std::unique_lock<std::mutex>& lock)
{
    current_ = queue_.front();
    queue_.pop_front();
    sender_->clear_abort();
    transmitter::StreamSettings settings{.destination = destination_,
                                         .packet_size = packet_size_,
                                         .extended_ids = extended_ids_,
                                         .bytes_per_second = static_cast<double>(megabits_per_second_) * 1e6 / 8.0};
    const std::uint16_t source_port = source_.port;
    const PvBuffer& buffer = *current_;
    const auto since_open = std::chrono::duration_cast<std::chrono::microseconds>(net::Clock::steady().now() - opened_);
    const std::uint64_t timestamp =
        buffer.GetTimestamp() != 0 ? buffer.GetTimestamp() : static_cast<std::uint64_t>(since_open.count());
    lock.unlock();

    find_outlet(settings);
    block_id_ = wire::gvsp::next_block_id(block_id_, settings.extended_ids);
    const auto block = transmitter::make_block(buffer, block_id_, timestamp);
    if (outlet_) {
        transmitter::keep_a_copy(*block);
        outlet_->feed(*this, source_port, {.image = block->leader.image, .payload_size = block->data.size()});
    }
    sender_->configure(settings);
    const std::error_code error = sender_->send(block);

    lock.lock();
    if (!error) {
        meter_.block_sent(net::Clock::steady().now(), block->data.size());
    }
    PvBuffer* const sent = current_;
    current_ = nullptr;
    make_free(sent);
    changed_.notify_all();
}

// What a block is sent to may be the stream channel of a device in this process: then it is that device's block.
void PvTransmitterRaw::Impl::find_outlet(transmitter::StreamSettings& settings)
{
    auto outlet = transmitter::StreamOutlet::find(settings.destination);
    if (outlet != outlet_) {
        leave_outlet();
        outlet_ = std::move(outlet);
    }
    if (!outlet_) {
        allow_fragments(opened_for_fragments_);
        return;
    }
    const transmitter::OutletSettings wanted = outlet_->settings();
    settings.packet_size = wanted.packet_size;
    settings.packet_delay = wanted.packet_delay;
    settings.extended_ids = wanted.extended_ids;
    allow_fragments(!wanted.dont_fragment);
}

void PvTransmitterRaw::Impl::allow_fragments(bool allowed)
{
    if (fragments_ != allowed && !socket_.set_dont_fragment(!allowed)) {
        fragments_ = allowed;
    }
}

void PvTransmitterRaw::Impl::leave_outlet()
{
    if (outlet_) {
        outlet_->leave(*this);
        outlet_.reset();
        resends_.clear();
        sender_->forget();
    }
}

PvTransmitterRaw::PvTransmitterRaw() : impl_(std::make_unique<Impl>()) {}
PvTransmitterRaw::~PvTransmitterRaw() = default;

PvResult PvTransmitterRaw::Open(const PvString& destination_address, std::uint16_t destination_port,
                                const PvString& source_address, std::uint16_t source_port, bool dont_fragment)
{
    return impl_->open(destination_address, destination_port, source_address, source_port, dont_fragment);
}
PvResult PvTransmitterRaw::Close() { return impl_->close(); }
bool PvTransmitterRaw::IsOpen() const { return impl_->is_open(); }

PvResult PvTransmitterRaw::LoadBufferPool(PvBuffer** buffers, std::uint32_t count)
{
    return impl_->load_pool(buffers, count);
}
PvResult PvTransmitterRaw::QueueBuffer(PvBuffer* buffer) { return impl_->queue(buffer); }
PvResult PvTransmitterRaw::RetrieveFreeBuffer(PvBuffer** buffer, std::uint32_t timeout)
{
    return impl_->retrieve(buffer, timeout);
}
PvResult PvTransmitterRaw::AbortQueuedBuffers(bool wait_for_current_block, std::uint32_t timeout)
{
    return impl_->abort_queued(wait_for_current_block, timeout);
}

PvResult PvTransmitterRaw::SetPacketSize(std::uint32_t size) { return impl_->set_packet_size(size); }
std::uint32_t PvTransmitterRaw::GetPacketSize() const { return impl_->packet_size(); }
PvResult PvTransmitterRaw::SetExtendedIDs(bool extended_ids)
{
    impl_->set_extended_ids(extended_ids);
    return PvResult::OK;
}
bool PvTransmitterRaw::GetExtendedIDs() const { return impl_->extended_ids(); }
PvResult PvTransmitterRaw::SetMaxPayloadThroughput(float megabits_per_second)
{
    return impl_->set_throughput(megabits_per_second);
}
float PvTransmitterRaw::GetMaxPayloadThroughput() const { return impl_->throughput(); }

PvString PvTransmitterRaw::GetDestinationIPAddress() const
{
    const Endpoint destination = impl_->destination();
    return destination.port == 0 ? PvString() : PvString(destination.address.to_string());
}
std::uint16_t PvTransmitterRaw::GetDestinationPort() const { return impl_->destination().port; }
PvString PvTransmitterRaw::GetSourceIPAddress() const
{
    const Endpoint source = impl_->source();
    return source.port == 0 ? PvString() : PvString(source.address.to_string());
}
std::uint16_t PvTransmitterRaw::GetSourcePort() const { return impl_->source().port; }

std::uint32_t PvTransmitterRaw::GetQueuedBufferCount() const { return impl_->queued_count(); }

std::uint32_t PvTransmitterRaw::GetBlocksTransmitted() const
{
    return static_cast<std::uint32_t>(impl_->meter().blocks());
}
std::uint64_t PvTransmitterRaw::GetPayloadBytesTransmitted() const { return impl_->meter().bytes(); }
std::uint64_t PvTransmitterRaw::GetSamplingTime() const
{
    const auto time = impl_->meter().sampling_time(net::Clock::steady().now());
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}
float PvTransmitterRaw::GetAveragePayloadThroughput() const
{
    return impl_->meter().average_megabits(net::Clock::steady().now());
}
float PvTransmitterRaw::GetInstantaneousPayloadThroughput() const { return impl_->meter().instantaneous_megabits(); }
float PvTransmitterRaw::GetAverageTransmissionRate() const
{
    return impl_->meter().average_rate(net::Clock::steady().now());
}
float PvTransmitterRaw::GetInstantaneousTransmissionRate() const { return impl_->meter().instantaneous_rate(); }
void PvTransmitterRaw::ResetStats() { impl_->reset_meter(); }
