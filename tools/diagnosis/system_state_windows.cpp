// winsock2.h, which the next one includes, must precede windows.h
#include "sdk/net/winsock_socket.h"

#include <iphlpapi.h>
#include <netioapi.h>

#include <array>
#include <thread>

#include "tools/diagnosis/system_state.h"

namespace diagnosis {

namespace net = vex::net;

namespace {

using vex::Ipv4Address;  // netioapi.h has another one

constexpr ULONG64 bits_per_megabit = 1'000'000;

Adapter adapter_of(const net::Interface& facts)
{
    Adapter adapter;
    adapter.facts = facts;
    MIB_IF_ROW2 row{};
    row.InterfaceIndex = net::interface_index_of(facts.address);
    if (row.InterfaceIndex != 0 && ::GetIfEntry2(&row) == NO_ERROR) {
        adapter.has_link = row.MediaConnectState == MediaConnectStateConnected;
        // 0 and all ones where it is not known
        if (row.ReceiveLinkSpeed != 0 && row.ReceiveLinkSpeed != ~ULONG64{0}) {
            adapter.speed = static_cast<std::uint32_t>(row.ReceiveLinkSpeed / bits_per_megabit);
        }
    }
    return adapter;
}

std::optional<DWORD> number_of(const wchar_t* key, const wchar_t* name)
{
    DWORD value = 0;
    DWORD size = sizeof value;
    return ::RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size) == ERROR_SUCCESS
               ? std::optional(value)
               : std::nullopt;
}

/// As the registry has it, for each kind of network.
std::vector<Firewall> firewalls()
{
    struct Profile {
        const char* name;
        const wchar_t* key;
    };
    constexpr std::array profiles = {
        Profile{"Windows firewall (private networks)",
                L"SYSTEM\\CurrentControlSet\\Services\\SharedAccess\\Parameters\\FirewallPolicy\\StandardProfile"},
        Profile{"Windows firewall (public networks)",
                L"SYSTEM\\CurrentControlSet\\Services\\SharedAccess\\Parameters\\FirewallPolicy\\PublicProfile"},
        Profile{"Windows firewall (domain networks)",
                L"SYSTEM\\CurrentControlSet\\Services\\SharedAccess\\Parameters\\FirewallPolicy\\DomainProfile"}};
    std::vector<Firewall> found;
    for (const Profile& profile : profiles) {
        if (const auto enabled = number_of(profile.key, L"EnableFirewall")) {
            found.push_back({profile.name, *enabled != 0, "as the registry says"});
        }
    }
    return found;
}

std::string kernel_name()
{
    constexpr const wchar_t* key = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    wchar_t build[32] = L"";
    DWORD size = sizeof build;
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, key, L"CurrentBuildNumber", RRF_RT_REG_SZ, nullptr, build, &size) !=
        ERROR_SUCCESS) {
        return "Windows";
    }
    const auto major = number_of(key, L"CurrentMajorVersionNumber");
    const auto minor = number_of(key, L"CurrentMinorVersionNumber");
    return "Windows " + (major && minor ? std::to_string(*major) + "." + std::to_string(*minor) + "." : std::string()) +
           net::to_utf8(build);
}

class ThisSystem final : public SystemReader {
public:
    [[nodiscard]] SystemState read() const override
    {
        SystemState state;
        for (const net::Interface& facts : net::list_interfaces()) {
            state.adapters.push_back(adapter_of(facts));
        }
        state.system = "Windows";
        state.kernel = kernel_name();
        state.processors = std::thread::hardware_concurrency();
        state.firewalls = firewalls();
        return state;
    }

    [[nodiscard]] Ipv4Address route_to(Ipv4Address destination) const override
    {
        return net::local_address_towards(destination);
    }
};

}  // namespace

const SystemReader& SystemReader::system()
{
    static const ThisSystem only;
    return only;
}

}  // namespace diagnosis
