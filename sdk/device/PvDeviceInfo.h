// PvDeviceInfo: what a camera said of itself when it was found.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvString.h"
#include "sdk/control/PvTypes.h"

class PvInterface;

/// A device as it was at the time of the search; nothing is read from the network later.
///
/// Made and owned by a PvInterface, see PvSystem for how long an object is valid. Kept for longer, it says the same as
/// before.
///
/// Thread safety: none; one thread at a time.
class PvDeviceInfo {
public:
    virtual ~PvDeviceInfo();
    PvDeviceInfo(const PvDeviceInfo&) = delete;
    PvDeviceInfo& operator=(const PvDeviceInfo&) = delete;

    /// Lower-case pairs separated by ':'.
    [[nodiscard]] PvString GetMACAddress() const;
    [[nodiscard]] PvString GetIPAddress() const;
    [[nodiscard]] PvString GetSubnetMask() const;
    [[nodiscard]] PvString GetDefaultGateway() const;
    [[nodiscard]] PvString GetVendor() const;
    [[nodiscard]] PvString GetModel() const;
    [[nodiscard]] PvString GetVersion() const;
    [[nodiscard]] PvString GetManufacturerInfo() const;
    /// Empty when the device has none.
    [[nodiscard]] PvString GetSerialNumber() const;
    /// Empty when the device has none.
    [[nodiscard]] PvString GetUserDefinedName() const;
    /// What PvDevice::Connect takes to find this device again: the MAC address, or the IP address of a device that does
    /// not tell its MAC address.
    [[nodiscard]] PvString GetID() const;

    /// The privilege that some application held when the device was found: PvAccessOpen when none did, PvAccessUnknown
    /// when the device did not tell in time.
    [[nodiscard]] PvAccessType GetAccessStatus() const;
    [[nodiscard]] PvDeviceClass GetClass() const;

    /// The GigE Vision version that the device implements.
    [[nodiscard]] std::uint32_t GetProtocolVersionMajor() const;
    [[nodiscard]] std::uint32_t GetProtocolVersionMinor() const;

    /// The device and the interface that found it are in one subnet, by the masks of both (a device that gives no mask
    /// is judged by the interface's). Otherwise the device needs another address before it can be connected, see
    /// PvDevice::SetIPConfiguration.
    [[nodiscard]] bool IsIPConfigurationValid() const;

    /// The interface that found the device; null when neither the system nor a share in the interface is left.
    [[nodiscard]] PvInterface* GetInterface() const;

    /// A share in the object.
    [[nodiscard]] std::shared_ptr<PvDeviceInfo> shared();

private:
    friend class PvDevice;
    friend class PvInterface;
    class Impl;
    explicit PvDeviceInfo(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};
