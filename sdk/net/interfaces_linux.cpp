#include "sdk/net/interfaces.h"

#include <ifaddrs.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "sdk/net/posix_socket.h"

namespace vex::net {

namespace {

/// Default gateways by adapter name, from the kernel's routing table.
std::map<std::string, Ipv4Address> default_gateways()
{
    constexpr unsigned gateway_flag = 0x2;
    std::map<std::string, Ipv4Address> gateways;
    std::ifstream table("/proc/net/route");
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string name;
        std::uint32_t destination = 0;
        std::uint32_t gateway = 0;
        unsigned flags = 0;
        // addresses stand there as the network-order word printed in hexadecimal
        if (fields >> name >> std::hex >> destination >> gateway >> flags && destination == 0 &&
            (flags & gateway_flag) != 0) {
            gateways.emplace(name, Ipv4Address{ntohl(gateway)});
        }
    }
    return gateways;
}

std::uint32_t mtu_of(int descriptor, const std::string& name) noexcept
{
    ifreq request{};
    if (name.size() >= sizeof request.ifr_name) {
        return 0;
    }
    std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
    return ::ioctl(descriptor, SIOCGIFMTU, &request) == 0 ? static_cast<std::uint32_t>(request.ifr_mtu) : 0;
}

/// Whether the kernel tells by what bus it reaches the adapter; one made of software has none.
bool is_on_a_bus(const std::string& name) noexcept
{
    try {
        const UdpSocket probe = UdpSocket::open({});
        ethtool_drvinfo driver{};
        driver.cmd = ETHTOOL_GDRVINFO;
        ifreq request{};
        if (name.size() >= sizeof request.ifr_name) {
            return false;
        }
        std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
        request.ifr_data = reinterpret_cast<char*>(&driver);
        if (::ioctl(descriptor_of(probe.handle()), SIOCETHTOOL, &request) != 0) {
            return false;
        }
        const std::string bus(driver.bus_info, ::strnlen(driver.bus_info, sizeof driver.bus_info));
        // the kernel's tunnels name themselves there
        return !bus.empty() && bus != "N/A" && bus != "tun" && bus != "tap";
    } catch (const std::exception&) {
        return false;
    }
}

/// The adapter's name: an address label "eth0:1" names an address, not another adapter.
std::string adapter_name(const char* label)
{
    const std::string name(label);
    return name.substr(0, name.find(':'));
}

Ipv4Address address_of(const sockaddr* address) noexcept
{
    sockaddr_in in{};
    std::memcpy(&in, address, sizeof in);
    return from_system(in).address;
}

}  // namespace

std::vector<Interface> list_interfaces()
{
    ifaddrs* raw = nullptr;
    if (::getifaddrs(&raw) != 0) {
        throw std::system_error(last_error(), "cannot list the network interfaces");
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(raw, &::freeifaddrs);

    std::map<std::string, MacAddress> macs;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) {
            continue;
        }
        sockaddr_ll link{};
        std::memcpy(&link, entry->ifa_addr, sizeof link);
        MacAddress mac;
        if (link.sll_halen == mac.bytes.size()) {
            std::copy_n(link.sll_addr, mac.bytes.size(), mac.bytes.begin());
        }
        macs[entry->ifa_name] = mac;
    }

    const std::map<std::string, Ipv4Address> gateways = default_gateways();
    const UdpSocket probe = UdpSocket::open({});
    std::vector<Interface> interfaces;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || (entry->ifa_flags & IFF_UP) == 0) {
            continue;
        }
        Interface one;
        one.id = adapter_name(entry->ifa_name);
        one.description = one.id;
        one.address = address_of(entry->ifa_addr);
        if (entry->ifa_netmask != nullptr) {
            one.mask = address_of(entry->ifa_netmask);
        }
        if (const auto gateway = gateways.find(one.id); gateway != gateways.end()) {
            one.gateway = gateway->second;
        }
        if (const auto mac = macs.find(one.id); mac != macs.end()) {
            one.mac = mac->second;
        }
        one.mtu = mtu_of(descriptor_of(probe.handle()), one.id);
        one.loopback = (entry->ifa_flags & IFF_LOOPBACK) != 0;
        interfaces.push_back(std::move(one));
    }
    return interfaces;
}

std::uint32_t interface_index_of(Ipv4Address address) noexcept
{
    ifaddrs* raw = nullptr;
    if (address.is_any() || address.is_loopback() || ::getifaddrs(&raw) != 0) {
        return 0;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(raw, &::freeifaddrs);
    std::uint32_t index = 0;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            (entry->ifa_flags & (IFF_UP | IFF_LOOPBACK)) != IFF_UP || address_of(entry->ifa_addr) != address) {
            continue;
        }
        const std::uint32_t one = ::if_nametoindex(adapter_name(entry->ifa_name).c_str());
        if (index != 0 && index != one) {
            return 0;
        }
        index = one;
    }
    return index;
}

Ipv4Address local_address_towards(Ipv4Address destination) noexcept
{
    try {
        const UdpSocket probe = UdpSocket::open({}, {.broadcast = true});
        // connecting a UDP socket sends nothing; it only chooses the route. The port plays no part.
        const sockaddr_in address = to_system(Endpoint{destination, 9});
        if (::connect(descriptor_of(probe.handle()), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0) {
            return any_address;
        }
        return probe.local().address;
    } catch (const std::exception&) {
        return any_address;
    }
}

bool reaches_device(Ipv4Address source, Ipv4Address destination) noexcept
{
    const Ipv4Address local = source.is_any() ? local_address_towards(destination) : source;
    ifaddrs* raw = nullptr;
    if (local.is_any() || ::getifaddrs(&raw) != 0) {
        return false;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(raw, &::freeifaddrs);
    bool found = false;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        if (address_of(entry->ifa_addr) == destination) {
            return false;
        }
        found = found || (address_of(entry->ifa_addr) == local && (entry->ifa_flags & IFF_LOOPBACK) == 0 &&
                          is_on_a_bus(adapter_name(entry->ifa_name)));
    }
    return found;
}

}  // namespace vex::net
