// PvInterface: one network interface of the host and the cameras found on it.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/control/PvTypes.h"

class PvDeviceInfo;

/// One IPv4 address of one network adapter; an adapter with two addresses is two interfaces.
///
/// Made and owned by a PvSystem, see there for how long an object is valid. Kept for longer, it can still be read and
/// searched; only the sinks of the system are gone then.
///
/// Thread safety: none; one thread at a time.
class PvInterface {
public:
    virtual ~PvInterface();
    PvInterface(const PvInterface&) = delete;
    PvInterface& operator=(const PvInterface&) = delete;

    /// Number of devices that the last search found here, ignored ones not counted.
    [[nodiscard]] std::uint32_t GetDeviceCount() const;
    /// The device; null when the index is out of range.
    [[nodiscard]] PvDeviceInfo* GetDeviceInfo(std::uint32_t aIndex) const;

    /// Lower-case pairs separated by ':'; zero for loopback.
    [[nodiscard]] PvString GetMACAddress() const;
    [[nodiscard]] PvString GetIPAddress() const;
    [[nodiscard]] PvString GetSubnetMask() const;
    /// "0.0.0.0" when there is none.
    [[nodiscard]] PvString GetDefaultGateway() const;
    /// What the system calls the adapter.
    [[nodiscard]] PvString GetDescription() const;
    /// Unique among the host's interfaces and the same in every search: the adapter's name and the address.
    [[nodiscard]] PvString GetID() const;
    [[nodiscard]] PvInterfaceType GetType() const;

    /// Searches this interface alone, with the system's detection timeout, options and sinks. NetworkError when the
    /// interface cannot be used any more. StateError when called from within OnDeviceFound.
    PvResult Find();

    /// A share in the object, and in all that its system has found.
    [[nodiscard]] std::shared_ptr<PvInterface> shared();

private:
    friend class PvSystem;
    class Impl;
    explicit PvInterface(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};
