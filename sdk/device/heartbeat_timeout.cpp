#include "sdk/device/heartbeat_timeout.h"

#include <algorithm>
#include <chrono>

#include "sdk/wire/bootstrap.h"

namespace vex::device {

namespace {

constexpr std::uint32_t address = wire::bootstrap::heartbeat_timeout;
/// The heartbeat and disconnecting wait for these.
constexpr control::RetryPolicy brief{std::chrono::milliseconds(150), 1};

}  // namespace

void HeartbeatTimeout::attach(const control::Connection& connection)
{
    const std::scoped_lock lock(mutex_);
    attached_ = true;
    if (!connection.kept_control()) {
        own_ms_ = 0;  // of a device that was lost
        raised_ = false;
    }
    if (!raised_) {
        heartbeat_->timeout_ms = connection.facts().heartbeat_timeout_ms;
    }
}

void HeartbeatTimeout::remember_own(control::Connection& connection)
{
    std::uint32_t before = 0;
    if (own_ms_ == 0 && connection.channel().read_register(address, before).ok()) {
        own_ms_ = before;
    }
}

control::ControlOutcome HeartbeatTimeout::set(control::Connection& connection, std::uint32_t wanted_ms)
{
    const std::scoped_lock lock(mutex_);
    if (raised_) {
        heartbeat_->timeout_ms = wanted_ms;
        return {};
    }
    remember_own(connection);
    const auto outcome = connection.channel().write_register(address, wanted_ms);
    return outcome.ok() ? read_back(connection) : outcome;
}

control::ControlOutcome HeartbeatTimeout::read_back(control::Connection& connection)
{
    std::uint32_t actual = 0;
    const auto outcome = connection.channel().read_register(address, actual);
    if (outcome.ok() && actual != 0) {
        heartbeat_->timeout_ms = actual;
    }
    return outcome;
}

void HeartbeatTimeout::hold(control::Connection& connection, bool debugged)
{
    const std::scoped_lock lock(mutex_);
    if (!attached_ || debugged == raised_) {
        return;
    }
    if (debugged) {
        remember_own(connection);
    }
    const std::uint32_t usual_ms = heartbeat_->timeout_ms;
    if (!connection.channel().write_register(address, debugged ? std::max(debugged_ms, usual_ms) : usual_ms, brief)) {
        return;
    }
    raised_ = debugged;
    if (!debugged) {
        static_cast<void>(read_back(connection));
    }
}

void HeartbeatTimeout::detach(control::Connection* connection) noexcept
{
    const std::scoped_lock lock(mutex_);
    if (attached_ && connection != nullptr && own_ms_ != 0) {
        static_cast<void>(connection->channel().write_register(address, own_ms_, brief));
    }
    attached_ = false;
    raised_ = false;
    own_ms_ = 0;
}

}  // namespace vex::device
