// PvIPEngineI2CBus: an I2C bus of a camera, whose master the camera is.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"

class PvDevice;

namespace vex::serial {
class ReleasedBuses;
}

/// The I2C bus on a port of a device that describes one (docs/serial.md).
///
/// Addresses are bytes as they are on the wire: the slave's 7-bit address in the upper seven bits. The lowest bit is
/// the direction and not looked at: 0xA0 and 0xA1 both are the slave whose data sheet says 7-bit address 0x50, and
/// 0x50 is the slave whose data sheet says 0x28.
///
/// A transfer that fails tells how many bytes it has moved; a read leaves those in the buffer. NotFound when the slave
/// did not acknowledge its address or a byte, StateError when the bus is stuck or another master has it, Timeout when
/// the device does not end the transfer, InvalidParameter for one that is longer than the device can do, or null with
/// a size; NotConnected when the bus is not open or the device not connected. A transfer of 0 bytes is made, too: it
/// tells whether the slave is there. Reading 0 bytes reads one, because a slave that sends holds the bus, and drops it.
///
/// A bus whose device was disconnected works again when the same device object is connected to the same device.
///
/// Thread safety: all members may be called from any thread; one transfer is made at a time.
class PvIPEngineI2CBus {
public:
    PvIPEngineI2CBus();
    PvIPEngineI2CBus(const PvIPEngineI2CBus&) = delete;
    PvIPEngineI2CBus& operator=(const PvIPEngineI2CBus&) = delete;
    /// Closes.
    ~PvIPEngineI2CBus();

    [[nodiscard]] bool IsOpened();
    /// As PvSerialPortIPEngine::Open.
    PvResult Open(PvDevice* aDevice, PvIPEngineSerial aPort);
    /// OK for a bus that is not open. The device may have gone.
    PvResult Close();
    /// The device is connected and describes an I2C bus on this port.
    [[nodiscard]] static bool IsSupported(PvDevice* aDevice, PvIPEngineSerial aPort);

    /// Start, address, the bytes, stop. `aFastMode`: 400 kHz instead of 100.
    PvResult BurstWrite(std::uint8_t aSlaveAddress, const std::uint8_t* aBuffer, std::uint32_t aBufferSize,
                        bool aFastMode);
    /// Start, address, the offset, the bytes, stop.
    PvResult IndirectBurstWrite(std::uint8_t aSlaveAddress, std::uint8_t aOffset, const std::uint8_t* aBuffer,
                                std::uint32_t aBufferSize, bool aFastMode);
    /// Start, address for reading, the bytes, stop. Every byte but the last is acknowledged.
    PvResult BurstRead(std::uint8_t aSlaveAddress, std::uint8_t* aBuffer, std::uint32_t aBufferSize,
                       std::uint32_t& aBytesRead, bool aFastMode);
    /// Start, address, the offset, then a stop and a start, or in the combined format a repeated start; address for
    /// reading, the bytes, stop.
    PvResult IndirectBurstRead(std::uint8_t aSlaveAddress, std::uint8_t aOffset, std::uint8_t* aBuffer,
                               std::uint32_t aBufferSize, std::uint32_t& aBytesRead, bool aFastMode,
                               bool aUseCombinedFormat);
    /// Start, address, the bytes, and a stop if wanted. Without one the bus is kept, and the next transfer begins with
    /// a repeated start.
    PvResult MasterTransmitter(std::uint8_t aSlaveAddress, const std::uint8_t* aBuffer, std::uint32_t aBufferSize,
                               bool aFastMode, bool aGenerateStopCondition);
    /// Start, address for reading, the bytes, and a stop if wanted.
    PvResult MasterReceiverAfterFirstByte(std::uint8_t aSlaveAddress, std::uint8_t* aBuffer, std::uint32_t aBufferSize,
                                          std::uint32_t& aBytesRead, bool aFastMode, bool aGenerateStopCondition);

private:
    friend class vex::serial::ReleasedBuses;

    class Impl;

    /// It holds a port, connected or not.
    [[nodiscard]] bool IsClaimed() const;
    /// Its owner has gone: whoever wants the port is told so.
    void NoteRelease();

    std::unique_ptr<Impl> impl_;
};
