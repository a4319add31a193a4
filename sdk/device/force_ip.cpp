#include "sdk/device/force_ip.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "sdk/device/discovery.h"
#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"

namespace vex::device {

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
    return {PvResult::InvalidParameter, "\"" + text.str() + "\" is no " + what};
}

bool is_mask(net::Ipv4Address mask)
{
    const std::uint32_t host_part = ~mask.value;
    return mask.value != 0 && (host_part & (host_part + 1)) == 0;
}

/// An address that one host can have in its subnet.
bool is_host(net::Ipv4Address address, net::Ipv4Address mask)
{
    const std::uint32_t host_part = ~mask.value;
    const std::uint32_t number = address.value & host_part;
    const bool plain = address.value >> 24 != 0 && address.value < 0xE0000000;
    // the first and the last number of a subnet are its own; subnets of one or two have none to spare
    return plain && (host_part <= 1 || (number != 0 && number != host_part));
}

net::Ipv4Address default_mask(net::Ipv4Address address, std::span<const net::Interface> hosts)
{
    for (const net::Interface& host : hosts) {
        if (is_mask(host.mask) && net::same_subnet(host.address, address, host.mask)) {
            return host.mask;
        }
    }
    return {0xFFFFFF00};
}

/// The sockets that ask and listen, one or two for each interface.
std::vector<net::UdpSocket> open_sockets(std::span<const net::Interface> hosts, std::vector<net::UdpSocket>& listeners)
{
    net::UdpOptions options;
    options.broadcast = true;
    std::vector<net::UdpSocket> sockets;
    for (const net::Interface& host : hosts) {
        try {
            sockets.push_back(net::UdpSocket::open({host.address, 0}, options));
        } catch (const std::system_error&) {
            sockets.emplace_back();
            continue;
        }
        try {
            listeners.push_back(net::UdpSocket::open({net::limited_broadcast, sockets.back().local().port}, options));
        } catch (const std::system_error&) {
            // only some systems need it, and those allow it
        }
    }
    return sockets;
}

bool send_all(std::vector<net::UdpSocket>& sockets, std::span<const net::Interface> hosts,
              const wire::gvcp::Message& message)
{
    bool sent = false;
    for (std::size_t i = 0; i < sockets.size(); ++i) {
        if (!sockets[i].is_open()) {
            continue;
        }
        const auto directed = net::directed_broadcast(hosts[i].address, hosts[i].mask);
        for (const net::Ipv4Address destination : {net::limited_broadcast, directed}) {
            sent |= !sockets[i].send_to({destination, wire::gvcp::port}, message.bytes());
        }
    }
    return sent;
}

/// The status that a device acknowledged with; empty when none did in time.
std::optional<wire::gvcp::Status> await_acknowledge(std::span<net::UdpSocket* const> sockets, milliseconds time)
{
    const auto end = net::Clock::steady().now() + time;
    std::array<std::uint8_t, 2048> buffer;
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - net::Clock::steady().now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        const auto ready = net::wait_readable(sockets, left);
        const auto received = ready ? sockets[*ready]->receive(buffer, milliseconds(0)) : std::nullopt;
        if (!received) {
            continue;
        }
        const auto acknowledge = wire::gvcp::decode_acknowledge({buffer.data(), received->size});
        if (acknowledge && acknowledge->acknowledge == Command::force_ip_ack && acknowledge->request_id == request_id) {
            return acknowledge->status;
        }
    }
}

bool is_found(const wire::gvcp::ForceIp& settings, std::span<const net::Interface> hosts)
{
    bool found = false;
    DiscoveryOptions options;
    options.timeout = search_time;
    options.access_status = false;
    Discovery discovery(hosts, options);
    discovery.run([&](const FoundDevice& device) {
        found = device.facts.mac == settings.mac && device.facts.address == settings.address;
        return !found;
    });
    return found;
}

}  // namespace

PvResult parse_ip_configuration(const PvString& mac, const PvString& address, const PvString& mask,
                                const PvString& gateway, std::span<const net::Interface> hosts,
                                wire::gvcp::ForceIp& settings)
{
    const auto parsed_mac = net::MacAddress::parse(mac.view());
    if (!parsed_mac || parsed_mac->is_zero()) {
        return invalid("MAC address of a device", mac);
    }
    const auto parsed_address = net::Ipv4Address::parse(address.view());
    if (!parsed_address) {
        return invalid("IPv4 address", address);
    }
    const auto parsed_mask =
        mask.empty() ? std::optional(default_mask(*parsed_address, hosts)) : net::Ipv4Address::parse(mask.view());
    if (!parsed_mask || !is_mask(*parsed_mask)) {
        return invalid("subnet mask", mask);
    }
    if (!is_host(*parsed_address, *parsed_mask)) {
        return invalid(("address that a device can have in a subnet with mask " + parsed_mask->to_string()).c_str(),
                       address);
    }
    const auto parsed_gateway =
        gateway.empty() ? std::optional(net::any_address) : net::Ipv4Address::parse(gateway.view());
    if (!parsed_gateway) {
        return invalid("IPv4 address of a gateway", gateway);
    }
    settings = {*parsed_mac, *parsed_address, *parsed_mask, *parsed_gateway};
    return PvResult::OK;
}

PvResult force_ip(const wire::gvcp::ForceIp& settings, std::span<const net::Interface> hosts)
{
    std::vector<net::UdpSocket> listeners;
    std::vector<net::UdpSocket> sockets = open_sockets(hosts, listeners);
    std::vector<net::UdpSocket*> all;
    for (std::vector<net::UdpSocket>* group : {&sockets, &listeners}) {
        for (net::UdpSocket& socket : *group) {
            if (socket.is_open()) {
                all.push_back(&socket);
            }
        }
    }

    const auto message = wire::gvcp::force_ip(request_id, settings, true);
    for (int round = 0; round < rounds; ++round) {
        if (!send_all(sockets, hosts, message)) {
            return {PvResult::NetworkError, "The IP configuration cannot be sent on any interface"};
        }
        const auto status = await_acknowledge(all, round_time);
        if (status == wire::gvcp::Status::success) {
            return PvResult::OK;
        }
        if (status) {
            return {PvResult::StateError, "The device " + settings.mac.to_string() + " refused the address " +
                                              settings.address.to_string() + ": " + wire::gvcp::text_of(*status)};
        }
    }
    if (is_found(settings, hosts)) {
        return PvResult::OK;
    }
    return {PvResult::NotFound,
            "No device with the MAC address " + settings.mac.to_string() + " took the IP configuration"};
}

}  // namespace vex::device
