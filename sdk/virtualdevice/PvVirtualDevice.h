// PvVirtualDevice: a device presence that the host itself provides on a network interface.
#pragma once

#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

/// A GigE Vision device without sensor: it answers discovery, grants and guards control, and serves bootstrap registers
/// and a GenICam description, on port 3956 of one of the host's interfaces.
///
/// Thread safety: start and stop from one thread at a time.
class PvVirtualDevice {
public:
    PvVirtualDevice();
    PvVirtualDevice(const PvVirtualDevice&) = delete;
    PvVirtualDevice& operator=(const PvVirtualDevice&) = delete;
    /// Stops listening.
    ~PvVirtualDevice();

    /// Starts to answer on the interface that `info` names by IPv4 address, interface name or MAC address; an empty
    /// text means the first interface that is not loopback, else loopback.
    ///
    /// NotFound when no interface is so named, StateError when it listens already, NetworkError when the address cannot
    /// be listened on (another device on it, no permission).
    PvResult StartListening(const PvString& info);
    /// Returns when nothing is answered any more. Does nothing when it does not listen.
    void StopListening();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
