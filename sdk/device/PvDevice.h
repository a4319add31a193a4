// PvDevice: the connection to one camera, its control channel and its features.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/control/PvTypes.h"

class PvDeviceEventSink;
class PvDeviceInfo;
class PvGenParameterArray;

namespace vex::device {
struct Access;
}

/// The connection to a GigE Vision device.
///
/// Time: every operation that talks to the device is bounded by the link's command timeout and retries (see GetGenLink)
/// and fails with Timeout when the device stays silent; NotConnected when there is no connection. Failure descriptions
/// name the device, the register or address, and what the device answered.
///
/// Heartbeat: while connected, a thread of the device keeps the privilege alive. When the device falls silent for its
/// heartbeat timeout, or says that the privilege is gone, the device is disconnected and OnLinkDisconnected called.
///
/// Notifications: the six that carry the device come one after the other from one thread of this object, which does
/// nothing else for the device while it is connected. A handler may take its time, call any member, disconnect,
/// connect, and destroy this object; the next notification waits for it.
///
/// Recovery: with the link parameter LinkRecoveryEnabled, off at first, a device whose link was lost is looked for by
/// its MAC address and serial number, at whatever address it has now, and connected with the access it had, from the
/// same port. Then are told, each after what it is about was done: OnLinkReconnected; OnRestoreDevice, settings put
/// back; OnRestoreConfiguration, stream destinations and packet sizes put back; OnRestoreAcquisition, a continuous
/// acquisition that was running started. What cannot be put back is named in LinkRecoveryState. A device that has not
/// missed its controller is left as it is. Control is never taken from another application: while one has it, this one
/// waits. Connect and Disconnect end a recovery. It ends by itself, and LinkRecoveryState says so, when the device has
/// another description than before.
///
/// The settings that are put back are the values that persistent (streamable) parameters had when the device was
/// connected, for each value of their selectors, and what was written to them by parameters since then; of tables with
/// more than 256 places only what was written. Where a description calls no parameter persistent, whatever was written
/// counts, but for parameters of the transport layer (Gev...). Registers and memory that were written directly do not.
/// A stream that was opened with the device's address has to be opened again when the address changes.
///
/// Polling: features whose description gives a polling time are forgotten at its end and read anew when they are used;
/// their event sinks are called then, on a thread of the device.
///
/// Descriptions: read from the device itself. Where its URL leads to a file, the file is looked for in the folder that
/// the link parameter DescriptionFolder names, and only there. Where it leads to a server (http), the description is
/// downloaded when the link parameter DescriptionDownload allows it and the server is the device itself, or any other
/// when DescriptionDownloadAnywhere allows that, too. What is read from a device's own memory is kept for the next
/// connection in the folder that DescriptionCacheFolder names; nothing is kept without one. All of them are set before
/// Connect; none is set at first.
///
/// Handing over: with the link parameter SwitchoverKey set, Connect takes control from another application that allows
/// it for that key; with SwitchoverEnable, this one allows it. Both are set before Connect. Whoever loses control is
/// told by OnLinkDisconnected at the next heartbeat.
///
/// Thread safety: all members may be called from any thread at the same time, except destruction. Connect and
/// Disconnect wait for each other, and for no notification. They may be called from within any notification, of the
/// device or of a feature, other than OnCmdLinkRead and OnCmdLinkWrite: these may come from the middle of an access,
/// and features are not to be used in them either. Destruction may be called from within any.
class PvDevice {
public:
    PvDevice();
    /// Disconnects. No notification of the device is sent once destruction has begun; one that is under way on another
    /// thread is waited for, up to five seconds, and one of a feature is not.
    virtual ~PvDevice();
    PvDevice(const PvDevice&) = delete;
    PvDevice& operator=(const PvDevice&) = delete;

    /// Connects to a device that a search found: takes the privilege, reads the device's description and builds its
    /// features. `aDeviceInfo` is used during the call only.
    ///
    /// InvalidParameter: null information or PvAccessUnknown, or SwitchoverEnable without a SwitchoverKey. StateError:
    /// connected already; or, naming the holder, the device is controlled by another application. BadVersion: the
    /// device speaks a version this SDK does not. Timeout: no answer. NotFound: another device answers at the address,
    /// or the description's file is not where it should be. GenICamXMLError: the description cannot be had or used.
    /// NotSupported: the description is not in the device, and elsewhere it may not be read. After a failure nothing is
    /// connected and nothing is held.
    PvResult Connect(const PvDeviceInfo* aDeviceInfo, PvAccessType aAccessType = PvAccessControl);

    /// Connects to the device that `aInfo` names: an IP address, a MAC address in any usual spelling, a user-defined
    /// name, a serial number or, when no device has it, the name of a host. MAC addresses, names and serial numbers are
    /// searched for on all interfaces, for half a second. A device that is not there is told within a second.
    ///
    /// As above, and NotFound, with what was tried and the devices that were found instead, when none answers to the
    /// name, InvalidParameter when several do.
    PvResult Connect(const PvString& aInfo, PvAccessType aAccessType = PvAccessControl);

    /// Gives the privilege back and closes the connection. Bounded to about half a second also when the device is gone;
    /// an access under way on another thread fails with NotConnected. OK when nothing is connected. Parameter arrays
    /// stay valid; their features are not available until the next connection, and their event sinks are told so. A
    /// notification that is under way on another thread may end later.
    PvResult Disconnect();

    [[nodiscard]] bool IsConnected() const;

    /// The device has serial ports and an I2C bus of its own: told by a node named "IPEngine" in its description,
    /// whatever that node is. False when not connected.
    [[nodiscard]] bool IsIPEngine() const;

    /// The device's features; null before the first successful connection. The array belongs to this object and, with
    /// its parameters, stays valid until this object is destroyed. A connection to a device with the same description
    /// brings the same array back.
    [[nodiscard]] PvGenParameterArray* GetGenParameters();
    /// The parameters of the connection itself: timeouts, retries, heartbeat, statistics. Never null; valid until this
    /// object is destroyed.
    [[nodiscard]] PvGenParameterArray* GetGenLink();

    /// Writes the device's description, unpacked, to a file, replacing one that is there once the new one is whole.
    /// CannotOpenFile, also where the one that is there is read-only; FileError.
    PvResult DumpGenICamXML(const PvString& aFilename);
    /// The file name that the device gives its description, ending in ".xml".
    PvResult GetDefaultGenICamXMLFilename(PvString& aFilename);

    /// Tells the device where to send a stream channel's packets. InvalidParameter: not an IPv4 address, port 0, or a
    /// channel that the device does not have.
    PvResult SetStreamDestination(const PvString& aIPAddress, std::uint16_t aDataPort, std::uint32_t aChannel = 0);
    /// Closes a stream channel: the device sends nothing until it has a destination again.
    PvResult ResetStreamDestination(std::uint32_t aChannel = 0);

    /// Finds the largest packet that reaches this host and sets it. The device sends test packets of different sizes;
    /// only a size that arrived whole is ever left in the device. The destination of the channel is the same
    /// afterwards.
    ///
    /// `aDefaultPacketSize` (bytes, IP header to last data byte; 0 for none) is set instead when the device sends no
    /// test packets; the result then is OK and its description says so. With no default, the size in the device stays
    /// and the result is NotSupported. StateError: the device is streaming (it sends on the channel, or TLParamsLocked
    /// is set), or is connected for reading only.
    PvResult NegotiatePacketSize(std::uint32_t aChannel = 0, std::uint32_t aDefaultPacketSize = 0);

    /// Restarts the device by its DeviceReset feature. The connection is lost with it, and told as any other loss.
    /// NotSupported when the device has no such feature.
    PvResult Reset();

    /// 32-bit registers, in host byte order. Features keep what they have cached of registers that are written here,
    /// and of memory that is written below, until their cache is invalidated.
    PvResult ReadRegister(std::uint32_t aAddress, std::uint32_t& aValue);
    PvResult WriteRegister(std::uint32_t aAddress, std::uint32_t aValue);
    /// Memory of any address and length. Devices only take whole 32-bit words: a write that begins or ends inside one
    /// reads that word first.
    PvResult ReadMemory(std::uint32_t aAddress, unsigned char* aDestination, std::uint32_t aByteCount);
    PvResult WriteMemory(std::uint32_t aAddress, const unsigned char* aSource, std::uint32_t aByteCount);

    /// Waits up to `aTimeout` ms until every event that has arrived was told. Timeout; NotConnected, also when the
    /// connection ends meanwhile; StateError from within a notification, which others wait for. A device without events
    /// is idle.
    PvResult WaitForMessagingChannelIdle(std::uint32_t aTimeout);

    /// Gives the device with this MAC address an IP configuration that holds until it restarts. Sent by broadcast on
    /// every interface, so it reaches devices whose present address does not fit.
    ///
    /// The address "0.0.0.0" (mask and gateway empty or the same) lets the device restart its own configuration:
    /// persistent address, DHCP or link-local, as it is set.
    /// An empty mask becomes the one of the host's interface whose subnet holds the address, else "255.255.255.0"; an
    /// empty gateway none. InvalidParameter: a text that is no address, or an address no host can have. NotFound: no
    /// device with this MAC address took the configuration within two seconds. StateError: it refused.
    static PvResult SetIPConfiguration(const PvString& aMACAddress, const PvString& aIP, const PvString& aSubnetMask,
                                       const PvString& aGateway);

    /// An application that receives no images tells so with ReportStreamTimeout: the link is checked at once instead of
    /// at the next heartbeat. The reports per channel are counted until ResetStreamTimeoutCounter.
    PvResult ResetStreamTimeoutCounter(std::uint32_t aChannel = 0);
    PvResult ReportStreamTimeout(std::uint32_t aChannel = 0);

    /// Adds a sink, which is called after those registered before it. It must stay alive until it is unregistered or
    /// this object is destroyed. InvalidParameter for null, StateError when it is registered already.
    PvResult RegisterEventSink(PvDeviceEventSink* aEventSink);
    /// After this no notification of the sink begins; one under way on another thread is waited for. NotFound when the
    /// sink is not registered.
    PvResult UnregisterEventSink(PvDeviceEventSink* aEventSink);

    /// Expires when the device goes: for whoever holds the device without owning it.
    [[nodiscard]] std::weak_ptr<const void> lifetime() const noexcept { return lifetime_; }

private:
    friend struct vex::device::Access;

    class Impl;
    class Operation;
    std::shared_ptr<Impl> impl_;
    std::shared_ptr<const char> lifetime_ = std::make_shared<const char>();
};
