#include "sdk/control/connection.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/trace.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

namespace bootstrap = wire::bootstrap;
using std::chrono::milliseconds;

/// Of the write that gives the privilege back: disconnecting from a device that is gone must not take long.
constexpr RetryPolicy release_policy{milliseconds(150), 2};

constexpr std::uint32_t newest_major = 2;
constexpr std::uint32_t usual_heartbeat_timeout_ms = 3000;

std::uint32_t clamp_heartbeat(std::uint32_t told) noexcept
{
    return told == 0 ? usual_heartbeat_timeout_ms : std::clamp<std::uint32_t>(told, 100, 3'600'000);
}

const char* name_of(PvAccessType access) noexcept
{
    switch (access) {
    case PvAccessControl: return "control";
    case PvAccessExclusive: return "exclusive access";
    default: return "read access";
    }
}

}  // namespace

Connection::Connection(const ConnectionTarget& target, std::unique_ptr<ControlTransport> transport,
                       const net::Clock& clock)
    : target_(target), transport_(std::move(transport)), channel_(*transport_, clock)
{}

PvResult Connection::open(const ConnectionTarget& target, const RetryPolicy& policy,
                          std::shared_ptr<Connection>& connection)
{
    std::unique_ptr<ControlTransport> transport;
    try {
        transport = std::make_unique<UdpControlTransport>(target.device, target.local, target.local_port);
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, error.what());
    }
    return open(target, policy, std::move(transport), net::Clock::steady(), connection);
}

PvResult Connection::open(const ConnectionTarget& target, const RetryPolicy& policy,
                          std::unique_ptr<ControlTransport> transport, const net::Clock& clock,
                          std::shared_ptr<Connection>& connection)
{
    PvResult result = open_untold(target, policy, std::move(transport), clock, connection);
    trace::write(trace::Category::connection, result.IsOK() ? trace::Level::info : trace::Level::error, [&] {
        const std::string device = target.device.address.to_string();
        return result.IsOK() ? device + ": connected with " + name_of(target.access) + " from " +
                                   connection->channel().local().to_string() + ", heartbeat timeout " +
                                   std::to_string(connection->facts().heartbeat_timeout_ms) + " ms"
                             : device + ": not connected: " + std::string(result.description());
    });
    return result;
}

PvResult Connection::open_untold(const ConnectionTarget& target, const RetryPolicy& policy,
                                 std::unique_ptr<ControlTransport> transport, const net::Clock& clock,
                                 std::shared_ptr<Connection>& connection)
{
    const auto candidate = std::make_shared<Connection>(target, std::move(transport), clock);
    candidate->channel_.set_retry_policy(policy);
    if (PvResult result = candidate->read_facts(); !result.IsOK()) {
        return result;
    }
    if (PvResult result =
            take_privilege(candidate->channel_, target.access, candidate->facts_.capability, target.switchover,
                           target.returning ? &*target.returning : nullptr, candidate->kept_control_);
        !result.IsOK()) {
        return result;
    }
    if (candidate->hands_over()) {
        if (PvResult result =
                allow_switchover(candidate->channel_, target.switchover.key, candidate->facts_.capability);
            !result.IsOK()) {
            candidate->close();
            return result;
        }
    }
    if (candidate->has_control()) {
        candidate->holder_ = read_holder(candidate->channel_, candidate->facts_.capability);
        candidate->enable_capabilities();
    }
    candidate->path_.emplace(target.device.address, candidate->channel_.local().address, candidate->has_control());
    connection = candidate;
    return PvResult::OK;
}

PvResult Connection::read_facts()
{
    auto outcome = channel_.read_register(bootstrap::version, facts_.version, target_.first_request);
    if (!outcome.ok()) {
        PvResult result = result_of(outcome);
        if (outcome.kind == ControlOutcome::Kind::refused && outcome.status == wire::gvcp::Status::access_denied) {
            return failure(PvResult::StateError, "The device ", target_.device.address.to_string(),
                           " is controlled exclusively by another application");
        }
        if (outcome.kind == ControlOutcome::Kind::no_answer && !target_.hint.empty()) {
            result.SetDescription(std::string(result.description()) + "; " + target_.hint);
        }
        return result;
    }
    // 0 is what software devices say that do not fill the register
    if ((facts_.version >> 16) > newest_major) {
        return failure(PvResult::BadVersion, "The device ", target_.device.address.to_string(), " speaks GigE Vision ",
                       std::to_string(facts_.version >> 16), ".", std::to_string(facts_.version & 0xFFFF),
                       ", this SDK up to version ", std::to_string(newest_major));
    }

    if (outcome = channel_.read_register(bootstrap::gvcp_capability, facts_.capability); !outcome.ok()) {
        return result_of(outcome);
    }
    channel_.set_concatenation((facts_.capability & bootstrap::capability::concatenation) != 0);
    channel_.set_write_memory((facts_.capability & bootstrap::capability::write_memory) != 0);

    const std::array<std::uint32_t, 5> addresses = {bootstrap::device_mode, bootstrap::mac_high, bootstrap::mac_low,
                                                    bootstrap::stream_channel_count, bootstrap::heartbeat_timeout};
    std::array<std::uint32_t, 5> values{};
    if (outcome = channel_.read_registers(addresses, values); !outcome.ok()) {
        return result_of(outcome);
    }
    facts_.mode = values[0];
    facts_.stream_channels = values[3];
    facts_.heartbeat_timeout_ms = clamp_heartbeat(values[4]);

    facts_.mac = MacAddress{{static_cast<std::uint8_t>(values[1] >> 8), static_cast<std::uint8_t>(values[1]),
                             static_cast<std::uint8_t>(values[2] >> 24), static_cast<std::uint8_t>(values[2] >> 16),
                             static_cast<std::uint8_t>(values[2] >> 8), static_cast<std::uint8_t>(values[2])}};
    if (!target_.mac.is_zero() && facts_.mac != target_.mac) {
        return failure(PvResult::NotFound, "At ", target_.device.address.to_string(), " the device ",
                       facts_.mac.to_string(), " answers, not the device ", target_.mac.to_string());
    }
    read_serial_number();
    return PvResult::OK;
}

void Connection::read_serial_number()
{
    std::array<std::uint8_t, bootstrap::serial_number_length> text{};
    if ((facts_.capability & bootstrap::capability::serial_number) != 0 &&
        channel_.read_memory(bootstrap::serial_number, text).ok()) {
        facts_.serial_number.assign(text.begin(), std::find(text.begin(), text.end(), std::uint8_t{0}));
    }
}

/// Lets the device ask for more time and say in detail why it refuses, which it does only when told to. A device that
/// cannot be told works without.
void Connection::enable_capabilities()
{
    namespace capability = bootstrap::capability;
    namespace configuration = bootstrap::configuration;
    struct Option {
        std::uint32_t capability;
        std::uint32_t configuration;
    };
    constexpr std::array options = {Option{capability::pending_ack, configuration::pending_ack},
                                    Option{capability::extended_status_1_1, configuration::extended_status_1_1},
                                    Option{capability::extended_status_2_0, configuration::extended_status_2_0}};
    std::uint32_t wanted = 0;
    for (const Option& option : options) {
        wanted |= (facts_.capability & option.capability) != 0 ? option.configuration : 0;
    }
    std::uint32_t present = 0;
    if (wanted != 0 && channel_.read_register(bootstrap::gvcp_configuration, present).ok() &&
        (present & wanted) != wanted) {
        static_cast<void>(channel_.write_register(bootstrap::gvcp_configuration, present | wanted));
    }
}

void Connection::learn_stream_source(std::uint32_t channel)
{
    std::uint32_t capability = 0;
    std::uint32_t source = 0;
    if (!channel_.read_register(bootstrap::stream_channel_capability, capability).ok() ||
        (capability & bootstrap::stream_channel_has_source_port) == 0 ||
        !channel_.read_register(bootstrap::stream_register(channel, bootstrap::stream::source_port), source).ok()) {
        return;
    }
    net::note_stream_source(target_.device.address, channel, static_cast<std::uint16_t>(source));
}

void Connection::close() noexcept
{
    if (ended_.exchange(true)) {
        return;
    }
    path_.reset();
    trace::write(trace::Category::connection, trace::Level::info,
                 [&] { return target_.device.address.to_string() + ": disconnected"; });
    if (has_control()) {
        static_cast<void>(channel_.close_with({bootstrap::control_channel_privilege, 0}, release_policy));
    } else {
        channel_.close();
    }
}

bool Connection::lose(std::string reason)
{
    if (ended_.exchange(true)) {
        return false;
    }
    path_.reset();
    trace::write(trace::Category::connection, trace::Level::error,
                 [&] { return target_.device.address.to_string() + ": the connection is lost: " + reason; });
    {
        const std::scoped_lock lock(reason_mutex_);
        loss_reason_ = std::move(reason);
    }
    channel_.close();
    return true;
}

void Connection::release_port() noexcept
{
    channel_.close();
    channel_.wait_for_exchange();
    transport_->close();
}

bool Connection::hands_over() const noexcept { return target_.switchover.allow && target_.access == PvAccessControl; }

bool Connection::has_control() const noexcept
{
    return target_.access == PvAccessControl || target_.access == PvAccessExclusive;
}

std::string Connection::loss_reason() const
{
    const std::scoped_lock lock(reason_mutex_);
    return loss_reason_;
}

PvResult Connection::result_of(const ControlOutcome& outcome) const { return to_result(outcome, target_.device); }

PvResult Connection::check_writable() const
{
    if (target_.access != PvAccessReadOnly) {
        return PvResult::OK;
    }
    return failure(PvResult::StateError, "The device ", target_.device.address.to_string(),
                   " is connected for reading only");
}

PvResult Connection::check_stream_channel(std::uint32_t channel) const
{
    if (channel < facts_.stream_channels && channel <= bootstrap::largest_stream_channel) {
        return PvResult::OK;
    }
    return failure(PvResult::InvalidParameter, "The device ", target_.device.address.to_string(), " has ",
                   std::to_string(facts_.stream_channels), " stream channels; there is no channel ",
                   std::to_string(channel));
}

}  // namespace vex::control
