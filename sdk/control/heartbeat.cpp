#include "sdk/control/heartbeat.h"

#include <algorithm>
#include <array>
#include <utility>

#include "sdk/base/trace.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

namespace bootstrap = wire::bootstrap;
using std::chrono::milliseconds;

constexpr milliseconds shortest_interval{100};
constexpr milliseconds longest_interval{2000};
/// Between beats while the device does not answer.
constexpr milliseconds unanswered_interval{50};
/// A device may keep its controller for hours, so that a debugger can hold that up; it is gone much earlier.
constexpr milliseconds longest_silence{10'000};
/// A device is not given up for fewer.
constexpr int fewest_missed = 3;

}  // namespace

milliseconds heartbeat_interval(milliseconds timeout, milliseconds chosen) noexcept
{
    const milliseconds usual = std::clamp(timeout / 4, shortest_interval, longest_interval);
    // two beats may get lost before the device notices
    return std::clamp(chosen.count() > 0 ? chosen : usual, milliseconds(1), std::max(timeout / 3, milliseconds(1)));
}

HeartbeatMonitor::HeartbeatMonitor(ControlChannel& channel, bool has_control, std::optional<PrivilegeHolder> holder,
                                   const net::Clock& clock, bool hands_over)
    : channel_(channel), clock_(clock), has_control_(has_control), hands_over_(hands_over), holder_(holder),
      begin_(clock.now())
{}

std::optional<std::string> HeartbeatMonitor::beat(milliseconds silence, RetryPolicy policy)
{
    constexpr std::array<std::uint32_t, 3> addresses = {
        bootstrap::control_channel_privilege, bootstrap::primary_application_ip, bootstrap::primary_application_port};
    std::array<std::uint32_t, 3> values{};
    const std::size_t count = holder_ ? addresses.size() : 1;
    const auto outcome = channel_.read_registers(std::span(addresses).first(count), values, policy);
    unanswered_ = !outcome.ok();
    missed_in_a_row_ = outcome.ok() ? 0 : missed_in_a_row_ + 1;
    if (outcome.ok()) {
        return judge(values[0], {{values[1]}, static_cast<std::uint16_t>(values[2])});
    }
    if (outcome.kind == ControlOutcome::Kind::closed) {
        return std::nullopt;
    }
    if (outcome.kind == ControlOutcome::Kind::refused) {
        unanswered_ = false;
        missed_in_a_row_ = 0;
        if (outcome.status == wire::gvcp::Status::access_denied && has_control_) {
            return "another application has exclusive control of the device";
        }
        // a device that does not let its privilege be read answers all the same, and so is there
        return std::nullopt;
    }
    const auto heard = std::max(channel_.last_answer(), begin_);
    const auto silent = std::chrono::duration_cast<milliseconds>(clock_.now() - heard);
    if (silent < std::min(silence, longest_silence) || missed_in_a_row_ < fewest_missed) {
        return std::nullopt;
    }
    return "the device has not answered for " + std::to_string(silent.count()) + " ms";
}

std::optional<std::string> HeartbeatMonitor::judge(std::uint32_t privilege, const PrivilegeHolder& holder) const
{
    if (!has_control_) {
        return std::nullopt;
    }
    if ((privilege & (bootstrap::privilege::control | bootstrap::privilege::exclusive)) == 0) {
        return "the device no longer knows this application as its controller";
    }
    if (holder_ && *holder_ != holder) {
        return "control of the device went to " + text_of(holder);
    }
    if (hands_over_ && (privilege & bootstrap::privilege::switchover_enable) == 0) {
        return "control of the device went to another application";
    }
    return std::nullopt;
}

Heartbeat::Heartbeat(std::shared_ptr<Connection> connection, std::shared_ptr<HeartbeatSettings> settings,
                     std::function<void(std::string)> on_lost, std::function<void()> before_beat)
    : worker_("pv-heartbeat",
              [connection = std::move(connection), settings = std::move(settings), on_lost = std::move(on_lost),
               before_beat = std::move(before_beat)](Worker::Signals& signals) {
                  run(signals, *connection, *settings, on_lost, before_beat);
              })
{}

void Heartbeat::run(Worker::Signals& signals, Connection& connection, HeartbeatSettings& settings,
                    const std::function<void(std::string)>& on_lost, const std::function<void()>& before_beat)
{
    HeartbeatMonitor monitor(connection.channel(), connection.has_control(), connection.holder(), net::Clock::steady(),
                             connection.hands_over());
    const net::Clock& clock = net::Clock::steady();
    for (;;) {
        const auto begin = clock.now();
        if (before_beat) {
            before_beat();
        }
        const milliseconds timeout(settings.timeout_ms);
        const milliseconds interval = heartbeat_interval(timeout, milliseconds(settings.interval_ms));
        // a beat must end well within the time after which the device forgets its controller
        const RetryPolicy policy{std::min(connection.channel().retry_policy().answer_timeout, interval), 1};
        const auto lost = monitor.beat(timeout, policy);
        ++settings.beats;
        if (monitor.is_unanswered()) {
            ++settings.missed;
            trace::write(trace::Category::connection, trace::Level::warning,
                         [&] { return connection.device().address.to_string() + ": a heartbeat was not answered"; });
        }
        if (connection.channel().is_closed()) {
            return;
        }
        if (lost) {
            on_lost(*lost);
            return;
        }
        const auto left = std::chrono::ceil<milliseconds>(begin + interval - clock.now());
        const milliseconds pause = monitor.is_unanswered() ? std::min(unanswered_interval, interval) : left;
        if (!signals.pause(std::max(pause, milliseconds(0)))) {
            return;
        }
    }
}

}  // namespace vex::control
