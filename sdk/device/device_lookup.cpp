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

    Finds finds;
    try {
        finds = search(text, network);
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The network interfaces cannot be listed: ", error.what());
    }
    const std::vector<Match>& matches = finds.matches;
    if (matches.empty()) {
        return failure(PvResult::NotFound, "No device has the MAC address, user-defined name or serial number \"", text,
                       "\"; ", [&] { return list_of(finds.others); });
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
