// PvSystemEventSink: what an application derives from to be told of devices while they are being searched.
#pragma once

class PvDeviceInfo;
class PvInterface;

/// Receives the notifications of a PvSystem's search; see PvSystem::RegisterEventSink.
class PvSystemEventSink {
public:
    virtual ~PvSystemEventSink() = default;

    /// A device was found. Called once per device on the thread that called Find, from within Find.
    ///
    /// Both objects belong to the system. `aIgnore` is false on entry; the device does not enter the interface's list
    /// when it is true afterwards. The system must not be searched from here; it may be
    /// destroyed, and both objects are good until the call returns.
    virtual void OnDeviceFound(PvInterface* aInterface, PvDeviceInfo* aDeviceInfo, bool& aIgnore)
    {
        static_cast<void>(aInterface);
        static_cast<void>(aDeviceInfo);
        static_cast<void>(aIgnore);
    }
};
