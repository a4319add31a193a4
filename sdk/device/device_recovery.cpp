// What PvDevice does about a lost link, when it is told to: finds the device again, connects, and puts back what the
// application had set.
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/base/trace.h"
#include "sdk/control/discovery.h"
#include "sdk/device/device_impl.h"
#include "sdk/device/device_lookup.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/results.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

namespace stream = wire::bootstrap::stream;
using std::chrono::milliseconds;

/// How long devices may take to answer one search. Those that are there answer within a few.
constexpr milliseconds search_timeout{250};
/// Of a request to the address that the device had, which a search by broadcast may not reach.
constexpr control::RetryPolicy direct_policy{milliseconds(150), 1};
/// Of the requests that make a connection: Connect and Disconnect of the application wait for them.
constexpr control::RetryPolicy reopen_policy{milliseconds(200), 2};
/// Between two searches: short at first, because most losses are, then longer to spare the network.
constexpr milliseconds first_pause{200};
constexpr milliseconds later_pause{1000};
constexpr int first_pauses = 50;

constexpr std::uint32_t fire_test_packet = 1U << 31;

bool is_lost_device(const wire::gvcp::DiscoveryAcknowledge& facts, const control::Connection& lost)
{
    const std::string& serial = lost.facts().serial_number;
    return facts.mac == lost.facts().mac &&
           (serial.empty() || facts.serial_number.empty() || facts.serial_number == serial);
}

/// Where the device of a lost connection is now; empty when it does not answer.
std::optional<control::ConnectionTarget> find_again(const control::Connection& lost, control::SearchNetwork& network)
{
    std::optional<control::ConnectionTarget> best;
    try {
        const std::vector<net::Interface> hosts = network.interfaces();
        control::DiscoveryOptions options;
        options.timeout = search_timeout;
        options.access_status = false;
        control::Discovery discovery(hosts, options, network);
        discovery.run([&](const control::FoundDevice& found) {
            if (!is_lost_device(found.facts, lost)) {
                return true;
            }
            const net::Interface& host = hosts[found.interface_index];
            best = lost.target();
            best->device.address = found.facts.address;
            best->local = host.address;
            best->hint = device::reachability_hint(host, found.facts);
            best->first_request = reopen_policy;
            return !best->hint.empty();
        });
    } catch (const std::system_error&) {
        // interfaces that come and go; the next search may find them
    }
    return best;
}

std::string state_of(const PvResult& result) { return result.IsOK() ? "" : std::string(result.description()); }

}  // namespace

void PvDevice::Impl::cancel_recovery()
{
    {
        const std::scoped_lock lock(state_mutex_);
        recovering_ = nullptr;
    }
    thread.wake();
}

bool PvDevice::Impl::is_recovering(const control::Connection& lost) const
{
    const std::scoped_lock lock(state_mutex_);
    return recovering_ == &lost;
}

void PvDevice::Impl::tell(void (PvDeviceEventSink::*notification)(PvDevice*))
{
    sinks->notify([&](PvDeviceEventSink& sink) { (sink.*notification)(&owner); });
}

void PvDevice::Impl::recover(const std::shared_ptr<control::Connection>& lost)
{
    for (int n = 0; is_recovering(*lost); ++n) {
        const PvResult result = try_to_recover(*lost);
        link.set_recovery_state(state_of(result));
        trace::write(trace::Category::connection, result.IsOK() ? trace::Level::info : trace::Level::warning, [&] {
            return lost->device().address.to_string() + ": attempt " + std::to_string(n + 1) +
                   " to recover: " + (result.IsOK() ? "connected again" : std::string(result.description()));
        });
        if (result.IsOK()) {
            restore(connection());
            return;
        }
        if (result.GetCode() == PvResult::GenICamXMLError) {
            const std::scoped_lock lock(state_mutex_);
            recovering_ = nullptr;  // nobody else makes a connection while this is not null
            return;
        }
        if (!thread.pause(n < first_pauses ? first_pause : later_pause)) {
            return;
        }
    }
}

PvResult PvDevice::Impl::try_to_recover(control::Connection& lost)
{
    if (const auto found = find_again(lost, control::SearchNetwork::system())) {
        return reopen(lost, *found);
    }
    control::ConnectionTarget before = lost.target();
    before.local = lost.channel().local().address;
    before.first_request = direct_policy;
    return reopen(lost, before);
}

PvResult PvDevice::Impl::reopen(control::Connection& lost, control::ConnectionTarget target)
{
    // the device may not have missed its controller, which it knows by address and port
    lost.release_port();
    target.mac = lost.facts().mac;
    target.local_port = lost.channel().local().port;
    target.returning = control::Returning{lost.holder()};
    target.switchover.take_over = false;  // what was handed over is not taken back
    std::vector<Threads> ended;
    PvResult result = reopen_and_compare(lost, target, ended);
    for (const Threads& threads : ended) {
        stop(threads);
    }
    return result;
}

PvResult PvDevice::Impl::reopen_and_compare(control::Connection& lost, const control::ConnectionTarget& target,
                                            std::vector<Threads>& ended)
{
    const std::scoped_lock lock(connect_mutex_);
    if (!is_recovering(lost)) {
        return PvResult::Aborted;
    }
    ended.push_back(take_threads());
    std::shared_ptr<control::Connection> opened;
    PvResult result = control::Connection::open(target, reopen_policy, opened);
    if (result.GetCode() == PvResult::NetworkError) {
        control::ConnectionTarget elsewhere = target;
        elsewhere.local_port = 0;
        result = control::Connection::open(elsewhere, reopen_policy, opened);
    }
    if (!result.IsOK()) {
        return result;
    }
    if (opened->facts().serial_number != lost.facts().serial_number) {
        result = failure(PvResult::NotFound, "At ", opened->device().address.to_string(),
                         " a device with the serial number ", opened->facts().serial_number, " answers, not ",
                         lost.facts().serial_number);
        opened->close();
        return result;
    }
    result = establish(opened, &lost, ended);
    if (result.IsOK()) {
        opened->channel().set_retry_policy(link.settings().retry_policy());
    }
    return result;
}

void PvDevice::Impl::restore(const std::shared_ptr<control::Connection>& recovered)
{
    const auto is_current = [&] { return recovered != nullptr && connection() == recovered; };
    if (!is_current()) {
        return;
    }
    PvGenParameterArray& array = *features()->array;
    link.tell_attached();
    array.InvalidateCache();
    tell(&PvDeviceEventSink::OnLinkReconnected);

    // a device that has kept its controller has kept everything else
    const bool writes = !recovered->kept_control() && recovered->check_writable().IsOK() && memory_.has_begun();
    const auto step = [&](auto put_back, void (PvDeviceEventSink::*notification)(PvDevice*)) {
        if (writes && is_current()) {
            const device::OwnAccesses own;
            if (const PvResult result = put_back(); !result.IsOK()) {
                trace::write(trace::Category::connection, trace::Level::warning, [&] {
                    return recovered->device().address.to_string() +
                           ": not all is as before the loss: " + std::string(result.description());
                });
                link.set_recovery_state(state_of(result));
            }
        }
        if (is_current()) {
            tell(notification);
        }
    };
    step([&] { return memory_.restore(array); }, &PvDeviceEventSink::OnRestoreDevice);
    step([&] { return restore_streams(*recovered); }, &PvDeviceEventSink::OnRestoreConfiguration);
    step([&] { return memory_.restart(array); }, &PvDeviceEventSink::OnRestoreAcquisition);
    if (is_current()) {
        link.count_recovery();
    }
}

PvResult PvDevice::Impl::restore_streams(control::Connection& recovered)
{
    PvResult result;
    for (const auto& [channel, setting] : memory_.streams()) {
        const auto at = [channel = channel](std::uint32_t offset) {
            return wire::bootstrap::stream_register(channel, offset);
        };
        std::vector<control::RegisterWrite> writes = {{at(stream::packet_size), setting.packet_size},
                                                      {at(stream::destination), setting.destination}};
        if (setting.packet_delay) {
            writes.push_back({at(stream::packet_delay), *setting.packet_delay});
        }
        writes.push_back({at(stream::port), setting.port});  // last: it opens the channel
        if (const auto outcome = recovered.channel().write_registers(writes); !outcome.ok()) {
            result = recovered.result_of(outcome);
        }
    }
    invalidate_features();
    return result;
}

bool PvDevice::Impl::begin_memory()
{
    const auto current = connection();
    if (!link.settings().recovery || !current || !current->check_writable().IsOK()) {
        memory_.end();
        return false;
    }
    memory_.begin(*features()->array);
    return true;
}

void PvDevice::Impl::read_memory()
{
    if (connection() && memory_.has_begun()) {
        const device::OwnAccesses own;
        memory_.read(*features()->array);
    }
}

void PvDevice::Impl::on_recovery_changed(bool on)
{
    if (!on) {
        cancel_recovery();
        memory_.end();
        return;
    }
    if (begin_memory()) {
        post([self = shared_from_this()] { self->read_memory(); });
    }
}

void PvDevice::Impl::on_written(PvGenParameter& parameter)
{
    const bool was_acquiring = memory_.is_acquiring();
    memory_.written(parameter);
    const auto current = connection();
    if (!was_acquiring && memory_.is_acquiring() && current) {
        for (std::uint32_t channel = 0; current->check_stream_channel(channel).IsOK(); ++channel) {
            remember_stream(*current, channel);
        }
    }
}

void PvDevice::Impl::remember_stream(control::Connection& connection, std::uint32_t channel)
{
    if (!memory_.has_begun()) {
        return;
    }
    const auto at = [channel](std::uint32_t offset) { return wire::bootstrap::stream_register(channel, offset); };
    const std::array<std::uint32_t, 3> addresses = {at(stream::port), at(stream::packet_size), at(stream::destination)};
    std::array<std::uint32_t, 3> values{};
    if (!connection.channel().read_registers(addresses, values).ok()) {
        return;
    }
    device::StreamSetting setting{values[0], values[1] & ~fire_test_packet, values[2]};
    std::uint32_t delay = 0;
    if (connection.channel().read_register(at(stream::packet_delay), delay).ok()) {
        setting.packet_delay = delay;
    }
    memory_.set_stream(channel, setting);
}
