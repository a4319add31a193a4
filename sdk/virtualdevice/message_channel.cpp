#include "sdk/virtualdevice/message_channel.h"

#include <algorithm>
#include <array>

#include "sdk/base/thread_name.h"
#include "sdk/wire/gvcp.h"

namespace vex::virtual_device {

namespace {

namespace gvcp = wire::gvcp;

// A device whose application does not keep up loses events rather than memory.
constexpr std::size_t longest_queue = 256;

// How soon a wait for an acknowledge notices that it is no longer wanted.
constexpr std::chrono::milliseconds longest_wait{20};

// What fits a datagram beside the headers of message and event.
constexpr std::size_t most_data = gvcp::largest_message - gvcp::header_size - 16;

gvcp::Message encode(const DeviceEvent& event, std::uint16_t request_id, bool acknowledge_required)
{
    gvcp::Event wire_event;
    wire_event.event_id = event.event_id;
    wire_event.channel = event.block_id != 0 ? 0 : 0xFFFF;
    wire_event.block_id = event.block_id & 0xFFFF;
    wire_event.timestamp = event.timestamp;
    if (event.data.empty()) {
        return gvcp::event(request_id, {&wire_event, 1}, false, acknowledge_required);
    }
    wire_event.data = std::span(event.data).first(std::min(event.data.size(), most_data));
    return gvcp::event_data(request_id, wire_event, false, acknowledge_required);
}

}  // namespace

MessageChannel::MessageChannel(Ipv4Address source, std::function<bool()> cut_off)
    : cut_off_(std::move(cut_off)), socket_(net::UdpSocket::open({source, 0})), worker_([this] { run(); })
{}

MessageChannel::~MessageChannel()
{
    {
        const std::lock_guard guard(mutex_);
        quit_ = true;
        cancel_ = true;
    }
    changed_.notify_all();
    worker_.join();
}

void MessageChannel::configure(const MessageChannelState& state)
{
    const std::lock_guard guard(mutex_);
    state_ = state;
    if (!state.is_open()) {
        statistics_.dropped += queue_.size();
        queue_.clear();
        cancel_ = true;
    }
}

void MessageChannel::post(DeviceEvent event)
{
    const std::lock_guard guard(mutex_);
    if (!state_.is_open() || queue_.size() >= longest_queue) {
        ++statistics_.dropped;
        return;
    }
    queue_.push_back(std::move(event));
    changed_.notify_all();
}

void MessageChannel::reopen(Ipv4Address source)
{
    std::unique_lock lock(mutex_);
    if (socket_.local().address == source) {
        return;
    }
    cancel_ = true;
    changed_.wait(lock, [this] { return !sending_; });
    socket_ = net::UdpSocket::open({source, 0});
}

std::uint16_t MessageChannel::source_port() const
{
    const std::lock_guard guard(mutex_);
    return socket_.local().port;
}

MessageStatistics MessageChannel::statistics() const
{
    const std::lock_guard guard(mutex_);
    return statistics_;
}

void MessageChannel::run()
{
    name_this_thread("pv-messages");
    std::unique_lock lock(mutex_);
    while (!quit_) {
        if (queue_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const DeviceEvent event = std::move(queue_.front());
        queue_.pop_front();
        const MessageChannelState state = state_;
        sending_ = true;
        cancel_ = false;
        lock.unlock();
        const bool acknowledged = deliver(event, state);
        lock.lock();
        sending_ = false;
        ++statistics_.sent;
        if (state.timeout > std::chrono::milliseconds::zero()) {
            ++(acknowledged ? statistics_.acknowledged : statistics_.abandoned);
        }
        changed_.notify_all();
    }
}

bool MessageChannel::deliver(const DeviceEvent& event, const MessageChannelState& state)
{
    request_id_ = static_cast<std::uint16_t>(request_id_ == 0xFFFF ? 1 : request_id_ + 1);
    const bool wanted = state.timeout > std::chrono::milliseconds::zero();
    const gvcp::Message message = encode(event, request_id_, wanted);
    for (std::uint32_t attempt = 0; attempt <= state.retry_count && !cancel_; ++attempt) {
        if (attempt > 0) {
            const std::lock_guard guard(mutex_);
            ++statistics_.retries;
        }
        if (!cut_off_ || !cut_off_()) {
            socket_.send_to(state.destination, message.bytes());
        }
        if (!wanted) {
            return true;
        }
        if (await_acknowledge(state.destination, request_id_, !event.data.empty(), state.timeout)) {
            return true;
        }
    }
    return false;
}

bool MessageChannel::await_acknowledge(const Endpoint& from, std::uint16_t request_id, bool with_data,
                                       std::chrono::milliseconds timeout)
{
    const gvcp::Command expected = with_data ? gvcp::Command::event_data_ack : gvcp::Command::event_ack;
    const net::Clock& clock = net::Clock::steady();
    const auto end = clock.now() + timeout;
    std::array<std::uint8_t, 1024> buffer;
    while (!cancel_) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock.now());
        if (left <= std::chrono::milliseconds::zero()) {
            return false;
        }
        const auto received = socket_.receive(buffer, std::min(left, longest_wait));
        if (!received || received->source != from) {
            continue;
        }
        const auto acknowledge = gvcp::decode_acknowledge({buffer.data(), received->size});
        if (acknowledge && acknowledge->request_id == request_id && acknowledge->acknowledge == expected) {
            return true;
        }
    }
    return false;
}

}  // namespace vex::virtual_device
