#include "sdk/transmitterraw/transmitter_raw_impl.h"

#include <algorithm>
#include <chrono>
#include <string>

#include "sdk/base/failure.h"
#include "sdk/base/thread_name.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/interfaces.h"
#include "sdk/transmitterraw/buffer_block.h"

using namespace vex;

namespace {

constexpr std::uint32_t smallest_packet = 576;
constexpr std::uint32_t largest_packet = 65000;
constexpr std::uint32_t endless = 0xFFFFFFFF;
constexpr int send_buffer_bytes = 4 << 20;
constexpr int multicast_hops = 16;
// Blocks of a device's channel that can be sent again: copies, because their buffers are refilled.
constexpr std::size_t kept_blocks = 4;

// the values of the public type are those of the other
static_assert(static_cast<int>(net::Trains::automatic) == PvPacketTrainsAutomatic &&
              static_cast<int>(net::Trains::always) == PvPacketTrainsAlways &&
              static_cast<int>(net::Trains::never) == PvPacketTrainsNever);

}  // namespace

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

PvResult PvTransmitterRaw::Impl::set_trains(PvPacketTrains trains)
{
    if (trains < PvPacketTrainsAutomatic || trains > PvPacketTrainsNever) {
        return failure(PvResult::InvalidParameter, "Packet trains are automatic (0), always (1) or never (2), not ",
                       static_cast<int>(trains));
    }
    const std::lock_guard guard(mutex_);
    trains_ = trains;
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
                                         .bytes_per_second = static_cast<double>(megabits_per_second_) * 1e6 / 8.0,
                                         .trains = static_cast<net::Trains>(trains_)};
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
