// PvDeviceEventSink: what an application derives from to be told what happens on a device's connection.
#pragma once

#include <cstdint>

class PvDevice;

/// Receives the notifications of a PvDevice; see PvDevice::RegisterEventSink for threads and lifetime.
///
/// Derived classes override what they care for. An exception that leaves a notification is dropped.
class PvDeviceEventSink {
public:
    virtual ~PvDeviceEventSink() = default;

    /// Control of the device was lost: it no longer answers, or it no longer knows this application as its controller.
    /// The device is disconnected already. Called once per connection.
    virtual void OnLinkDisconnected(PvDevice* aDevice) { static_cast<void>(aDevice); }
    /// The device was found again and control of it was taken back.
    virtual void OnLinkReconnected(PvDevice* aDevice) { static_cast<void>(aDevice); }
    /// Restore steps after a reconnection, in this order: the device's own state, its configuration, the acquisition.
    virtual void OnRestoreDevice(PvDevice* aDevice) { static_cast<void>(aDevice); }
    virtual void OnRestoreConfiguration(PvDevice* aDevice) { static_cast<void>(aDevice); }
    virtual void OnRestoreAcquisition(PvDevice* aDevice) { static_cast<void>(aDevice); }

    /// An event of the device's message channel. `aTimestamp` is in device ticks; `aData` is valid during the call and
    /// null when the event carries none.
    virtual void OnEvent(PvDevice* aDevice, std::uint16_t aEventID, std::uint16_t aChannel, std::uint64_t aBlockID,
                         std::uint64_t aTimestamp, const void* aData, std::uint32_t aDataLength)
    {
        static_cast<void>(aDevice);
        static_cast<void>(aEventID);
        static_cast<void>(aChannel);
        static_cast<void>(aBlockID);
        static_cast<void>(aTimestamp);
        static_cast<void>(aData);
        static_cast<void>(aDataLength);
    }

    /// Registers or memory were read or written by a call of the application: by register, memory or feature access, by
    /// Connect and Disconnect, and by the members for streams. Called for each access that succeeded, also when the
    /// call as a whole fails, in order, on the thread that made the call. Accesses of features, registers and memory
    /// are told one by one, from the middle of the call. Those of Connect, Disconnect, SetStreamDestination,
    /// ResetStreamDestination and NegotiatePacketSize are told together before the call returns, when the device is
    /// what the call has made of it: after a Connect that succeeded, IsConnected is true in all of them.
    ///
    /// Not told are the heartbeat, what a link parameter writes when it is set, what recovery reads, remembers and puts
    /// back, and what destruction of the device writes.
    ///
    /// `aBuffer` holds the bytes as they lie in the device's memory and is valid during the call; `aLength` is in
    /// bytes.
    virtual void OnCmdLinkRead(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength)
    {
        static_cast<void>(aBuffer);
        static_cast<void>(aAddress);
        static_cast<void>(aLength);
    }
    virtual void OnCmdLinkWrite(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength)
    {
        static_cast<void>(aBuffer);
        static_cast<void>(aAddress);
        static_cast<void>(aLength);
    }
};
