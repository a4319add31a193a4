// PvSystem: the host's view of all cameras on all its network interfaces.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sdk/base/PvResult.h"

class PvInterface;
class PvSystemEventSink;
struct PvAction;
struct PvActionAcknowledge;

namespace vex::control {
class SearchNetwork;
}

/// Searches the host's network interfaces for GigE Vision devices.
///
/// Ownership: interfaces and device informations belong to the system; their pointers are valid until the next Find of
/// the system or their interface. An interface or device that is met again keeps its object, with its data brought up
/// to date. The objects of what is no longer met are in fact kept for a while (the latest 1024 per interface). Whoever
/// keeps one for longer takes a share in it, with PvInterface::shared() or PvDeviceInfo::shared(): what a search found
/// may outlive the system that searched.
///
/// Thread safety: none; one thread at a time.
class PvSystem {
public:
    PvSystem();
    /// The sinks hear no more. May be called from within OnDeviceFound: the search goes on to its end without them.
    virtual ~PvSystem();
    PvSystem(const PvSystem&) = delete;
    PvSystem& operator=(const PvSystem&) = delete;

    /// Number of interfaces that the last Find searched; 0 before the first.
    [[nodiscard]] std::uint32_t GetInterfaceCount() const;
    /// The interface; null when the index is out of range.
    [[nodiscard]] PvInterface* GetInterface(std::uint32_t aIndex) const;

    /// How long Find listens for answers, in milliseconds; 1000 until set. The time bounds the whole search, not each
    /// interface. Devices may delay their answer on purpose (discovery acknowledge delay, commonly up to 1000 ms).
    [[nodiscard]] std::uint32_t GetDetectionTimeout() const;
    void SetDetectionTimeout(std::uint32_t aTimeout);

    /// The version of GigE Vision that this SDK speaks.
    [[nodiscard]] std::uint32_t GetProtocolVersionMajor() const;
    [[nodiscard]] std::uint32_t GetProtocolVersionMinor() const;

    /// Devices may answer by broadcast, so that one whose address does not fit the interface's subnet is found too.
    /// True until set.
    [[nodiscard]] bool GetBroadcastAcknowledge() const;
    void SetBroadcastAcknowledge(bool aAllowed);

    /// Searches all interfaces at the same time and returns after the detection timeout (somewhat later when devices
    /// found last still owe their access status). The sinks are called from within, on the calling thread.
    ///
    /// OK also when no device was found. NetworkError when the interfaces cannot be listed or none of them can be
    /// searched; the description names them. StateError when called from within OnDeviceFound.
    PvResult Find();

    /// Sends an action command, once on each interface, and collects the acknowledges of the devices that it means; no
    /// search is needed before. Devices act when an application controls them, or when they act unconditionally.
    /// `aAcknowledges`, where given, is filled whatever the result: one entry for each device, in the order of arrival.
    ///
    /// OK: sent, as many devices as expected acknowledged, and none with a failure. InvalidParameter: group mask 0, a
    /// text that is no address, or an interface that the host does not have. NetworkError: sent on no interface.
    /// Timeout: fewer devices than expected acknowledged in time. StateError: a device acknowledged with a failure,
    /// which the description names; that the action came too late is one.
    PvResult SendAction(const PvAction& aAction, std::vector<PvActionAcknowledge>* aAcknowledges = nullptr);

    /// Adds a sink; it must stay alive until it is unregistered or the system is destroyed. InvalidParameter for null,
    /// StateError when it is registered already.
    PvResult RegisterEventSink(PvSystemEventSink* aEventSink);
    /// NotFound when the sink is not registered.
    PvResult UnregisterEventSink(PvSystemEventSink* aEventSink);

    /// Datagrams dropped by the searches so far because they were malformed.
    [[nodiscard]] std::uint64_t GetMalformedPacketCount() const;

protected:
    /// Searches this network, which must outlive the system, instead of the host's own.
    explicit PvSystem(vex::control::SearchNetwork& network);

private:
    friend class PvInterface;
    class Impl;
    std::shared_ptr<Impl> impl_;
};
