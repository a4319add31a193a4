// What is to be thought of a computer and a camera: no check asks anybody, all is told to it.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/diagnosis/finding.h"
#include "tools/diagnosis/system_state.h"

namespace diagnosis {

/// Everything about the computer alone. `camera`: where it is, so that only what concerns it is judged.
[[nodiscard]] Findings check_system(const SystemState& system, std::optional<vex::Ipv4Address> camera);

/// A camera as a search found it.
struct FoundCamera {
    std::string name;  ///< for people
    vex::MacAddress mac;
    vex::Ipv4Address address;
    vex::Ipv4Address mask;
    vex::net::Interface host;  ///< the interface by which it answered
    bool is_reachable = true;  ///< its address fits the interface's
};

/// Whether those found can be talked to.
[[nodiscard]] Findings check_search(const std::vector<FoundCamera>& cameras);

/// How a camera is reached. `local`: 0.0.0.0 without a route; `host`: the interface that answered its search, if any.
[[nodiscard]] Finding check_route(vex::Ipv4Address camera, vex::Ipv4Address local,
                                  const std::optional<vex::net::Interface>& host);

/// What test packets of the camera have shown.
struct PacketTest {
    bool was_made = false;
    std::string why_not{};          ///< a sentence, when it was not, or failed
    std::uint32_t largest = 0;      ///< bytes of the largest packet that arrived; 0: none did
    std::uint32_t mtu = 0;          ///< of the interface; 0 when not known
    std::uint32_t camera_most = 0;  ///< what the camera can send; 0 when not known
    bool is_loopback = false;
};
[[nodiscard]] Finding check_packets(const PacketTest& test);

/// How messages and heartbeats do.
struct ControlTest {
    std::uint64_t requests = 0;
    std::uint64_t retries = 0;
    std::uint64_t failures = 0;
    std::chrono::nanoseconds mean{};
    std::chrono::nanoseconds largest{};
    std::uint32_t heartbeat_timeout_ms = 0;
};
[[nodiscard]] Finding check_answers(const ControlTest& test);
[[nodiscard]] Finding check_heartbeat(const ControlTest& test);

/// The gravest of all; good when there are none.
[[nodiscard]] Verdict gravest(const Findings& findings) noexcept;

}  // namespace diagnosis
