// PvDevice and the events that its device sends on the message channel.
#include <array>
#include <exception>
#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/device/device_impl.h"
#include "sdk/genapi/node_map.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

namespace bootstrap = wire::bootstrap;

/// How long the device waits for the acknowledge of an event, in ms, and how often it then repeats it. The receiver
/// acknowledges at once, whatever the application does.
constexpr std::uint32_t acknowledge_timeout = 200;
constexpr std::uint32_t retry_count = 3;
constexpr std::uint32_t tells_source_port = 1U << 31;
constexpr std::uint32_t port_mask = 0xFFFF;

/// Events told in one go; whatever else the device has to tell comes in between.
constexpr int events_at_once = 64;

/// The port that the device's messages come from; 0 when it does not tell.
std::uint16_t source_port(control::ControlChannel& channel)
{
    std::uint32_t capability = 0;
    std::uint32_t port = 0;
    if (!channel.read_register(bootstrap::message_channel_capability, capability).ok() ||
        (capability & tells_source_port) == 0 ||
        !channel.read_register(bootstrap::message_channel_source_port, port).ok()) {
        return 0;
    }
    return static_cast<std::uint16_t>(port & port_mask);
}

}  // namespace

void PvDevice::Impl::open_messages(const std::shared_ptr<control::Connection>& opened)
{
    control::ControlChannel& channel = opened->channel();
    std::uint32_t count = 0;
    if (!opened->has_control() || !channel.read_register(bootstrap::message_channel_count, count).ok() || count == 0) {
        return;
    }
    std::shared_ptr<control::MessageReceiver> receiver;
    try {
        receiver = std::make_shared<control::MessageReceiver>(Endpoint{opened->device().address, source_port(channel)},
                                                              channel.local().address, [device = weak_from_this()] {
                                                                  if (const auto self = device.lock()) {
                                                                      self->on_messages();
                                                                  }
                                                              });
    } catch (const std::system_error&) {
        return;
    }
    {
        const std::scoped_lock lock(state_mutex_);
        if (connection_ != opened) {
            return;
        }
        threads_.messages = receiver;
    }
    link.set_messages(receiver);
    const Endpoint local = receiver->local();
    // the port last: it opens the channel
    const std::array<control::RegisterWrite, 4> writes = {
        control::RegisterWrite{bootstrap::message_channel_timeout, acknowledge_timeout},
        {bootstrap::message_channel_retry_count, retry_count},
        {bootstrap::message_channel_destination, local.address.value},
        {bootstrap::message_channel_port, local.port}};
    static_cast<void>(channel.write_registers(writes));
}

std::shared_ptr<control::MessageReceiver> PvDevice::Impl::messages() const
{
    const std::scoped_lock lock(state_mutex_);
    return connection_ ? threads_.messages : nullptr;
}

void PvDevice::Impl::on_messages()
{
    if (!events_posted_.exchange(true)) {
        post([self = shared_from_this()] { self->tell_events(); });
    }
}

void PvDevice::Impl::wake_waiters()
{
    const std::scoped_lock lock(events_mutex_);
    events_told_.notify_all();
}

void PvDevice::Impl::tell_events()
{
    const auto set_telling = [this](bool telling) {
        const std::scoped_lock lock(events_mutex_);
        telling_events_ = telling;
        events_told_.notify_all();
    };
    events_posted_ = false;
    set_telling(true);
    for (int n = 0; n < events_at_once; ++n) {
        // asked for each time: a handler may have disconnected
        const auto receiver = messages();
        const auto event = receiver ? receiver->take() : std::nullopt;
        if (!event) {
            set_telling(false);
            return;
        }
        tell_event(*event);
    }
    set_telling(false);
    on_messages();
}

void PvDevice::Impl::tell_event(const control::ReceivedEvent& event)
{
    try {
        features()->array->GetNodeMap()->deliver_event(event.id, event.bytes);
    } catch (const std::exception&) {
        // memory is short; the sinks need less
    }
    const std::span<const std::uint8_t> data = event.data();
    sinks->notify([&](PvDeviceEventSink& sink) {
        sink.OnEvent(&owner, event.id, event.channel, event.block_id, event.timestamp,
                     data.empty() ? nullptr : data.data(), static_cast<std::uint32_t>(data.size()));
    });
}

PvResult PvDevice::Impl::wait_for_messages(std::chrono::milliseconds timeout)
{
    if (thread.is_current()) {
        return failure(PvResult::StateError, "A notification cannot wait until notifications have been told");
    }
    const auto receiver = messages();
    if (!receiver) {
        return connection() ? PvResult::OK : PvResult::NotConnected;
    }
    std::unique_lock lock(events_mutex_);
    const auto gone = [&] { return messages() != receiver; };
    const bool ended =
        events_told_.wait_for(lock, timeout, [&] { return gone() || (receiver->is_empty() && !telling_events_); });
    if (gone()) {
        return PvResult::NotConnected;
    }
    return ended ? PvResult(PvResult::OK)
                 : failure(PvResult::Timeout, "Events of the device are still being told after ",
                           std::to_string(timeout.count()), " ms");
}
