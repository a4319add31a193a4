#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string_view>
#include <thread>

#include "sdk/base/numbers.h"
#include "tools/diagnosis/system_state.h"

using namespace vex;

namespace diagnosis {

namespace {

namespace fs = std::filesystem;

/// The first line; empty when there is no such file or this user may not read it.
std::string line_of(const fs::path& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return std::string(trimmed(line));
}

template <typename Number>
std::optional<Number> number_of(const fs::path& path)
{
    const auto value = parse_integer(line_of(path));
    return value && *value >= 0 ? std::optional(static_cast<Number>(*value)) : std::nullopt;
}

/// Asks the drivers of network interfaces.
class Ethtool {
public:
    Ethtool() : descriptor_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Ethtool()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Ethtool(const Ethtool&) = delete;
    Ethtool& operator=(const Ethtool&) = delete;

    /// `question` begins with its command; false when the driver does not answer it.
    template <typename Question>
    bool ask(const std::string& name, Question& question) const
    {
        ifreq request{};
        if (descriptor_ < 0 || name.size() >= sizeof request.ifr_name) {
            return false;
        }
        std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
        request.ifr_data = reinterpret_cast<char*>(&question);
        return ::ioctl(descriptor_, SIOCETHTOOL, &request) == 0;
    }

private:
    int descriptor_;
};

template <std::size_t size>
std::string text_of(const char (&text)[size])
{
    return {text, ::strnlen(text, size)};
}

void ask_driver(const Ethtool& ethtool, Adapter& adapter)
{
    const std::string& name = adapter.facts.id;
    ethtool_drvinfo driver{};
    driver.cmd = ETHTOOL_GDRVINFO;
    if (ethtool.ask(name, driver)) {
        adapter.driver = text_of(driver.driver);
        adapter.driver_version = text_of(driver.version);
    }
    ethtool_ringparam ring{};
    ring.cmd = ETHTOOL_GRINGPARAM;
    if (ethtool.ask(name, ring) && ring.rx_max_pending != 0) {
        adapter.receive_ring = ring.rx_pending;
        adapter.largest_receive_ring = ring.rx_max_pending;
    }
    struct Offload {
        const char* name;
        std::uint32_t command;
    };
    constexpr Offload offloads[] = {{"rx-checksumming", ETHTOOL_GRXCSUM},
                                    {"tx-checksumming", ETHTOOL_GTXCSUM},
                                    {"scatter-gather", ETHTOOL_GSG},
                                    {"tcp-segmentation-offload", ETHTOOL_GTSO},
                                    {"generic-segmentation-offload", ETHTOOL_GGSO},
                                    {"generic-receive-offload", ETHTOOL_GGRO}};
    for (const Offload& offload : offloads) {
        ethtool_value value{};
        value.cmd = offload.command;
        if (ethtool.ask(name, value)) {
            adapter.offloads[offload.name] = value.data != 0;
        }
    }
}

Adapter adapter_of(const Ethtool& ethtool, const net::Interface& facts)
{
    Adapter adapter;
    adapter.facts = facts;
    const fs::path folder = fs::path("/sys/class/net") / facts.id;
    adapter.speed = number_of<std::uint32_t>(folder / "speed");
    if (const auto carrier = number_of<unsigned>(folder / "carrier")) {
        adapter.has_link = *carrier != 0;
    }
    adapter.power_control = line_of(folder / "device/power/control");
    adapter.reverse_path_check = number_of<std::uint32_t>(fs::path("/proc/sys/net/ipv4/conf") / facts.id / "rp_filter");
    if (const auto all = number_of<std::uint32_t>("/proc/sys/net/ipv4/conf/all/rp_filter")) {
        adapter.reverse_path_check = std::max(adapter.reverse_path_check.value_or(0), *all);
    }
    ask_driver(ethtool, adapter);
    return adapter;
}

std::vector<std::string> governors()
{
    std::set<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry("/sys/devices/system/cpu", error), end; !error && entry != end;
         entry.increment(error)) {
        if (std::string governor = line_of(entry->path() / "cpufreq/scaling_governor"); !governor.empty()) {
            found.insert(std::move(governor));
        }
    }
    return {found.begin(), found.end()};
}

std::vector<Firewall> firewalls()
{
    std::vector<Firewall> found;
    std::error_code error;
    if (std::ifstream settings("/etc/ufw/ufw.conf"); settings) {
        std::stringstream text;
        text << settings.rdbuf();
        found.push_back({"ufw", text.str().find("ENABLED=yes") != std::string::npos, "as /etc/ufw/ufw.conf says"});
    }
    if (fs::exists("/usr/sbin/firewalld", error)) {
        found.push_back({"firewalld", fs::exists("/run/firewalld", error) || fs::exists("/run/firewalld.pid", error),
                         "as its folder under /run says"});
    }
    if (std::ifstream tables("/proc/net/ip_tables_names"); tables) {
        std::string names;
        for (std::string name; tables >> name;) {
            names += (names.empty() ? "" : ", ") + name;
        }
        found.push_back({"iptables", !names.empty(), names.empty() ? "no tables" : "tables: " + names});
    } else if (fs::exists("/proc/net/ip_tables_names", error)) {
        found.push_back({"iptables", std::nullopt, "its tables are shown to administrators only"});
    }
    if (const auto users = number_of<unsigned>("/sys/module/nf_tables/refcnt")) {
        found.push_back({"nftables", *users == 0 ? std::optional(false) : std::nullopt,
                         std::to_string(*users) + " modules of the kernel use it; its rules: nft list ruleset"});
    }
    return found;
}

std::string system_name()
{
    std::ifstream file("/etc/os-release");
    constexpr std::string_view key = "PRETTY_NAME=";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key)) {
            std::string name = line.substr(key.size());
            std::erase(name, '"');
            return name;
        }
    }
    return "Linux";
}

class ThisSystem final : public SystemReader {
public:
    [[nodiscard]] SystemState read() const override
    {
        SystemState state;
        const Ethtool ethtool;
        for (const net::Interface& facts : net::list_interfaces()) {
            state.adapters.push_back(adapter_of(ethtool, facts));
        }
        utsname kernel{};
        if (::uname(&kernel) == 0) {
            state.kernel = std::string(kernel.sysname) + " " + kernel.release + " " + kernel.machine;
            state.host_name = kernel.nodename;
        }
        state.system = system_name();
        state.processors = std::thread::hardware_concurrency();
        state.largest_receive_buffer = number_of<std::uint64_t>("/proc/sys/net/core/rmem_max");
        state.usual_receive_buffer = number_of<std::uint64_t>("/proc/sys/net/core/rmem_default");
        state.may_exceed_limits = ::geteuid() == 0;
        state.processor_governors = governors();
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
