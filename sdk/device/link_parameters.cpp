#include "sdk/device/link_parameters.h"

#include <utility>

#include "sdk/device/parameter_kinds.h"
#include "sdk/device/register_port.h"
#include "sdk/wire/bootstrap.h"

namespace vex::device {

namespace {

namespace bootstrap = wire::bootstrap;

}  // namespace

SoftwareParameterArray& Link::parameters()
{
    std::call_once(asked_for_, [this] {
        parameters_ = build_parameters();
        made_ = parameters_.get();
    });
    return *parameters_;
}

void Link::changed(const char* parameter)
{
    if (SoftwareParameterArray* const made = made_) {
        made->changed(parameter);
    }
}

std::shared_ptr<control::Connection> Link::connection() const
{
    const std::scoped_lock lock(mutex_);
    return connection_;
}

control::ControlStatistics Link::statistics() const
{
    const auto last = connection();
    return last ? last->channel().statistics() : control::ControlStatistics{};
}

void Link::attach(const std::shared_ptr<control::Connection>& connection)
{
    heartbeat_timeout_.attach(*connection);
    {
        const std::scoped_lock lock(mutex_);
        connection_ = connection;
    }
    attached_ = true;
    if (connection->has_control()) {
        static_cast<void>(apply_heartbeat_timeout(*connection));
        if (settings_.heartbeat_disabled) {
            static_cast<void>(apply_heartbeat_disabled(*connection));
        }
        attend_debugger();
    }
}

void Link::attend_debugger()
{
    const auto current = connection();
    if (attached_ && current && current->has_control()) {
        heartbeat_timeout_.hold(*current, settings_.heartbeat_debugger && is_debugged_());
    }
}

void Link::set_messages(const std::shared_ptr<control::MessageReceiver>& messages)
{
    const std::scoped_lock lock(mutex_);
    messages_ = messages;
}

control::MessageReceiverStatistics Link::message_statistics() const
{
    const std::scoped_lock lock(mutex_);
    return messages_ ? messages_->statistics() : control::MessageReceiverStatistics{};
}

void Link::tell_attached()
{
    for (const char* name : {"HeartbeatTimeout", "HeartbeatDisable"}) {
        changed(name);
    }
}

void Link::detach() noexcept
{
    const bool was_attached = attached_.exchange(false);
    const auto last = connection();
    const bool is_writable = was_attached && last && last->has_control() && !last->channel().is_closed();
    heartbeat_timeout_.detach(is_writable ? last.get() : nullptr);
    if (!is_writable) {
        return;
    }
    constexpr control::RetryPolicy brief{std::chrono::milliseconds(150), 1};
    // a device left without heartbeat supervision would stay controlled when the next application crashes
    std::uint32_t value = 0;
    if (settings_.heartbeat_disabled &&
        last->channel().read_register(bootstrap::gvcp_configuration, value, brief).ok()) {
        static_cast<void>(last->channel().write_register(bootstrap::gvcp_configuration,
                                                         value & ~bootstrap::configuration::heartbeat_disable, brief));
    }
}

void Link::count_loss(std::string reason)
{
    ++losses_;
    const std::scoped_lock lock(mutex_);
    loss_reason_ = std::move(reason);
}

void Link::tell_loss()
{
    for (const char* name : {"LinkLossCount", "LinkLossReason"}) {
        changed(name);
    }
}

void Link::set_recovery_state(std::string state)
{
    {
        const std::scoped_lock lock(mutex_);
        if (recovery_state_ == state) {
            return;
        }
        recovery_state_ = std::move(state);
    }
    changed("LinkRecoveryState");
}

void Link::count_recovery()
{
    ++recoveries_;
    changed("LinkRecoveryCount");
}

void Link::count_stream_timeout(std::uint32_t channel)
{
    const std::scoped_lock lock(mutex_);
    ++stream_timeouts_[channel];
}

void Link::reset_stream_timeouts(std::uint32_t channel)
{
    const std::scoped_lock lock(mutex_);
    stream_timeouts_.erase(channel);
}

description::DescriptionPlaces Link::description_places() const
{
    const std::scoped_lock lock(mutex_);
    return description_places_;
}

std::uint64_t Link::stream_timeouts() const
{
    const std::scoped_lock lock(mutex_);
    std::uint64_t all = 0;
    for (const auto& [channel, count] : stream_timeouts_) {
        all += count;
    }
    return all;
}

PvResult Link::apply_heartbeat_timeout(control::Connection& connection)
{
    const std::uint32_t wanted = settings_.heartbeat_timeout_ms;
    if (wanted == 0) {
        return PvResult::OK;
    }
    return connection.result_of(heartbeat_timeout_.set(connection, wanted));
}

PvResult Link::apply_heartbeat_disabled(control::Connection& connection)
{
    std::uint32_t value = 0;
    auto outcome = connection.channel().read_register(bootstrap::gvcp_configuration, value);
    if (outcome.ok()) {
        value = settings_.heartbeat_disabled ? value | bootstrap::configuration::heartbeat_disable
                                             : value & ~bootstrap::configuration::heartbeat_disable;
        outcome = connection.channel().write_register(bootstrap::gvcp_configuration, value);
    }
    return connection.result_of(outcome);
}

std::unique_ptr<SoftwareParameterArray> Link::build_parameters()
{
    SoftwareParameters parameters("Link");
    add_settings(parameters);
    add_description_places(parameters);
    add_heartbeat(parameters);
    add_recovery(parameters);
    add_switchover(parameters);
    add_statistics(parameters);
    return parameters.build();
}

void Link::add_settings(SoftwareParameters& parameters)
{
    const auto apply_retry_policy = [this] {
        if (const auto current = connection()) {
            current->channel().set_retry_policy(settings_.retry_policy());
        }
        return PvResult(PvResult::OK);
    };

    auto timeout =
        number("AnswerTimeout", "Commands", "How long the device may take to answer a command.", 10, 60'000, "ms");
    timeout.get = [this] { return settings_.answer_timeout_ms.load(); };
    timeout.set = [this, apply_retry_policy](std::int64_t value) {
        settings_.answer_timeout_ms = static_cast<std::uint32_t>(value);
        return apply_retry_policy();
    };
    parameters.add(timeout);

    auto retries = number("CommandRetries", "Commands",
                          "How often a command is sent again when the device does not answer in time.", 0, 20, "");
    retries.get = [this] { return settings_.retries.load(); };
    retries.set = [this, apply_retry_policy](std::int64_t value) {
        settings_.retries = static_cast<std::uint32_t>(value);
        return apply_retry_policy();
    };
    parameters.add(retries);

    auto order = named<SoftwareEnum>("RegisterByteOrder", "Commands",
                                     "How registers of little-endian devices are read. Some devices do not do what "
                                     "their description declares.");
    order.visibility = GenApi::Visibility::guru;
    order.streamable = true;
    order.entries = {
        {"Automatic", static_cast<std::int64_t>(ByteOrderRule::automatic), "", "By the description's schema version."},
        {"Legacy", static_cast<std::int64_t>(ByteOrderRule::legacy), "", "Network order, as before schema 1.1."},
        {"Memory", static_cast<std::int64_t>(ByteOrderRule::memory), "", "As in memory, as from schema 1.1 on."}};
    order.get = [this] { return std::int64_t{settings_.byte_order}; };
    order.set = [this](std::int64_t value) {
        settings_.byte_order = static_cast<std::int32_t>(value);
        return PvResult(PvResult::OK);
    };
    parameters.add(order);
}

void Link::add_heartbeat(SoftwareParameters& parameters)
{
    auto timeout = number("HeartbeatTimeout", "Heartbeat",
                          "After this silence the device takes control away from the application, and the application "
                          "gives the device up, at the latest after 10 s. The device may choose a nearby value.",
                          100, 3'600'000, "ms");
    timeout.is_volatile = true;
    timeout.get = [this]() -> std::int64_t { return heartbeat_->timeout_ms; };
    timeout.set = [this](std::int64_t value) {
        settings_.heartbeat_timeout_ms = static_cast<std::uint32_t>(value);
        const auto current = connection();
        if (attached_ && current && current->has_control()) {
            return apply_heartbeat_timeout(*current);
        }
        heartbeat_->timeout_ms = static_cast<std::uint32_t>(value);
        return PvResult(PvResult::OK);
    };
    parameters.add(timeout);

    auto interval = number(
        "HeartbeatInterval", "Heartbeat",
        "The time between two beats, at most a third of the timeout; 0 for a quarter of it, within 100 ms and 2 s.", 0,
        60'000, "ms");
    interval.get = [this]() -> std::int64_t { return heartbeat_->interval_ms; };
    interval.set = [this](std::int64_t value) {
        heartbeat_->interval_ms = static_cast<std::uint32_t>(value);
        return PvResult(PvResult::OK);
    };
    parameters.add(interval);

    auto debugger = named<SoftwareBoolean>("HeartbeatDebugger", "Heartbeat",
                                           "While a debugger is attached to the program, the device waits ten minutes "
                                           "for it instead of the timeout, and so does not take control away from a "
                                           "program that is stopped.");
    debugger.streamable = true;
    debugger.visibility = GenApi::Visibility::expert;
    debugger.get = [this] { return settings_.heartbeat_debugger.load(); };
    debugger.set = [this](bool value) {
        settings_.heartbeat_debugger = value;
        attend_debugger();
        return PvResult(PvResult::OK);
    };
    parameters.add(debugger);

    auto disable = named<SoftwareBoolean>("HeartbeatDisable", "Heartbeat",
                                          "The device does not supervise the application. For debugging: a stopped "
                                          "program keeps control, and so does one that crashed.");
    disable.visibility = GenApi::Visibility::guru;
    disable.get = [this] { return settings_.heartbeat_disabled.load(); };
    disable.set = [this](bool value) {
        const auto current = connection();
        const bool controlling = attached_ && current && current->has_control();
        if (controlling && (current->facts().capability & bootstrap::capability::heartbeat_disable) == 0) {
            return PvResult(PvResult::NotSupported, "The device cannot do without the heartbeat");
        }
        settings_.heartbeat_disabled = value;
        return controlling ? apply_heartbeat_disabled(*current) : PvResult(PvResult::OK);
    };
    parameters.add(disable);
}

void Link::add_recovery(SoftwareParameters& parameters)
{
    auto enabled = named<SoftwareBoolean>(
        "LinkRecoveryEnabled", "Recovery",
        "A lost device is looked for, connected again, and given back the settings, the stream destination and the "
        "acquisition that it had. Set before connecting: settings are remembered from then on.");
    enabled.streamable = true;
    enabled.get = [this] { return settings_.recovery.load(); };
    enabled.set = [this](bool value) {
        if (settings_.recovery.exchange(value) != value && recovery_changed_) {
            recovery_changed_(value);
        }
        return PvResult(PvResult::OK);
    };
    parameters.add(enabled);

    auto state = named<SoftwareString>("LinkRecoveryState", "Recovery",
                                       "What became of the last attempt to find and connect the lost device, and what "
                                       "could not be put back. Empty when all is well.");
    state.is_volatile = true;
    state.visibility = GenApi::Visibility::expert;
    state.get = [this] {
        const std::scoped_lock lock(mutex_);
        return recovery_state_;
    };
    parameters.add(state);

    auto count =
        counter("LinkRecoveryCount", "Times that a lost link was recovered.", [this] { return recoveries_.load(); });
    count.category = "Recovery";
    parameters.add(count);
}

void Link::add_switchover(SoftwareParameters& parameters)
{
    // not saved with a configuration: loading a file must not take a camera from anybody
    auto key = named<SoftwareInteger>("SwitchoverKey", "Switchover",
                                      "Connect takes control from another application that allows it for this key; "
                                      "0: from none. Takes effect with the next connection.");
    key.visibility = GenApi::Visibility::expert;
    key.max = 0xFFFF;
    key.get = [this]() -> std::int64_t { return settings_.switchover_key; };
    key.set = [this](std::int64_t value) {
        settings_.switchover_key = static_cast<std::uint16_t>(value);
        return PvResult(PvResult::OK);
    };
    parameters.add(key);

    auto enable = named<SoftwareBoolean>("SwitchoverEnable", "Switchover",
                                         "Another application may take control with the SwitchoverKey, which must not "
                                         "be 0. Takes effect with the next connection.");
    enable.visibility = GenApi::Visibility::expert;
    enable.get = [this] { return settings_.switchover_enabled.load(); };
    enable.set = [this](bool value) {
        settings_.switchover_enabled = value;
        return PvResult(PvResult::OK);
    };
    parameters.add(enable);
}

}  // namespace vex::device
