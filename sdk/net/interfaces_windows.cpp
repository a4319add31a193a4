#include "sdk/net/interfaces.h"

#include "sdk/net/winsock_socket.h"

#include <iphlpapi.h>

#include <algorithm>
#include <memory>

namespace vex::net {

namespace {

Ipv4Address address_of(const SOCKET_ADDRESS& address) noexcept
{
    if (address.lpSockaddr == nullptr || address.lpSockaddr->sa_family != AF_INET) {
        return any_address;
    }
    return from_system(*reinterpret_cast<const sockaddr_in*>(address.lpSockaddr)).address;
}

Ipv4Address mask_of(unsigned prefix_length) noexcept
{
    if (prefix_length == 0) {
        return any_address;
    }
    return {prefix_length >= 32 ? 0xFFFFFFFF : ~(0xFFFFFFFF >> prefix_length)};
}

/// The adapters in one block of memory, as the system hands them out.
std::unique_ptr<std::byte[]> adapters()
{
    constexpr ULONG flags =
        GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER | GAA_FLAG_INCLUDE_GATEWAYS;
    ULONG size = 16 * 1024;
    ULONG error = ERROR_BUFFER_OVERFLOW;
    std::unique_ptr<std::byte[]> block;
    // the list may grow between two calls
    for (int attempt = 0; attempt < 4 && error == ERROR_BUFFER_OVERFLOW; ++attempt) {
        block = std::make_unique<std::byte[]>(size);
        error = ::GetAdaptersAddresses(AF_INET, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(block.get()),
                                       &size);
    }
    if (error == ERROR_NO_DATA) {
        return nullptr;
    }
    if (error != ERROR_SUCCESS) {
        throw std::system_error(static_cast<int>(error), std::system_category(), "cannot list the network interfaces");
    }
    return block;
}

}  // namespace

std::vector<Interface> list_interfaces()
{
    const std::unique_ptr<std::byte[]> block = adapters();
    std::vector<Interface> interfaces;
    for (auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(block.get()); adapter != nullptr;
         adapter = adapter->Next) {
        if (adapter->OperStatus != IfOperStatusUp) {
            continue;
        }
        for (const IP_ADAPTER_UNICAST_ADDRESS* unicast = adapter->FirstUnicastAddress; unicast != nullptr;
             unicast = unicast->Next) {
            Interface one;
            one.id = adapter->AdapterName != nullptr ? adapter->AdapterName : "";
            one.description = to_utf8(adapter->FriendlyName);
            one.address = address_of(unicast->Address);
            one.mask = mask_of(unicast->OnLinkPrefixLength);
            if (adapter->FirstGatewayAddress != nullptr) {
                one.gateway = address_of(adapter->FirstGatewayAddress->Address);
            }
            if (adapter->PhysicalAddressLength == one.mac.bytes.size()) {
                std::copy_n(adapter->PhysicalAddress, one.mac.bytes.size(), one.mac.bytes.begin());
            }
            // the loopback adapter says "unlimited", which is no number of bytes
            one.mtu = adapter->Mtu == 0xFFFFFFFF ? 0 : static_cast<std::uint32_t>(adapter->Mtu);
            one.loopback = adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK;
            if (!one.address.is_any()) {
                interfaces.push_back(std::move(one));
            }
        }
    }
    return interfaces;
}

std::uint32_t interface_index_of(Ipv4Address address) noexcept
{
    if (address.is_any() || address.is_loopback()) {
        return 0;
    }
    try {
        const std::unique_ptr<std::byte[]> block = adapters();
        std::uint32_t index = 0;
        for (auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(block.get()); adapter != nullptr;
             adapter = adapter->Next) {
            for (const auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
                if (adapter->OperStatus != IfOperStatusUp || adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK ||
                    address_of(unicast->Address) != address) {
                    continue;
                }
                if (index != 0 && index != adapter->IfIndex) {
                    return 0;
                }
                index = adapter->IfIndex;
            }
        }
        return index;
    } catch (const std::exception&) {
        return 0;
    }
}

Ipv4Address local_address_towards(Ipv4Address destination) noexcept
{
    try {
        const UdpSocket probe = UdpSocket::open({}, {.broadcast = true});
        // connecting a UDP socket sends nothing; it only chooses the route. The port plays no part.
        const sockaddr_in address = to_system(Endpoint{destination, 9});
        if (::connect(socket_of(probe.handle()), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
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
    try {
        const std::unique_ptr<std::byte[]> block = adapters();
        bool found = false;
        for (auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(block.get()); adapter != nullptr;
             adapter = adapter->Next) {
            const bool device = adapter->IfType == IF_TYPE_ETHERNET_CSMACD || adapter->IfType == IF_TYPE_IEEE80211;
            for (const auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
                if (address_of(unicast->Address) == destination) {
                    return false;
                }
                found = found || (device && !local.is_any() && address_of(unicast->Address) == local);
            }
        }
        return found;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace vex::net
