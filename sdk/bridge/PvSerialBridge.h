// PvSerialBridge: joins a serial port of a camera to a serial line of this computer, or to other programs.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/control/PvTypes.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

class PvDevice;

/// Carries bytes both ways between a serial port of a device (docs/serial.md) and one of
/// - a serial line of this computer, which a program for a camera with a cable then uses from its other end;
/// - an endpoint with a name, for one program after the other: a pipe, or a TCP port (sdk/net/pipe_name.h). TCP ports
///   are on 127.0.0.1 unless the name says otherwise.
///
/// A side that takes nothing holds the other; bytes that cannot be held are counted. What the device sends while no
/// program is connected to an endpoint, or while a line is unplugged, is dropped and counted.
///
/// The device's side runs at the line's settings, but for a hard-coded baud rate. An endpoint has no line: the device
/// stays as it is set, until SetSerialPortConfiguration says what the settings are.
///
/// When the device's link is lost, the bridge holds what it is to send, and goes on by itself when the device object
/// has a connection to the device again. An unplugged line takes a Recover. The device may be destroyed before the
/// bridge.
///
/// Thread safety: all members may be called from any thread.
class PvSerialBridge {
public:
    PvSerialBridge();
    PvSerialBridge(const PvSerialBridge&) = delete;
    PvSerialBridge& operator=(const PvSerialBridge&) = delete;
    /// Stops.
    ~PvSerialBridge();

    /// Joins a port of a device that is connected with control to an endpoint. InvalidParameter for a name that cannot
    /// be one, null or what is no port; StateError when the bridge runs, or somebody has the name or the port, with the
    /// owner in the text; NotConnected, NotSupported when the device does not describe the port or cannot be set so.
    /// A failure changes nothing.
    PvResult Start(const PvString& aName, PvDevice* aDevice, PvIPEngineSerial aDevicePort);
    /// The same with a line by its name (net::SerialLine), which is opened for this bridge alone. NotFound, and
    /// InvalidParameter or NotSupported for a configuration that is not valid or the line cannot take.
    PvResult Start(const PvString& aSerialPort, PvSerialPortConfiguration aConfiguration, PvDevice* aDevice,
                   PvIPEngineSerial aDevicePort);
    /// Ends the threads and gives both sides back. Names, settings and statistics stay. StateError when it does not
    /// run.
    PvResult Stop();
    /// Opens a line that was unplugged again, and waits until the port of a device that is back works; takes up where
    /// it was. StateError when the bridge does not run, NotFound and NotConnected for the side that is not there.
    PvResult Recover();

    /// The name of an endpoint, with the TCP port that the system chose for 0; empty for a line. Of the last start, as
    /// are the next two.
    [[nodiscard]] PvString GetName() const;
    /// The name of a line; empty for an endpoint.
    [[nodiscard]] PvString GetSerialPort() const;
    /// PvIPEngineSerialInvalid before the first start.
    [[nodiscard]] PvIPEngineSerial GetDevicePort() const;

    /// In bits per second, of the device's side: the hard-coded rate, or else that of the configuration.
    [[nodiscard]] std::uint32_t GetBaudRate() const;
    /// What was set or started with last, or for an endpoint what the device's port was found set to; 9,600 8N1 before.
    [[nodiscard]] PvSerialPortConfiguration GetSerialPortConfiguration() const;
    /// Changes the line and the device's side, at once while the bridge runs. InvalidParameter, NotSupported,
    /// NotConnected: nothing has changed.
    PvResult SetSerialPortConfiguration(PvSerialPortConfiguration aConfiguration);
    /// 0: the device's side runs at the line's rate.
    [[nodiscard]] std::uint32_t GetHardCodedBaudRate() const;
    /// Fails as SetSerialPortConfiguration.
    PvResult SetHardCodedBaudRate(std::uint32_t aBaudRate);

    /// How many baud rates the description of the device lists for the port of the last start; 0 where it lists none.
    [[nodiscard]] std::uint32_t GetSupportedBaudRateCount() const;
    /// Ascending; 0 past the end.
    [[nodiscard]] std::uint32_t GetSupportedBaudRate(std::uint32_t aIndex) const;

    /// Bytes since construction or ResetStatistics, over all starts.
    [[nodiscard]] std::uint64_t GetBytesReceivedFromDevice() const;
    [[nodiscard]] std::uint64_t GetBytesSentToDevice() const;
    /// Bytes of the device that were lost: by the device, by its port, or because nobody was there to take them. Those
    /// that came to the bridge are among the received ones, too.
    [[nodiscard]] std::uint64_t GetBytesDropped() const;
    void ResetStatistics();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
