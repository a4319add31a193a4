// The port: where registers are read and written. A device, a chunk of a buffer or a piece of software stands behind
// it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "sdk/genapi/errors.h"

namespace GenApi {

/// A transfer failed. The code passes unchanged to whoever asked for the value; the text names address and cause.
class PortError : public Error {
public:
    using Error::Error;
};

/// A part of a port's memory, and where its bytes are wanted.
struct PortRead {
    std::int64_t address = 0;
    std::span<std::uint8_t> out;
};

/// Memory of a device, addressed in bytes.
///
/// Thread safety: the node map calls a port from one thread at a time, with its lock held. A port must therefore not
/// call back into the node map it serves; the one exception is INodeMap::changed.
class IPort {
public:
    virtual ~IPort() = default;

    /// Fills `out` from `address`. Splits and pads accesses as the transport needs; throws PortError.
    virtual void read(std::int64_t address, std::span<std::uint8_t> out) = 0;
    /// How many aligned words of four bytes one message can ask for; 1 when the transport has no such message.
    [[nodiscard]] virtual std::size_t words_at_once() const noexcept { return 1; }
    /// Reads that many aligned words, wherever they stand, with one message. False when the device refused one of them;
    /// nothing is said of the others then. Throws PortError when the device cannot be asked.
    virtual bool read_words([[maybe_unused]] std::span<const PortRead> words) { return false; }
    /// Writes `data` at `address`; throws PortError.
    virtual void write(std::int64_t address, std::span<const std::uint8_t> data) = 0;
    /// Whether transfers can be made at present. While a port is closed only cached values can be read.
    [[nodiscard]] virtual bool is_open() const noexcept = 0;

protected:
    IPort() = default;
    IPort(const IPort&) = default;
    IPort& operator=(const IPort&) = default;
};

}  // namespace GenApi
