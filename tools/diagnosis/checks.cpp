#include "tools/diagnosis/checks.h"

#include <algorithm>
#include <set>

using namespace vex;

namespace diagnosis {

namespace {

constexpr std::uint32_t jumbo_mtu = 9000;
/// What streams ask for.
constexpr std::uint64_t wanted_receive_buffer = 16U * 1024 * 1024;
constexpr std::uint32_t gigabit = 1000;

/// The interfaces that a camera may be behind.
std::vector<const Adapter*> candidates(const SystemState& system, std::optional<Ipv4Address> camera)
{
    std::vector<const Adapter*> chosen;
    for (const Adapter& adapter : system.adapters) {
        const net::Interface& facts = adapter.facts;
        const bool is_its = camera && same_subnet(facts.address, *camera, facts.mask);
        if (camera ? is_its : !facts.loopback) {
            chosen.push_back(&adapter);
        }
    }
    return chosen;
}

std::string label(const Adapter& adapter) { return adapter.facts.id + " (" + adapter.facts.address.to_string() + ")"; }

void check_interfaces(const SystemState& system, std::optional<Ipv4Address> camera, Findings& findings)
{
    const auto found = candidates(system, camera);
    if (!found.empty()) {
        std::string names;
        for (const Adapter* adapter : found) {
            names += (names.empty() ? "" : ", ") + label(*adapter);
        }
        findings.push_back({"interfaces", Verdict::good, "Interfaces for cameras: " + names + ".", ""});
    } else if (camera) {
        findings.push_back({"interfaces", Verdict::wrong,
                            "No interface is in the subnet of the camera's address " + camera->to_string() + ".",
                            "Give an interface an address of the camera's subnet, or the camera one of an interface's: "
                            "pvctl ip MAC --force ADDRESS/MASK."});
    } else {
        findings.push_back({"interfaces", Verdict::wrong, "No interface but loopback has an IPv4 address.",
                            "Connect the cable, switch the interface on and give it an address."});
    }
}

void check_subnets(const SystemState& system, Findings& findings)
{
    const auto& all = system.adapters;
    bool is_good = true;
    for (auto one = all.begin(); one != all.end(); ++one) {
        for (auto other = one + 1; other != all.end(); ++other) {
            const bool overlap = same_subnet(one->facts.address, other->facts.address, one->facts.mask) ||
                                 same_subnet(one->facts.address, other->facts.address, other->facts.mask);
            if (one->facts.loopback || other->facts.loopback || one->facts.id == other->facts.id || !overlap) {
                continue;
            }
            is_good = false;
            findings.push_back({"subnets", Verdict::wrong,
                                "The interfaces " + label(*one) + " and " + label(*other) +
                                    " are in one subnet: what is sent to a camera may leave by the other.",
                                "Give each interface a subnet of its own."});
        }
    }
    if (is_good) {
        findings.push_back({"subnets", Verdict::good, "Each interface has a subnet of its own.", ""});
    }
}

void check_link(const Adapter& adapter, Findings& findings)
{
    if (adapter.has_link == false) {
        findings.push_back({"link", Verdict::wrong, label(adapter) + " has no link.",
                            "Connect the cable, and see whether the camera or the switch has power."});
    } else if (adapter.speed && *adapter.speed != 0 && *adapter.speed < gigabit) {
        findings.push_back({"link", Verdict::look,
                            label(adapter) + " runs at " + std::to_string(*adapter.speed) + " Mbit/s.",
                            "Use a cable and a switch for 1000 Mbit/s: cables with broken wires fall back to 100."});
    }
    if (!adapter.facts.loopback && adapter.facts.mtu != 0 && adapter.facts.mtu < jumbo_mtu) {
        findings.push_back({"mtu", Verdict::look,
                            label(adapter) + " takes packets of " + std::to_string(adapter.facts.mtu) +
                                " bytes; larger ones cost the computer less.",
                            "ip link set " + adapter.facts.id + " mtu 9000, where switch and camera take them, too."});
    }
    if (adapter.receive_ring && adapter.largest_receive_ring && *adapter.receive_ring < *adapter.largest_receive_ring) {
        findings.push_back(
            {"receive_ring", Verdict::look,
             label(adapter) + " keeps " + std::to_string(*adapter.receive_ring) + " packets of " +
                 std::to_string(*adapter.largest_receive_ring) + " that it could.",
             "ethtool -G " + adapter.facts.id + " rx " + std::to_string(*adapter.largest_receive_ring) + "."});
    }
    if (adapter.power_control == "auto" && !adapter.facts.loopback) {
        findings.push_back({"power", Verdict::look, label(adapter) + " may be switched off to save power.",
                            "echo on > /sys/class/net/" + adapter.facts.id + "/device/power/control."});
    }
}

void check_reverse_path(const Adapter& adapter, Findings& findings)
{
    constexpr std::uint32_t strict = 1;
    if (adapter.reverse_path_check == strict && !adapter.facts.loopback) {
        findings.push_back({"reverse_path", Verdict::look,
                            label(adapter) + " drops what comes from addresses that are not routed by it, such as the "
                                             "answers of cameras in a wrong subnet.",
                            "sysctl net.ipv4.conf." + adapter.facts.id +
                                ".rp_filter=2, while such a camera is "
                                "looked for."});
    }
}

void check_buffers(const SystemState& system, Findings& findings)
{
    if (!system.largest_receive_buffer) {
        findings.push_back(
            {"receive_buffers", Verdict::look, "How large receive buffers may be is not told by the system.", ""});
        return;
    }
    const std::string size = std::to_string(*system.largest_receive_buffer) + " bytes";
    if (*system.largest_receive_buffer >= wanted_receive_buffer) {
        findings.push_back({"receive_buffers", Verdict::good, "Receive buffers may have " + size + ".", ""});
        return;
    }
    findings.push_back({"receive_buffers", Verdict::look,
                        "Receive buffers may have " + size + " only; a stream asks for " +
                            std::to_string(wanted_receive_buffer) + "." +
                            (system.may_exceed_limits ? " This user may exceed that, others may not." : ""),
                        "sysctl net.core.rmem_max=" + std::to_string(wanted_receive_buffer) +
                            ", for good in a file under /etc/sysctl.d."});
}

void check_processors(const SystemState& system, Findings& findings)
{
    const auto& governors = system.processor_governors;
    if (governors.empty()) {
        findings.push_back(
            {"processors", Verdict::good, "The system does not slow the processors down, or does not tell.", ""});
    } else if (std::ranges::find(governors, "powersave") != governors.end()) {
        findings.push_back({"processors", Verdict::look, "Processors save power (governor powersave).",
                            "cpupower frequency-set -g performance, when packets get lost at a high rate."});
    } else {
        findings.push_back({"processors", Verdict::good, "The processors run under " + governors.front() + ".", ""});
    }
}

void check_firewalls(const SystemState& system, Findings& findings)
{
    bool is_known = !system.firewalls.empty();
    bool is_off = true;
    for (const Firewall& firewall : system.firewalls) {
        is_known = is_known && firewall.is_active.has_value();
        is_off = is_off && firewall.is_active == false;
        if (firewall.is_active == true) {
            findings.push_back({"firewall", Verdict::look,
                                "The firewall " + firewall.name + " is active (" + firewall.detail + ").",
                                "Let UDP of the cameras' subnet in: searches, streams and events come to ports that "
                                "the system chooses."});
        }
    }
    if (is_off) {
        findings.push_back({"firewall", Verdict::good, "No active firewall was found.", ""});
    } else if (!is_known) {
        findings.push_back({"firewall", Verdict::look, "Whether all firewalls let packets in is not told to this user.",
                            "See as an administrator: nft list ruleset; iptables -L."});
    }
}

}  // namespace

Findings check_system(const SystemState& system, std::optional<Ipv4Address> camera)
{
    Findings findings;
    check_interfaces(system, camera, findings);
    check_subnets(system, findings);
    std::set<std::string> judged;
    for (const Adapter* adapter : candidates(system, camera)) {
        if (judged.insert(adapter->facts.id).second) {
            check_link(*adapter, findings);
            check_reverse_path(*adapter, findings);
        }
    }
    check_firewalls(system, findings);
    check_buffers(system, findings);
    check_processors(system, findings);
    return findings;
}

Verdict gravest(const Findings& findings) noexcept
{
    Verdict worst = Verdict::good;
    for (const Finding& finding : findings) {
        worst = std::max(worst, finding.verdict);
    }
    return worst;
}

}  // namespace diagnosis
