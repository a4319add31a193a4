#include "sdk/control/action.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <string>

#include "sdk/base/failure.h"

namespace vex::control {

namespace {

using std::chrono::milliseconds;
using wire::gvcp::Status;

/// A device takes what comes with the same ID from the same port for a repetition and does not act again, so that each
/// action of this process has another one, and processes begin anywhere.
std::uint16_t next_request_id(const net::Clock& clock)
{
    static std::atomic<std::uint16_t> last{static_cast<std::uint16_t>(clock.now().time_since_epoch().count() / 1000)};
    std::uint16_t id = 0;
    while (id == 0) {
        id = ++last;
    }
    return id;
}

/// The interface towards the address: the one in whose subnet it is, else one with a router.
std::optional<std::size_t> interface_towards(Ipv4Address address, std::span<const net::Interface> hosts)
{
    std::optional<std::size_t> routed;
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        if (!hosts[i].mask.is_any() && same_subnet(hosts[i].address, address, hosts[i].mask)) {
            return i;
        }
        if (!routed && !hosts[i].gateway.is_any()) {
            routed = i;
        }
    }
    return routed;
}

/// On how many interfaces the message went out; an error only where it is all that came of it.
std::size_t send_all(SearchPorts& ports, const wire::gvcp::Message& message, const ActionOptions& options,
                     std::span<const net::Interface> hosts, std::error_code& error)
{
    std::size_t sent = 0;
    const auto send = [&](std::size_t host, Ipv4Address destination) {
        if (const auto failed = ports.send(host, {destination, wire::gvcp::port}, message.bytes())) {
            error = failed;
        } else {
            ++sent;
        }
    };
    if (options.destination && *options.destination != limited_broadcast) {
        if (const auto host = interface_towards(*options.destination, hosts)) {
            send(*host, *options.destination);
        } else {
            error = std::make_error_code(std::errc::network_unreachable);
        }
        return sent;
    }
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        send(i, options.destination.value_or(directed_broadcast(hosts[i].address, hosts[i].mask)));
    }
    return sent;
}

void collect_answers(SearchPorts& ports, const net::Clock& clock, std::uint16_t request_id,
                     const ActionOptions& options, std::span<const net::Interface> hosts, ActionReport& report)
{
    const auto end = clock.now() + options.timeout;
    std::array<std::uint8_t, 2048> buffer;
    while (options.expected == 0 || report.answers.size() < options.expected) {
        const auto left = std::chrono::ceil<milliseconds>(end - clock.now());
        if (left.count() <= 0) {
            return;
        }
        const auto arrival = ports.receive(buffer, left);
        if (!arrival) {
            continue;
        }
        const auto acknowledge = wire::gvcp::decode_acknowledge({buffer.data(), arrival->size});
        if (!acknowledge || acknowledge->acknowledge != wire::gvcp::Command::action_ack ||
            acknowledge->request_id != request_id) {
            continue;
        }
        // a limited broadcast also reaches the software devices of this host, which belong to the loopback interface
        if (arrival->source.address.is_loopback() && !hosts[arrival->interface_index].loopback) {
            continue;
        }
        const auto is_known = [&](const ActionAnswer& known) {
            return known.device == arrival->source.address && known.interface_index == arrival->interface_index;
        };
        if (std::ranges::none_of(report.answers, is_known)) {
            report.answers.push_back({arrival->interface_index, arrival->source.address, acknowledge->status});
        }
    }
}

/// The devices that failed, in words; empty when none did.
std::string failures_of(const ActionReport& report)
{
    constexpr std::size_t most = 5;
    std::string text;
    std::size_t count = 0;
    for (const ActionAnswer& answer : report.answers) {
        if (answer.status != Status::success && count++ < most) {
            text += (text.empty() ? "" : ", ") + answer.device.to_string() + ": " + wire::gvcp::text_of(answer.status);
        }
    }
    return count > most ? text + " and " + std::to_string(count - most) + " more" : text;
}

PvResult judge(const ActionOptions& options, const ActionReport& report)
{
    const auto succeeded = static_cast<std::size_t>(
        std::ranges::count(report.answers, Status::success, [](const ActionAnswer& answer) { return answer.status; }));
    if (succeeded < report.answers.size()) {
        return failure(PvResult::StateError, report.answers.size() - succeeded, " of ", report.answers.size(),
                       " devices did not do the action as asked; ", [&] { return failures_of(report); });
    }
    if (report.answers.size() < options.expected) {
        return failure(PvResult::Timeout, report.answers.size(), " of ", options.expected,
                       " devices acknowledged the action within ", options.timeout.count(), " ms");
    }
    return PvResult::OK;
}

}  // namespace

PvResult send_action(const wire::gvcp::Action& action, const ActionOptions& options,
                     std::span<const net::Interface> hosts, SearchNetwork& network, ActionReport& report)
{
    if (action.group_mask == 0) {
        return failure(PvResult::InvalidParameter, "An action with the group mask 0 means no device");
    }
    report = {};
    const std::unique_ptr<SearchPorts> ports = network.open(hosts, false);
    const std::uint16_t request_id = next_request_id(network.clock());
    std::error_code error;
    report.sent = send_all(*ports, wire::gvcp::action(request_id, action, options.acknowledge), options, hosts, error);
    if (report.sent == 0) {
        return failure(PvResult::NetworkError, "The action cannot be sent", (hosts.empty() ? "" : " on any interface"),
                       [&] { return error ? ": " + error.message() : std::string(": there is no interface"); });
    }
    if (!options.acknowledge) {
        return PvResult::OK;
    }
    collect_answers(*ports, network.clock(), request_id, options, hosts, report);
    return judge(options, report);
}

}  // namespace vex::control
