#include "sdk/device/device_impl.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/control/packet_size.h"
#include "sdk/device/device_memory.h"
#include "sdk/genapi/errors.h"
#include "sdk/genapi/node_map.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

namespace stream = wire::bootstrap::stream;
using std::chrono::milliseconds;

/// How long the application's callbacks are waited for when the device object goes.
constexpr milliseconds callback_timeout{5000};
/// A thread of ours ends within the time that a message to the device takes, unless it is calling the application.
constexpr milliseconds thread_timeout{5000};
constexpr std::uint32_t port_mask = 0xFFFF;

/// The host interface's MTU towards the device, 0 when it is not known.
std::uint32_t mtu_of(Ipv4Address local)
{
    try {
        for (const net::Interface& host : net::list_interfaces()) {
            if (host.address == local || (host.loopback && local.is_loopback())) {
                return host.mtu;
            }
        }
    } catch (const std::exception&) {
        // then packets are tried up to the largest there are
    }
    return 0;
}

/// The limits that the device's feature gives, where it has one.
control::PacketSizeLimits packet_size_limits(PvGenParameterArray& array)
{
    control::PacketSizeLimits limits;
    std::int64_t smallest = 0;
    std::int64_t largest = 0;
    std::int64_t step = 0;
    const PvGenInteger* feature = array.GetInteger("GevSCPSPacketSize");
    if (feature == nullptr || !feature->GetMin(smallest).IsOK() || !feature->GetMax(largest).IsOK() ||
        !feature->GetIncrement(step).IsOK()) {
        return limits;
    }
    const auto limited = [](std::int64_t value) {
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 1, port_mask));
    };
    return {limited(smallest), limited(largest), limited(step)};
}

}  // namespace

PvDevice::Impl::Features::Features(description::Description its_description, std::shared_ptr<device::EventSinks> sinks,
                                   const std::atomic<std::int32_t>& byte_order)
    : description(std::move(its_description)), port(std::move(sinks), byte_order)
{
    auto node_map = GenApi::load_node_map(description.xml, port);
    port.set_schema(node_map->info());
    polling_interval = device::polling_interval(*node_map);
    array = std::make_unique<PvGenParameterArray>(std::move(node_map));
}

PvDevice::Impl::Impl(PvDevice& its_owner) : owner(its_owner)
{
    link.on_recovery_changed([this](bool on) { on_recovery_changed(on); });
}

std::shared_ptr<control::Connection> PvDevice::Impl::connection() const
{
    const std::scoped_lock lock(state_mutex_);
    return connection_;
}

PvDevice::Impl::Features* PvDevice::Impl::features() const
{
    const std::scoped_lock lock(state_mutex_);
    return features_;
}

void PvDevice::Impl::invalidate_features()
{
    // from within a notification the node map may be locked by this thread
    if (Features* current = features(); current != nullptr && !device::in_link_notification()) {
        current->array->InvalidateCache();
    }
}

PvResult PvDevice::Impl::connect(const control::ConnectionTarget& target)
{
    cancel_recovery();
    bool attached = false;
    std::vector<Threads> ended;
    control::AccessLog log(!sinks->empty());
    PvResult result = open(target, attached, ended);
    // the sinks may use the device
    device::notify_logged(*sinks, log.end());
    if (attached) {
        link.tell_attached();
    }
    if (result.IsOK()) {
        features()->array->InvalidateCache();
        if (begin_memory()) {
            read_memory();
        }
    }
    return result;
}

PvResult PvDevice::Impl::open(const control::ConnectionTarget& target, bool& attached, std::vector<Threads>& ended)
{
    const std::scoped_lock lock(connect_mutex_);
    if (const auto current = connection()) {
        return failure(PvResult::StateError, "Connected already, to ", current->device().address.to_string());
    }
    ended.push_back(take_threads());  // of a connection that was lost

    control::ConnectionTarget complete = target;
    complete.switchover = link.settings().switchover();
    if (complete.switchover.allow && complete.switchover.key == 0) {
        return failure(PvResult::InvalidParameter, "SwitchoverEnable needs a SwitchoverKey other than 0");
    }
    std::shared_ptr<control::Connection> opened;
    if (PvResult result = control::Connection::open(complete, link.settings().retry_policy(), opened); !result.IsOK()) {
        return result;
    }
    attached = true;
    return establish(opened, nullptr, ended);
}

PvResult PvDevice::Impl::establish(const std::shared_ptr<control::Connection>& opened,
                                   const control::Connection* recovered, std::vector<Threads>& ended)
{
    // from here on the device counts on the heartbeat: reading a long description may take more than its timeout
    link.attach(opened);
    auto heartbeat = std::make_shared<control::Heartbeat>(
        opened, link.heartbeat(),
        [self = shared_from_this(), opened](const std::string& reason) { self->on_lost(opened, reason); },
        [self = shared_from_this()] { self->link.attend_debugger(); });

    std::shared_ptr<Features> loaded;
    PvResult result = load_features(*opened, loaded);
    if (result.IsOK() && recovered != nullptr && loaded.get() != features()) {
        result = failure(PvResult::GenICamXMLError, "The device ", opened->device().address.to_string(),
                         " has another GenICam description than before");
    }
    if (result.IsOK()) {
        loaded->port.attach(opened);
        std::unique_lock state_lock(state_mutex_);
        if (recovered != recovering_) {
            result = PvResult::Aborted;
        } else if (!opened->channel().is_closed()) {
            connection_ = opened;
            features_ = loaded.get();
            recovering_ = nullptr;
            threads_.heartbeat = std::move(heartbeat);
            poll(*loaded, opened);
            state_lock.unlock();
            open_messages(opened);
            return PvResult::OK;
        }
        loaded->port.detach();
    }
    if (const std::string reason = opened->loss_reason(); !reason.empty()) {
        result = {PvResult::Timeout, opened->device().address.to_string() +
                                         ": the connection was lost while it was being made: " + reason};
    }
    link.detach();
    opened->close();
    ended.push_back({std::move(heartbeat), nullptr, nullptr});
    return result;
}

PvResult PvDevice::Impl::load_features(control::Connection& connection, std::shared_ptr<Features>& features)
{
    description::Description description;
    if (PvResult result =
            description::fetch_description(device::memory_of(connection.channel(), connection.facts().capability),
                                           link.description_places(), description);
        !result.IsOK()) {
        return result;
    }
    for (const auto& known : all_features_) {
        if (known->description.xml == description.xml && known->description.name == description.name) {
            features = known;
            return PvResult::OK;
        }
    }
    try {
        features = all_features_.emplace_back(
            std::make_shared<Features>(std::move(description), sinks, link.settings().byte_order));
        features->array->SetWriteObserver([device = weak_from_this()](PvGenParameter& parameter) {
            if (const auto self = device.lock()) {
                self->on_written(parameter);
            }
        });
        return PvResult::OK;
    } catch (const GenApi::Error& error) {
        return failure(PvResult::GenICamXMLError, "The GenICam description of the device ",
                       connection.device().address.to_string(), " cannot be used: ", error.what());
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
}

PvResult PvDevice::Impl::disconnect()
{
    cancel_recovery();
    Threads ended;
    Features* closed = nullptr;
    control::AccessLog log(!sinks->empty());
    {
        const std::scoped_lock lock(connect_mutex_);
        closed = close(ended);
    }
    stop(ended);
    device::notify_logged(*sinks, log.end());
    if (closed != nullptr) {
        // the values of a closed connection are nobody's; and the sinks may use the device
        closed->array->InvalidateCache();
    }
    return PvResult::OK;
}

void PvDevice::Impl::shut_down()
{
    cancel_recovery();
    sinks->close(callback_timeout);
    // Without the lock: nobody connects or disconnects a device that is being destroyed, and in a notification the node
    // map's lock may be held, which stands below it.
    Threads ended;
    close(ended);
    stop(ended);
    thread.stop(thread_timeout);
}

PvDevice::Impl::Features* PvDevice::Impl::close(Threads& ended)
{
    std::shared_ptr<control::Connection> closing;
    Features* closed = nullptr;
    {
        const std::scoped_lock state_lock(state_mutex_);
        closing.swap(connection_);
        closed = closing ? features_ : nullptr;
    }
    ended = take_threads();
    wake_waiters();
    if (closing) {
        memory_.end();
        link.detach();
        closing->close();
        closed->port.detach();
    }
    return closed;
}

void PvDevice::Impl::stop(const Threads& ended)
{
    if (ended.heartbeat) {
        ended.heartbeat->stop(thread_timeout);
    }
    if (ended.poller) {
        ended.poller->stop(thread_timeout);
    }
    if (ended.messages) {
        ended.messages->stop(thread_timeout);
    }
}

PvDevice::Impl::Threads PvDevice::Impl::take_threads()
{
    const std::scoped_lock lock(state_mutex_);
    return std::exchange(threads_, {});
}

void PvDevice::Impl::poll(const Features& features, const std::shared_ptr<control::Connection>& connection)
{
    if (features.polling_interval) {
        threads_.poller = std::make_shared<device::FeaturePoller>(
            std::shared_ptr<GenApi::INodeMap>(shared_from_this(), features.array->GetNodeMap()), connection,
            *features.polling_interval);
    }
}

void PvDevice::Impl::on_lost(const std::shared_ptr<control::Connection>& lost, const std::string& reason)
{
    if (!lost->lose(reason)) {
        return;
    }
    Features* current = nullptr;
    {
        const std::scoped_lock lock(state_mutex_);
        if (connection_ == lost) {
            connection_.reset();
            current = features_;
            recovering_ = link.settings().recovery ? lost.get() : nullptr;
        }
    }
    link.count_loss(reason);
    if (current == nullptr) {
        return;  // Connect is still at work on it, and will notice
    }
    current->port.detach();
    wake_waiters();
    post([self = shared_from_this(), lost] { self->tell_lost(lost); });
}

void PvDevice::Impl::post(device::DeviceThread::Task task) noexcept
{
    try {
        thread.post(std::move(task));
    } catch (const std::exception&) {
        // neither memory nor a thread is to be had; what there was to tell is in the link's parameters
    }
}

void PvDevice::Impl::tell_lost(const std::shared_ptr<control::Connection>& lost)
{
    link.tell_loss();
    features()->array->InvalidateCache();
    tell(&PvDeviceEventSink::OnLinkDisconnected);
    recover(lost);
}

PvResult PvDevice::Impl::writable_connection(std::shared_ptr<control::Connection>& connection_out) const
{
    connection_out = connection();
    return connection_out ? connection_out->check_writable() : PvResult(PvResult::NotConnected);
}

PvResult PvDevice::Impl::stream_connection(std::uint32_t channel,
                                           std::shared_ptr<control::Connection>& connection_out) const
{
    PvResult result = writable_connection(connection_out);
    return result.IsOK() ? connection_out->check_stream_channel(channel) : result;
}

PvResult PvDevice::Impl::set_stream_destination(std::uint32_t channel, Ipv4Address address, std::uint16_t port)
{
    std::shared_ptr<control::Connection> current;
    if (PvResult result = stream_connection(channel, current); !result.IsOK()) {
        return result;
    }
    const std::uint32_t port_register = wire::bootstrap::stream_register(channel, stream::port);
    const std::uint32_t destination_register = wire::bootstrap::stream_register(channel, stream::destination);
    control::AccessLog log(!sinks->empty());
    std::uint32_t before = 0;
    auto outcome = current->channel().read_register(port_register, before);
    if (!outcome.ok()) {
        return current->result_of(outcome);
    }

    // the upper half names the device's own network interface, which stays
    const control::RegisterWrite set_port{port_register, (before & ~port_mask) | port};
    const control::RegisterWrite set_address{destination_register, address.value};
    // the port opens and closes the channel: never open towards an address that is not meant
    const std::array<control::RegisterWrite, 2> writes =
        port != 0 ? std::array{set_address, set_port} : std::array{set_port, set_address};
    outcome = current->channel().write_registers(writes);
    if (outcome.ok() && port != 0) {
        current->learn_stream_source(channel);
    }
    const auto accesses = log.end();
    remember_stream(*current, channel);
    invalidate_features();
    device::notify_logged(*sinks, accesses);
    return current->result_of(outcome);
}

PvResult PvDevice::Impl::negotiate_packet_size(std::uint32_t channel, std::uint32_t default_size)
{
    std::shared_ptr<control::Connection> current;
    if (PvResult result = stream_connection(channel, current); !result.IsOK()) {
        return result;
    }
    control::PacketSizeTask task;
    task.channel = channel;
    task.default_size = default_size;
    task.mtu = mtu_of(current->channel().local().address);
    if (Features* known = features(); known != nullptr && channel == 0) {
        task.limits = packet_size_limits(*known->array);
        std::int64_t locked = 0;
        task.locked = known->array->GetIntegerValue("TLParamsLocked", locked).IsOK() && locked != 0;
    }
    control::AccessLog log(!sinks->empty());
    const PvResult result = control::negotiate_packet_size(current->channel(), task);
    const auto accesses = log.end();
    remember_stream(*current, channel);
    invalidate_features();
    device::notify_logged(*sinks, accesses);
    return result;
}

PvResult PvDevice::Impl::report_stream_timeout(std::uint32_t channel)
{
    const auto current = connection();
    if (!current) {
        return PvResult::NotConnected;
    }
    if (PvResult result = current->check_stream_channel(channel); !result.IsOK()) {
        return result;
    }
    link.count_stream_timeout(channel);
    std::shared_ptr<control::Heartbeat> heartbeat;
    {
        const std::scoped_lock lock(state_mutex_);
        heartbeat = threads_.heartbeat;
    }
    if (heartbeat) {
        heartbeat->check_now();
    }
    return PvResult::OK;
}
