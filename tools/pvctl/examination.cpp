#include "tools/pvctl/examination.h"

#include <algorithm>
#include <string>

#include "sdk/control/discovery.h"
#include "sdk/control/packet_size.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;
using diagnosis::Finding;
using diagnosis::Findings;
using diagnosis::Verdict;

namespace pvctl {

namespace {

namespace bootstrap = wire::bootstrap;

constexpr int asked_times = 50;

const diagnosis::Adapter* adapter_of(const diagnosis::SystemState& system, Ipv4Address local)
{
    const auto has_it = [&](const diagnosis::Adapter& adapter) {
        return adapter.facts.address == local || (adapter.facts.loopback && local.is_loopback());
    };
    const auto found = std::ranges::find_if(system.adapters, has_it);
    return found == system.adapters.end() ? nullptr : &*found;
}

diagnosis::ControlTest ask_often(control::Connection& connection)
{
    control::ControlChannel& channel = connection.channel();
    channel.reset_statistics();
    for (int n = 0; n < asked_times; ++n) {
        std::uint32_t value = 0;
        static_cast<void>(channel.read_register(bootstrap::control_channel_privilege, value));
    }
    const control::ControlStatistics statistics = channel.statistics();
    return {.requests = statistics.requests,
            .retries = statistics.retries,
            .failures = statistics.failures,
            .mean = statistics.round_trips.mean,
            .largest = statistics.round_trips.largest,
            .heartbeat_timeout_ms = connection.facts().heartbeat_timeout_ms};
}

/// With control, on a channel that nobody uses.
void fire_packets(control::Connection& connection, diagnosis::PacketTest& test)
{
    control::ControlChannel& channel = connection.channel();
    const std::uint32_t address = bootstrap::stream_register(0, bootstrap::stream::packet_size);
    std::uint32_t before = 0;
    std::uint32_t after = 0;
    if (const auto outcome = channel.read_register(address, before); !outcome.ok()) {
        test.why_not = std::string(connection.result_of(outcome).description()) + ".";
        return;
    }
    // a camera takes the largest that it can send, or refuses what is larger
    const std::uint32_t wanted = std::min(test.mtu, bootstrap::stream::packet_size_mask);
    if (std::uint32_t taken = 0;
        channel.write_register(address, wanted).ok() && channel.read_register(address, taken).ok()) {
        test.camera_most = taken & bootstrap::stream::packet_size_mask;
    }
    control::PacketSizeTask task;
    task.mtu = test.mtu;
    const PvResult result = control::negotiate_packet_size(channel, task);
    test.was_made = result.IsOK() || result.GetCode() == PvResult::NotSupported;
    test.why_not = std::string(result.description()) + ".";
    if (result.IsOK() && channel.read_register(address, after).ok()) {
        test.largest = after & bootstrap::stream::packet_size_mask;
    }
    static_cast<void>(channel.write_register(address, before & ~bootstrap::stream::fire_test_packet));
}

diagnosis::PacketTest test_packets(control::ConnectionTarget target, const diagnosis::Adapter* adapter)
{
    diagnosis::PacketTest test;
    test.mtu = adapter != nullptr ? adapter->facts.mtu : 0;
    test.is_loopback = adapter != nullptr && adapter->facts.loopback;
    target.access = PvAccessControl;
    std::shared_ptr<control::Connection> connection;
    if (const PvResult result = control::Connection::open(target, {}, connection); !result.IsOK()) {
        test.why_not = std::string(result.description()) + ".";
        return test;
    }
    if (connection->facts().stream_channels == 0) {
        test.why_not = "the camera has no stream channel.";
    } else {
        fire_packets(*connection, test);
    }
    connection->close();
    return test;
}

}  // namespace

std::vector<diagnosis::FoundCamera> search_cameras()
{
    control::SearchNetwork& network = control::SearchNetwork::system();
    const std::vector<net::Interface> hosts = network.interfaces();
    std::vector<diagnosis::FoundCamera> cameras;
    control::DiscoveryOptions options;
    options.access_status = false;
    control::Discovery discovery(hosts, options, network);
    discovery.run([&](const control::FoundDevice& found) {
        const net::Interface& host = hosts[found.interface_index];
        const auto& facts = found.facts;
        const std::string name = facts.user_defined_name.empty() ? facts.serial_number : facts.user_defined_name;
        cameras.push_back({.name = facts.model + (name.empty() ? "" : " " + name),
                           .mac = facts.mac,
                           .address = facts.address,
                           .mask = facts.mask,
                           .host = host,
                           .is_reachable = control::is_reachable(host, facts)});
        return true;
    });
    return cameras;
}

Findings examine_camera(const control::ConnectionTarget& target, const diagnosis::SystemState& system,
                        const std::vector<diagnosis::FoundCamera>& found)
{
    const Ipv4Address address = target.device.address;
    const auto is_it = [&](const diagnosis::FoundCamera& camera) {
        return camera.address == address && camera.is_reachable;
    };
    const auto seen = std::ranges::find_if(found, is_it);
    const auto host = seen == found.end() ? std::nullopt : std::optional(seen->host);
    Findings findings{diagnosis::check_route(address, diagnosis::SystemReader::system().route_to(address), host)};

    control::ConnectionTarget reading = target;
    reading.access = PvAccessReadOnly;
    std::shared_ptr<control::Connection> connection;
    if (const PvResult result = control::Connection::open(reading, {}, connection); !result.IsOK()) {
        findings.push_back({"connection", Verdict::wrong, std::string(result.description()) + ".",
                            "See whether the camera has power, and whether another application has it alone."});
        return findings;
    }
    const diagnosis::ControlTest control = ask_often(*connection);
    const diagnosis::Adapter* adapter = adapter_of(system, connection->channel().local().address);
    connection->close();
    findings.push_back(diagnosis::check_answers(control));
    findings.push_back(diagnosis::check_heartbeat(control));
    findings.push_back(diagnosis::check_packets(test_packets(target, adapter)));
    return findings;
}

}  // namespace pvctl
