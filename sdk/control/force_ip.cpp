#include "sdk/control/force_ip.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>

#include "sdk/base/failure.h"
#include "sdk/control/discovery.h"
#include "sdk/control/ip_configuration.h"

namespace vex::control {

namespace {

using std::chrono::milliseconds;
using wire::gvcp::Command;

constexpr std::uint16_t request_id = 1;
constexpr int rounds = 3;
constexpr milliseconds round_time{500};
/// Devices change their address before or after they acknowledge, and some never do.
constexpr milliseconds search_time{500};

PvResult invalid(const char* what, const PvString& text)
{
    return failure(PvResult::InvalidParameter, "\"", text.str(), "\" is no ", what);
}

Ipv4Address default_mask(Ipv4Address address, std::span<const net::Interface> hosts)
{
    for (const net::Interface& host : hosts) {
        if (!host.mask.is_any() && same_subnet(host.address, address, host.mask)) {
            return host.mask;
        }
    }
    return {0xFFFFFF00};
}

bool send_all(SearchPorts& ports, std::span<const net::Interface> hosts, const wire::gvcp::Message& message)
{
    bool sent = false;
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        const auto directed = directed_broadcast(hosts[i].address, hosts[i].mask);
        for (const Ipv4Address destination : {limited_broadcast, directed}) {
            sent |= !ports.send(i, {destination, wire::gvcp::port}, message.bytes());
        }
    }
    return sent;
}

/// The status that a device acknowledged with; empty when none did in time.
std::optional<wire::gvcp::Status> await_acknowledge(SearchPorts& ports, const net::Clock& clock, milliseconds time)
{
    const auto end = clock.now() + time;
    std::array<std::uint8_t, 2048> buffer;
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - clock.now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        const auto arrival = ports.receive(buffer, left);
        if (!arrival) {
            continue;
        }
        const auto acknowledge = wire::gvcp::decode_acknowledge({buffer.data(), arrival->size});
        if (acknowledge && acknowledge->acknowledge == Command::force_ip_ack && acknowledge->request_id == request_id) {
            return acknowledge->status;
        }
    }
}

bool is_found(const wire::gvcp::ForceIp& settings, std::span<const net::Interface> hosts, SearchNetwork& network)
{
    bool found = false;
    DiscoveryOptions options;
    options.timeout = search_time;
    options.access_status = false;
    Discovery discovery(hosts, options, network);
    discovery.run([&](const FoundDevice& device) {
        // which address a restarted configuration gives is the device's affair
        const bool is_address = settings.address.is_any() || device.facts.address == settings.address;
        found = device.facts.mac == settings.mac && is_address;
        return !found;
    });
    return found;
}

}  // namespace

PvResult parse_ip_configuration(const PvString& mac, const PvString& address, const PvString& mask,
                                const PvString& gateway, std::span<const net::Interface> hosts,
                                wire::gvcp::ForceIp& settings)
{
    const auto parsed_mac = MacAddress::parse(mac.view());
    if (!parsed_mac || parsed_mac->is_zero()) {
        return invalid("MAC address of a device", mac);
    }
    const auto parsed_address = Ipv4Address::parse(address.view());
    if (!parsed_address) {
        return invalid("IPv4 address", address);
    }
    const auto is_empty_or_zero = [](const PvString& text) { return text.empty() || text.view() == "0.0.0.0"; };
    if (parsed_address->is_any() && is_empty_or_zero(mask) && is_empty_or_zero(gateway)) {
        settings = {*parsed_mac, any_address, any_address, any_address};
        return PvResult::OK;
    }
    const auto parsed_mask =
        mask.empty() ? std::optional(default_mask(*parsed_address, hosts)) : Ipv4Address::parse(mask.view());
    if (!parsed_mask) {
        return invalid("subnet mask", mask);
    }
    // the gateway is not judged: this configuration may be there for no other reason than to be replaced
    if (PvResult result = check_ip_settings({*parsed_address, *parsed_mask, any_address}); !result.IsOK()) {
        return result;
    }
    const auto parsed_gateway = gateway.empty() ? std::optional(any_address) : Ipv4Address::parse(gateway.view());
    if (!parsed_gateway) {
        return invalid("IPv4 address of a gateway", gateway);
    }
    settings = {*parsed_mac, *parsed_address, *parsed_mask, *parsed_gateway};
    return PvResult::OK;
}

PvResult force_ip(const wire::gvcp::ForceIp& settings, std::span<const net::Interface> hosts, SearchNetwork& network)
{
    const std::unique_ptr<SearchPorts> ports = network.open(hosts, true);
    const auto message = wire::gvcp::force_ip(request_id, settings, true);
    for (int round = 0; round < rounds; ++round) {
        if (!send_all(*ports, hosts, message)) {
            return failure(PvResult::NetworkError, "The IP configuration cannot be sent on any interface");
        }
        const auto status = await_acknowledge(*ports, network.clock(), round_time);
        if (status == wire::gvcp::Status::success) {
            return PvResult::OK;
        }
        if (status) {
            return failure(PvResult::StateError, "The device ", settings.mac.to_string(), " refused the address ",
                           settings.address.to_string(), ": ", wire::gvcp::text_of(*status));
        }
    }
    if (is_found(settings, hosts, network)) {
        return PvResult::OK;
    }
    return failure(PvResult::NotFound, "No device with the MAC address ", settings.mac.to_string(),
                   " took the IP configuration");
}

}  // namespace vex::control
