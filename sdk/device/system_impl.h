// What stands behind a PvSystem and its PvInterfaces.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "sdk/control/discovery.h"
#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"

/// Shared by the system, by whoever keeps one of its interfaces, and by a search under way.
class PvSystem::Impl : public std::enable_shared_from_this<PvSystem::Impl> {
public:
    explicit Impl(vex::control::SearchNetwork& its_network) : network(its_network) {}

    /// Searches these interfaces and fills their lists.
    PvResult search(const std::vector<PvInterface*>& interfaces);
    void notify(PvInterface& host, PvDeviceInfo& info, bool& ignore);
    /// The object for these facts; the same one as before when the interface was there before.
    PvInterface& interface_for(const vex::net::Interface& facts);

    vex::control::SearchNetwork& network;
    std::vector<std::unique_ptr<PvInterface>> all;  ///< every interface ever met
    std::vector<PvInterface*> listed;
    std::vector<PvSystemEventSink*> sinks;
    std::chrono::milliseconds detection_timeout{1000};
    bool broadcast_acknowledge = true;
    bool searching = false;
    std::uint64_t malformed = 0;
};

class PvInterface::Impl {
public:
    Impl(PvSystem::Impl& its_system, const vex::net::Interface& its_facts) : system(its_system), facts(its_facts) {}

    [[nodiscard]] std::string id() const { return facts.id + "@" + facts.address.to_string(); }
    /// The object for this device, brought up to date, at the end of `all`; the same one as before when the device was
    /// met here before.
    PvDeviceInfo& device_for(PvInterface& self, const vex::control::FoundDevice& found);

    PvSystem::Impl& system;
    vex::net::Interface facts;
    std::vector<std::shared_ptr<PvDeviceInfo>> all;  ///< the one met last stands last
    std::vector<PvDeviceInfo*> listed;
};
