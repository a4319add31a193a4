// PvVirtualDevice: a device presence that the host itself provides on a network interface.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

/// A GigE Vision device on port 3956 of one of the host's interfaces: it answers discovery, grants and guards control,
/// serves a GenICam description and has one stream channel.
///
/// It has no sensor. A PvTransmitterRaw of the same process that sends to the channel's destination makes it a camera:
/// from the first block on, its geometry and payload size are those of what is sent, and requests for lost packets
/// reach the transmitter. Commands to start and stop the acquisition show in AcquisitionStatus; what they mean for the
/// transmitter is the program's decision.
///
/// The serial port Serial0 sends back what it is sent; on the I2C bus of Bulk0 are an EEPROM at 0xA0 and a sensor at
/// 0x90, as on the wire (docs/serial.md).
///
/// Thread safety: start and stop from one thread at a time, the rest not beside them.
class PvVirtualDevice {
public:
    PvVirtualDevice();
    PvVirtualDevice(const PvVirtualDevice&) = delete;
    PvVirtualDevice& operator=(const PvVirtualDevice&) = delete;
    /// Stops listening.
    ~PvVirtualDevice();

    /// Starts to answer on the interface that `info` names by IPv4 address, interface name or MAC address; an empty
    /// text means the first interface that is not loopback, else loopback. The description of the OK result tells the
    /// address and the interface that were taken.
    ///
    /// NotFound when no interface is so named, StateError when it listens already, NetworkError when the address cannot
    /// be listened on (another device on it, no permission).
    PvResult StartListening(const PvString& info);
    /// Returns when nothing is answered any more. Does nothing when it does not listen.
    void StopListening();

    /// Where the application that controls the device wants its blocks; empty and 0 while the channel is closed.
    [[nodiscard]] PvString GetStreamDestinationIPAddress() const;
    [[nodiscard]] std::uint16_t GetStreamDestinationPort() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
