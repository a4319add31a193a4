#include "sdk/device/PvSystem.h"

#include <algorithm>
#include <exception>
#include <new>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/control/action.h"
#include "sdk/device/PvAction.h"
#include "sdk/device/PvSystemEventSink.h"
#include "sdk/device/system_impl.h"
#include "sdk/net/interfaces.h"

using namespace vex;

namespace {

/// The version of GigE Vision whose extended block IDs, status codes and capabilities this SDK knows.
constexpr std::uint32_t protocol_major = 2;
constexpr std::uint32_t protocol_minor = 0;

}  // namespace

PvSystem::PvSystem() : PvSystem(control::SearchNetwork::system()) {}
PvSystem::PvSystem(control::SearchNetwork& network) : impl_(std::make_shared<Impl>(network)) {}
PvSystem::~PvSystem() { impl_->sinks.clear(); }

std::uint32_t PvSystem::GetInterfaceCount() const { return static_cast<std::uint32_t>(impl_->listed.size()); }

PvInterface* PvSystem::GetInterface(std::uint32_t aIndex) const
{
    return aIndex < impl_->listed.size() ? impl_->listed[aIndex] : nullptr;
}

std::uint32_t PvSystem::GetDetectionTimeout() const
{
    return static_cast<std::uint32_t>(impl_->detection_timeout.count());
}

void PvSystem::SetDetectionTimeout(std::uint32_t aTimeout)
{
    impl_->detection_timeout = std::chrono::milliseconds(aTimeout);
}

std::uint32_t PvSystem::GetProtocolVersionMajor() const { return protocol_major; }
std::uint32_t PvSystem::GetProtocolVersionMinor() const { return protocol_minor; }

bool PvSystem::GetBroadcastAcknowledge() const { return impl_->broadcast_acknowledge; }
void PvSystem::SetBroadcastAcknowledge(bool aAllowed) { impl_->broadcast_acknowledge = aAllowed; }

std::uint64_t PvSystem::GetMalformedPacketCount() const { return impl_->malformed; }

PvResult PvSystem::Find()
{
    const std::shared_ptr<Impl> held = impl_;  // a sink may destroy the system
    if (held->searching) {
        return failure(PvResult::StateError, "A search is under way already");
    }
    std::vector<net::Interface> present;
    try {
        present = impl_->network.interfaces();
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The network interfaces cannot be listed: ", error.what());
    }
    held->listed.clear();
    for (const net::Interface& facts : present) {
        held->listed.push_back(&held->interface_for(facts));
    }
    return held->search(held->listed);
}

PvResult PvSystem::SendAction(const PvAction& aAction, std::vector<PvActionAcknowledge>* aAcknowledges)
{
    if (aAcknowledges != nullptr) {
        aAcknowledges->clear();
    }
    control::ActionOptions options;
    options.acknowledge = aAction.acknowledge;
    options.expected = aAction.expected;
    options.timeout = std::chrono::milliseconds(aAction.timeout);
    if (!aAction.destination.empty()) {
        options.destination = Ipv4Address::parse(aAction.destination.view());
        if (!options.destination || options.destination->is_any()) {
            return failure(PvResult::InvalidParameter, "\"", aAction.destination.str(),
                           "\" is no IPv4 address that can be sent to");
        }
    }
    std::vector<net::Interface> hosts;
    try {
        hosts = impl_->network.interfaces();
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The network interfaces cannot be listed: ", error.what());
    }
    if (!aAction.interface_address.empty()) {
        const auto wanted = Ipv4Address::parse(aAction.interface_address.view());
        std::erase_if(hosts, [&](const net::Interface& host) { return host.address != wanted; });
        if (hosts.empty()) {
            return failure(PvResult::InvalidParameter, "This computer has no network interface with the address \"",
                           aAction.interface_address.str(), "\"");
        }
    }
    control::ActionReport report;
    PvResult result = control::send_action({aAction.device_key, aAction.group_key, aAction.group_mask, aAction.time},
                                           options, hosts, impl_->network, report);
    for (const control::ActionAnswer& answer : report.answers) {
        if (aAcknowledges != nullptr) {
            aAcknowledges->push_back({PvString(answer.device.to_string()), static_cast<std::uint16_t>(answer.status),
                                      PvString(wire::gvcp::text_of(answer.status))});
        }
    }
    return result;
}

PvResult PvSystem::RegisterEventSink(PvSystemEventSink* aEventSink)
{
    if (aEventSink == nullptr) {
        return failure(PvResult::InvalidParameter, "The event sink is null");
    }
    if (std::find(impl_->sinks.begin(), impl_->sinks.end(), aEventSink) != impl_->sinks.end()) {
        return failure(PvResult::StateError, "The event sink is registered already");
    }
    impl_->sinks.push_back(aEventSink);
    return PvResult::OK;
}

PvResult PvSystem::UnregisterEventSink(PvSystemEventSink* aEventSink)
{
    if (std::erase(impl_->sinks, aEventSink) == 0) {
        return failure(PvResult::NotFound, "The event sink is not registered");
    }
    return PvResult::OK;
}

PvInterface& PvSystem::Impl::interface_for(const net::Interface& facts)
{
    const auto it = std::find_if(all.begin(), all.end(), [&](const auto& known) {
        return known->impl_->facts.id == facts.id && known->impl_->facts.address == facts.address;
    });
    if (it != all.end()) {
        (*it)->impl_->facts = facts;
        return **it;
    }
    all.push_back(std::unique_ptr<PvInterface>(new PvInterface(std::make_unique<PvInterface::Impl>(*this, facts))));
    return *all.back();
}

PvResult PvSystem::Impl::search(const std::vector<PvInterface*>& interfaces)
{
    if (searching) {
        return failure(PvResult::StateError, "A search is under way already");
    }
    struct Searching {
        explicit Searching(bool& state) : flag(state) { flag = true; }
        Searching(const Searching&) = delete;
        Searching& operator=(const Searching&) = delete;
        ~Searching() { flag = false; }
        bool& flag;
    } const guard(searching);

    std::vector<net::Interface> hosts;
    for (PvInterface* interface : interfaces) {
        interface->impl_->listed.clear();
        hosts.push_back(interface->impl_->facts);
    }

    control::DiscoveryOptions options;
    options.timeout = detection_timeout;
    options.broadcast_acknowledge = broadcast_acknowledge;
    control::Discovery discovery(hosts, options, network);
    discovery.run([&](const control::FoundDevice& found) {
        PvInterface& interface = *interfaces[found.interface_index];
        PvDeviceInfo& info = interface.impl_->device_for(interface, found);
        bool ignore = false;
        notify(interface, info, ignore);
        if (!ignore) {
            interface.impl_->listed.push_back(&info);
        }
        return true;
    });
    malformed += discovery.statistics().malformed;

    if (discovery.unusable().size() < interfaces.size()) {
        return PvResult::OK;
    }
    std::string text = interfaces.empty() ? "The host has no network interface" : "No interface can be searched";
    for (const control::UnusableInterface& unusable : discovery.unusable()) {
        text += "; " + interfaces[unusable.interface_index]->impl_->id() + ": " + unusable.reason;
    }
    return failure(PvResult::NetworkError, text);
}

void PvSystem::Impl::notify(PvInterface& host, PvDeviceInfo& info, bool& ignore)
{
    const std::vector<PvSystemEventSink*> now = sinks;
    for (PvSystemEventSink* sink : now) {
        // one sink may unregister another
        if (std::find(sinks.begin(), sinks.end(), sink) == sinks.end()) {
            continue;
        }
        try {
            sink->OnDeviceFound(&host, &info, ignore);
        } catch (...) {
            // what the application throws into the search is not the search's to handle
        }
    }
}
