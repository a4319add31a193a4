// How this computer is set up, as far as cameras are concerned.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sdk/net/interfaces.h"

namespace diagnosis {

/// A network interface with what its driver tells. What is not told is empty.
struct Adapter {
    vex::net::Interface facts;
    std::string driver;
    std::string driver_version;
    std::optional<std::uint32_t> speed;  ///< Mbit/s
    std::optional<bool> has_link;
    std::map<std::string, bool> offloads;  ///< by the system's names
    std::optional<std::uint32_t> receive_ring;
    std::optional<std::uint32_t> largest_receive_ring;
    std::string power_control;                        ///< "on": never switched off to save power, "auto"
    std::optional<std::uint32_t> reverse_path_check;  ///< 0 none, 1 strict, 2 loose
};

struct Firewall {
    std::string name;
    std::optional<bool> is_active;  ///< empty when this user is not told
    std::string detail;
};

struct SystemState {
    std::string system;  ///< name and version
    std::string kernel;
    std::string host_name;
    unsigned processors = 0;
    std::vector<Adapter> adapters;
    std::optional<std::uint64_t> largest_receive_buffer;  ///< bytes that a program may ask for (rmem_max)
    std::optional<std::uint64_t> usual_receive_buffer;    ///< rmem_default
    bool may_exceed_limits = false;                       ///< this program may have larger buffers than the limit
    std::vector<std::string> processor_governors;         ///< each that is in use, once
    std::vector<Firewall> firewalls;                      ///< those that this system has
};

/// Whoever tells the state: the system, or a test.
class SystemReader {
public:
    virtual ~SystemReader() = default;
    /// What cannot be read is left empty. Throws std::system_error when not even the interfaces can be listed.
    [[nodiscard]] virtual SystemState read() const = 0;
    /// The local address from which `destination` is reached; 0.0.0.0 without a route.
    [[nodiscard]] virtual vex::Ipv4Address route_to(vex::Ipv4Address destination) const = 0;

    /// This computer.
    [[nodiscard]] static const SystemReader& system();
};

}  // namespace diagnosis
