// PvSerialPortIPEngine: a serial port of a camera, driven through the camera's connection.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"
#include "sdk/serial_port/PvSerialPort.h"

class PvDevice;

/// A serial port of a device that describes it (docs/serial.md). Baud rate and the like are features of the device and
/// may be changed at any time.
///
/// While the port is open, a thread of its own moves what the device has received into the receive buffer: when the
/// device tells of it, and every now and then in case that got lost; devices that do not tell are asked all the time.
/// It leaves bytes with the device while the buffer is full.
///
/// When the device is disconnected or its link is lost, what has come can still be read; then everything answers
/// NotConnected and IsOpened is false. Once the device object has a connection to the same device again, by recovery or
/// by Connect, the port goes on by itself. What came in between is lost when the device has restarted, or has noticed
/// that it was left alone. A port whose device object was destroyed stays NotConnected, and is closed as any other.
///
/// Once the device has no room for more, a write is given twice the time that the rest takes, and a second.
///
/// Thread safety: as PvSerialPort.
class PvSerialPortIPEngine final : public PvSerialPort {
public:
    PvSerialPortIPEngine();
    /// Closes.
    ~PvSerialPortIPEngine() override;

    /// Opens a port of a device that is connected with control, and discards what the port has received before.
    /// InvalidParameter for null or what is no port, NotConnected, NotSupported when the device does not describe the
    /// port or is connected for reading only, StateError when this object or another one has a port open, with its
    /// owner in the text. The device may be destroyed before the port.
    PvResult Open(PvDevice* aDevice, PvIPEngineSerial aPort);
    /// The device is connected and describes this port as a UART.
    [[nodiscard]] static bool IsSupported(PvDevice* aDevice, PvIPEngineSerial aPort);

    PvResult Close() override;
    PvResult Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten) override;
    [[nodiscard]] bool IsOpened() override;
    PvResult Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                  std::uint32_t aTimeout) override;
    PvResult GetRxBytesReady(std::uint32_t& aBytes) override;
    PvResult FlushRxBuffer() override;
    PvResult GetRxBufferSize(std::uint32_t& aSize) override;
    PvResult SetRxBufferSize(std::uint32_t aSize) override;

    /// Bytes that were received and lost since the port was opened, because the device or a buffer that was made
    /// smaller had no room for them.
    [[nodiscard]] std::uint64_t dropped_bytes() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
