// PvSerialPort: an open serial port, whatever wire is behind it.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"

/// A serial port that bytes are written to and read from. Opening belongs to the port's own class.
///
/// The order of the virtual members is part of the binary contract; never reorder.
///
/// Thread safety: one thread may read while another writes and any thread closes. Two threads that read at once share
/// what arrives between them.
class PvSerialPort {
public:
    PvSerialPort(const PvSerialPort&) = delete;
    PvSerialPort& operator=(const PvSerialPort&) = delete;

    /// Closes the port and ends reads and writes that wait. What was received and not read yet is lost. OK for a port
    /// that is not open.
    virtual PvResult Close() = 0;

    /// Writes `aSize` bytes, and `aBytesWritten` tells how many were taken, whatever the result. OK when all were.
    /// Timeout when the line did not take them in time, NotConnected when the port is not open or its line has gone,
    /// Aborted when it was closed meanwhile, InvalidParameter for null with a size.
    virtual PvResult Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten) = 0;

    /// True from opening to closing, but for a line that has gone.
    [[nodiscard]] virtual bool IsOpened() = 0;

    /// Reads up to `aBufferSize` bytes and returns when they are there, after `aTimeout` milliseconds, or when the port
    /// is closed or its line goes; 0 takes what is there and does not wait. `aBytesRead` tells how many bytes there
    /// are. OK when there is at least one or none was wanted. Otherwise Timeout, NotConnected for a port that is not
    /// open or whose line has gone, Aborted when it was closed meanwhile, InvalidParameter for null with a size.
    virtual PvResult Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                          std::uint32_t aTimeout) = 0;

    /// The number of bytes that a read would have without waiting.
    virtual PvResult GetRxBytesReady(std::uint32_t& aBytes) = 0;

    /// Discards what was received and not read yet.
    virtual PvResult FlushRxBuffer() = 0;

    /// The size of the receive buffer in bytes. It may be asked and set before the port is opened.
    virtual PvResult GetRxBufferSize(std::uint32_t& aSize) = 0;

    /// Sets the size of the receive buffer and keeps what it holds, the oldest bytes where not all fit.
    /// InvalidParameter for a size outside its limits, NotEnoughMemory.
    virtual PvResult SetRxBufferSize(std::uint32_t aSize) = 0;

    virtual ~PvSerialPort() = default;

protected:
    PvSerialPort() = default;
};
