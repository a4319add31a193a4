#include "sdk/device/device_lookup.h"

#include <algorithm>
#include <array>
#include <string>
#include <system_error>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/control/discovery.h"

namespace vex::device {

namespace {

using std::chrono::milliseconds;
using time_point = net::Clock::time_point;

/// Of what is left of opening_limit after each, there is enough for the next.
constexpr milliseconds search_time{500};
constexpr milliseconds host_name_time{250};
/// A device answers within some milliseconds; the question may get lost once.
constexpr milliseconds interface_time{200};
constexpr milliseconds interface_retry{80};
constexpr milliseconds shortest_first_answer{50};
constexpr unsigned first_attempts = 3;

struct Match {
    net::Interface host;
    wire::gvcp::DiscoveryAcknowledge facts;
};

std::string_view trim(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// What a search for a text found; a device that several interfaces see is there several times.
struct Finds {
    std::vector<Match> matches;
    std::vector<Match> others;
};

Finds search(std::string_view text, control::SearchNetwork& network)
{
    const auto mac = MacAddress::parse(text);
    const std::vector<net::Interface> hosts = network.interfaces();
    control::DiscoveryOptions options;
    options.timeout = search_time;
    options.access_status = false;
    control::Discovery discovery(hosts, options, network);
    Finds finds;
    discovery.run([&](const control::FoundDevice& found) {
        const auto& facts = found.facts;
        const bool has_mac = mac && facts.mac == *mac;
        const bool fits = has_mac || facts.user_defined_name == text || facts.serial_number == text;
        (fits ? finds.matches : finds.others).push_back({hosts[found.interface_index], facts});
        // a name may be given twice, a MAC address is one device's: no need to wait for others
        return !(has_mac && control::is_reachable(hosts[found.interface_index], facts));
    });
    return finds;
}

/// SN-1 ("left", 192.168.10.36, 02:11:22:33:44:24)
std::string text_of(const wire::gvcp::DiscoveryAcknowledge& facts)
{
    const std::string name = facts.user_defined_name.empty() ? "" : '"' + facts.user_defined_name + "\", ";
    const std::string& serial = facts.serial_number.empty() ? facts.model : facts.serial_number;
    return serial + " (" + name + facts.address.to_string() + ", " + facts.mac.to_string() + ")";
}

/// The end of the sentence that says that no device fits.
std::string list_of(const std::vector<Match>& found)
{
    constexpr std::size_t most = 5;
    std::vector<const wire::gvcp::DiscoveryAcknowledge*> devices;
    for (const Match& match : found) {
        const auto is_known = [&](const auto* known) { return control::is_same_device(*known, match.facts); };
        if (std::none_of(devices.begin(), devices.end(), is_known)) {
            devices.push_back(&match.facts);
        }
    }
    if (devices.empty()) {
        return "no device was found";
    }
    std::string text = "found were ";
    for (std::size_t i = 0; i < std::min(devices.size(), most); ++i) {
        text += (i == 0 ? "" : ", ") + text_of(*devices[i]);
    }
    return devices.size() > most ? text + " and " + std::to_string(devices.size() - most) + " more" : text;
}

/// OK when all devices that match are one.
PvResult check_one(std::string_view text, const std::vector<Match>& matches)
{
    for (const Match& match : matches) {
        if (!control::is_same_device(match.facts, matches.front().facts)) {
            return failure(PvResult::InvalidParameter, "Several devices answer to \"", text,
                           "\": ", [&] { return text_of(matches.front().facts) + " and " + text_of(match.facts); });
        }
    }
    return PvResult::OK;
}

/// Asks for the device at the address on each of the interfaces until all have answered, or until the time is over.
std::vector<Match> ask_for_address(Ipv4Address address, const std::vector<net::Interface>& hosts,
                                   control::SearchNetwork& network)
{
    constexpr std::uint16_t request_id = 1;
    const auto question = wire::gvcp::discovery(request_id, false);
    const auto ports = network.open(hosts, false);
    const time_point begin = network.clock().now();
    std::vector<Match> matches;
    std::array<std::uint8_t, 2048> buffer;
    for (const milliseconds end : {interface_retry, interface_time}) {
        for (std::size_t i = 0; i < hosts.size(); ++i) {
            ports->send(i, {address, wire::gvcp::port}, question.bytes());
        }
        for (auto now = begin; now < begin + end && matches.size() < hosts.size(); now = network.clock().now()) {
            const auto arrival = ports->receive(buffer, std::chrono::ceil<milliseconds>(begin + end - now));
            const auto answer = arrival ? wire::gvcp::decode_acknowledge({buffer.data(), arrival->size}) : std::nullopt;
            const auto facts = answer && answer->acknowledge == wire::gvcp::Command::discovery_ack
                                   ? wire::gvcp::decode_discovery_acknowledge(answer->payload)
                                   : std::nullopt;
            const auto is_known = [&](const Match& match) {
                return match.host == hosts[arrival->interface_index] && control::is_same_device(match.facts, *facts);
            };
            if (facts && facts->address == address && std::none_of(matches.begin(), matches.end(), is_known)) {
                matches.push_back({hosts[arrival->interface_index], *facts});
            }
        }
    }
    return matches;
}

/// Several interfaces may be in the subnet of the address; the routes name one of them for all devices.
PvResult choose_interface(Ipv4Address address, control::ConnectionTarget& target, control::SearchNetwork& network)
{
    std::vector<net::Interface> hosts;
    try {
        hosts = network.interfaces();
    } catch (const std::system_error&) {
        return PvResult::OK;  // the routes remain
    }
    const bool is_own =
        std::any_of(hosts.begin(), hosts.end(), [&](const auto& host) { return host.address == address; });
    std::erase_if(hosts, [&](const net::Interface& host) {
        return host.loopback || !same_subnet(host.address, address, host.mask);
    });
    if (is_own || hosts.size() < 2) {
        return PvResult::OK;
    }
    const std::vector<Match> matches = ask_for_address(address, hosts, network);
    if (PvResult result = check_one(address.to_string(), matches); !result.IsOK()) {
        return result;
    }
    if (!matches.empty()) {
        target.local = matches.front().host.address;
    }
    return PvResult::OK;
}

/// Takes the interface that has the device's own address, which is this host's then, or one that can reach it.
void take(const std::vector<Match>& matches, control::ConnectionTarget& target)
{
    const auto find = [&](const auto& condition) { return std::find_if(matches.begin(), matches.end(), condition); };
    auto best = find([](const Match& match) { return match.host.address == match.facts.address; });
    if (best == matches.end()) {
        best = find([](const Match& match) { return control::is_reachable(match.host, match.facts); });
    }
    if (best == matches.end()) {
        best = matches.begin();
    }
    target.device = {best->facts.address, wire::gvcp::port};
    target.local = best->host.address;
    target.mac = best->facts.mac;
    target.hint = reachability_hint(best->host, best->facts);
}

/// The last that the text can be.
PvResult look_up_host(std::string_view text, const Finds& finds, control::ConnectionTarget& target,
                      control::SearchNetwork& network, net::HostNames& names)
{
    const auto nobody = [&](std::string_view about_hosts) {
        return failure(PvResult::NotFound, "No device has the MAC address, user-defined name or serial number \"", text,
                       "\"", about_hosts, "; ", [&] { return list_of(finds.others); });
    };
    if (!net::is_host_name(text) || MacAddress::parse(text)) {
        return nobody("");
    }
    const net::HostAddress host = names.find(std::string(text), host_name_time);
    if (!host.address) {
        return nobody(host.in_time ? ", and there is no host of that name"
                                   : ", and whether there is a host of that name was not told in time");
    }
    target.device = {*host.address, wire::gvcp::port};
    target.hint =
        "that is the host \"" + std::string(text) + "\", because no device has the name; " + list_of(finds.others);
    return choose_interface(*host.address, target, network);
}

PvResult look_up(std::string_view text, control::ConnectionTarget& target, control::SearchNetwork& network,
                 net::HostNames& names)
{
    if (const auto address = Ipv4Address::parse(text)) {
        target.device = {*address, wire::gvcp::port};
        return choose_interface(*address, target, network);
    }
    Finds finds;
    try {
        finds = search(text, network);
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The network interfaces cannot be listed: ", error.what());
    }
    if (finds.matches.empty()) {
        return look_up_host(text, finds, target, network, names);
    }
    if (PvResult result = check_one(text, finds.matches); !result.IsOK()) {
        return result;
    }
    take(finds.matches, target);
    return PvResult::OK;
}

}  // namespace

std::string reachability_hint(const net::Interface& host, const wire::gvcp::DiscoveryAcknowledge& facts)
{
    if (control::is_reachable(host, facts)) {
        return {};
    }
    return "the address of the device, " + facts.address.to_string() + ", does not fit the interface " +
           host.address.to_string() + ", mask " + host.mask.to_string();
}

PvResult look_up_device(std::string_view text, control::ConnectionTarget& target, control::SearchNetwork& network,
                        net::HostNames& names)
{
    text = trim(text);
    if (text.empty()) {
        return failure(PvResult::InvalidParameter, "No device is named");
    }
    const time_point begin = network.clock().now();
    PvResult result = look_up(text, target, network, names);
    const auto left = std::chrono::floor<milliseconds>(opening_limit - (network.clock().now() - begin));
    target.first_request = {
        std::clamp(left / first_attempts, shortest_first_answer, target.first_request.answer_timeout), first_attempts};
    return result;
}

}  // namespace vex::device
