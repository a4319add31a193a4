// What is to be thought of a camera and of the way to it.
#include <algorithm>
#include <cstdio>

#include "tools/diagnosis/checks.h"

using namespace vex;

namespace diagnosis {

namespace {

constexpr std::uint32_t plain_packet = 1500;
constexpr std::uint32_t shortest_heartbeat_ms = 1000;
constexpr std::uint32_t longest_heartbeat_ms = 60'000;
constexpr std::chrono::milliseconds slow_answer{20};

std::string milliseconds_text(std::chrono::nanoseconds time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f ms", std::chrono::duration<double, std::milli>(time).count());
    return text;
}

std::string bytes_text(std::uint32_t size) { return std::to_string(size) + " bytes"; }

}  // namespace

Findings check_search(const std::vector<FoundCamera>& cameras)
{
    if (cameras.empty()) {
        return {{"search", Verdict::wrong, "No camera answers a search on any interface.",
                 "See whether the camera has power and the cable is connected, and whether a firewall throws its "
                 "answers away."}};
    }
    Findings findings;
    for (const FoundCamera& camera : cameras) {
        if (!camera.is_reachable) {
            findings.push_back(
                {"camera_subnet", Verdict::wrong,
                 camera.name + " has the address " + camera.address.to_string() + ", mask " + camera.mask.to_string() +
                     ", which does not fit the interface " + camera.host.id + " (" + camera.host.address.to_string() +
                     ", mask " + camera.host.mask.to_string() + ").",
                 "Give it one that fits: pvctl ip " + camera.mac.to_string() + " --force ADDRESS/MASK."});
        }
        const auto is_twin = [&](const FoundCamera& other) {
            return other.address == camera.address && other.mac != camera.mac && camera.mac.bytes < other.mac.bytes;
        };
        if (const auto twin = std::ranges::find_if(cameras, is_twin); twin != cameras.end()) {
            findings.push_back(
                {"addresses", Verdict::wrong,
                 camera.name + " and " + twin->name + " both have the address " + camera.address.to_string() + ".",
                 "Give one of them another: pvctl ip " + twin->mac.to_string() + " --force ADDRESS/MASK."});
        }
    }
    findings.insert(findings.begin(),
                    {"search", Verdict::good,
                     cameras.size() == 1 ? "One camera answers a search."
                                         : std::to_string(cameras.size()) + " cameras answer a search.",
                     ""});
    return findings;
}

Finding check_route(Ipv4Address camera, Ipv4Address local, const std::optional<net::Interface>& host)
{
    if (local.is_any()) {
        return {"route", Verdict::wrong, "There is no route to " + camera.to_string() + ".",
                "Give an interface an address of the camera's subnet, or the camera one of an interface's."};
    }
    const bool both_loop = host && host->loopback && local.is_loopback();
    if (host && host->address != local && !both_loop) {
        return {"route", Verdict::wrong,
                "The camera answers by " + host->id + " (" + host->address.to_string() + "), but what is sent to " +
                    camera.to_string() + " leaves from " + local.to_string() + ".",
                "Give each interface a subnet of its own, or add a route: ip route add " + camera.to_string() +
                    " dev " + host->id + "."};
    }
    return {"route", Verdict::good, "What is sent to " + camera.to_string() + " leaves from " + local.to_string() + ".",
            ""};
}

Finding check_packets(const PacketTest& test)
{
    if (!test.was_made) {
        return {"packets", Verdict::look, "Test packets were not tried: " + test.why_not, ""};
    }
    if (test.largest == 0) {
        return {"packets", Verdict::wrong, "No test packet of the camera arrives: " + test.why_not,
                "Let the firewall take UDP packets of the camera's address in; where one of this computer seems to be "
                "off, see the switch's and the router's."};
    }
    const std::uint32_t possible = test.camera_most == 0 ? test.mtu : std::min(test.mtu, test.camera_most);
    // a step of the camera's may keep the last bytes out
    constexpr std::uint32_t slack = 64;
    if (!test.is_loopback && possible > plain_packet && test.largest + slack < possible) {
        return {"packets", Verdict::look,
                "Packets of " + bytes_text(test.largest) +
                    " arrive, larger ones do not, although the interface takes " + bytes_text(test.mtu) + ".",
                "Set jumbo frames on every switch between camera and computer, or let the packet size be negotiated."};
    }
    return {"packets", Verdict::good, "Packets of up to " + bytes_text(test.largest) + " arrive.", ""};
}

Finding check_answers(const ControlTest& test)
{
    const std::string asked = std::to_string(test.requests) + " requests, " + std::to_string(test.retries) +
                              " of them sent again, " + std::to_string(test.failures) + " failed; answers took " +
                              milliseconds_text(test.mean) + " on average, " + milliseconds_text(test.largest) +
                              " at most.";
    if (test.failures != 0 || test.retries != 0) {
        return {"answers", test.failures != 0 ? Verdict::wrong : Verdict::look, asked,
                "Messages get lost: see the cable, the switch and what else uses the network."};
    }
    if (test.mean > slow_answer) {
        return {"answers", Verdict::look, asked, "The camera or the network is slow: features will be, too."};
    }
    return {"answers", Verdict::good, asked, ""};
}

Finding check_heartbeat(const ControlTest& test)
{
    const std::string timeout = std::to_string(test.heartbeat_timeout_ms) + " ms";
    if (test.heartbeat_timeout_ms < shortest_heartbeat_ms) {
        return {"heartbeat", Verdict::look,
                "The camera gives its controller up after " + timeout + " of silence, which a busy computer may reach.",
                "pvctl set DEVICE GevHeartbeatTimeout=3000."};
    }
    if (test.heartbeat_timeout_ms > longest_heartbeat_ms) {
        return {"heartbeat", Verdict::look,
                "The camera keeps its controller for " + timeout +
                    ": after a crash of the application nobody can take control for so long.",
                "pvctl set DEVICE GevHeartbeatTimeout=3000, when it is not being debugged."};
    }
    return {"heartbeat", Verdict::good, "The camera gives its controller up after " + timeout + " of silence.", ""};
}

}  // namespace diagnosis
