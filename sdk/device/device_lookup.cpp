#include "sdk/device/device_lookup.h"

#include <algorithm>
#include <system_error>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/control/discovery.h"

namespace vex::device {

namespace {

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

/// The devices that answer to the text; one that several interfaces see is several matches.
std::vector<Match> search(std::string_view text, control::SearchNetwork& network)
{
    const auto mac = MacAddress::parse(text);
    const std::vector<net::Interface> hosts = network.interfaces();
    control::DiscoveryOptions options;
    options.access_status = false;
    control::Discovery discovery(hosts, options, network);
    std::vector<Match> matches;
    discovery.run([&](const control::FoundDevice& found) {
        const auto& facts = found.facts;
        const bool fits = mac ? facts.mac == *mac : facts.user_defined_name == text || facts.serial_number == text;
        if (fits) {
            matches.push_back({hosts[found.interface_index], facts});
        }
        // a name may be given twice, a MAC address is one device's: no need to wait for others
        return !(fits && mac && control::is_reachable(hosts[found.interface_index], facts));
    });
    return matches;
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

PvResult look_up_device(std::string_view text, control::ConnectionTarget& target, control::SearchNetwork& network)
{
    text = trim(text);
    if (text.empty()) {
        return failure(PvResult::InvalidParameter, "No device is named");
    }
    if (const auto address = Ipv4Address::parse(text)) {
        target.device = {*address, wire::gvcp::port};
        return PvResult::OK;
    }

    std::vector<Match> matches;
    try {
        matches = search(text, network);
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The network interfaces cannot be listed: ", error.what());
    }
    if (matches.empty()) {
        return failure(PvResult::NotFound, "No device answers to \"", text, "\"");
    }
    for (const Match& match : matches) {
        if (!control::is_same_device(match.facts, matches.front().facts)) {
            return failure(PvResult::InvalidParameter, "Several devices answer to \"", text, "\", among them ",
                           matches.front().facts.address.to_string(), " and ", match.facts.address.to_string());
        }
    }

    const auto reachable = std::find_if(matches.begin(), matches.end(), [](const Match& match) {
        return control::is_reachable(match.host, match.facts);
    });
    const Match& best = reachable != matches.end() ? *reachable : matches.front();
    target.device = {best.facts.address, wire::gvcp::port};
    target.local = best.host.address;
    target.mac = best.facts.mac;
    target.hint = reachability_hint(best.host, best.facts);
    return PvResult::OK;
}

}  // namespace vex::device
