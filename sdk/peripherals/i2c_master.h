// The master of an I2C bus.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/peripherals/i2c_bus.h"

namespace vex::peripherals {

enum class I2cOutcome { done, no_acknowledge, arbitration_lost };

/// One transfer with one slave.
struct I2cTransfer {
    std::uint8_t address = 0;  ///< as on the wire: the 7-bit address in the upper seven bits; the lowest is ignored
    std::optional<std::uint8_t> offset{};  ///< sent to the slave before the data
    bool read = false;
    bool combined = false;  ///< between a read's offset and its data stands a repeated start, not a stop and a start
    bool stop = true;  ///< after the last byte; otherwise the master keeps the bus, and a repeated start comes next
};

/// Drives the wires. A slave that does not acknowledge ends the transfer with a stop. A data wire that is low where the
/// master lets it go is somebody else's: the transfer ends at once, without a stop.
///
/// Of what is read, every byte but the last is acknowledged.
///
/// Thread safety: none of its own; whoever owns the bus serialises.
class I2cMaster {
public:
    explicit I2cMaster(I2cBus& bus) : bus_(bus) {}

    /// Sends or fills `data`; `count` tells how many of its bytes the slave has acknowledged or sent.
    [[nodiscard]] I2cOutcome run(const I2cTransfer& transfer, std::span<std::uint8_t> data, std::size_t& count);
    /// Nine clocks and a stop: a slave that was interrupted while it sent lets go of the data wire.
    void clear();
    /// As after power-on, when the bus is free.
    void forget() noexcept { holds_bus_ = false; }

    /// The periods of the clock that there were.
    [[nodiscard]] std::uint64_t clocks() const noexcept { return clocks_; }

private:
    [[nodiscard]] I2cOutcome transmit(const I2cTransfer& transfer, std::span<const std::uint8_t> data,
                                      std::size_t& count);
    [[nodiscard]] I2cOutcome receive(const I2cTransfer& transfer, std::span<std::uint8_t> data, std::size_t& count);
    [[nodiscard]] I2cOutcome send_address(std::uint8_t address_byte);
    [[nodiscard]] I2cOutcome send_byte(std::uint8_t byte);
    [[nodiscard]] std::uint8_t receive_byte(bool acknowledge);
    [[nodiscard]] bool start();
    void stop();
    /// One clock; the data wire's level while it was high.
    bool clock_bit(bool high);

    I2cBus& bus_;
    bool holds_bus_ = false;
    std::uint64_t clocks_ = 0;
};

}  // namespace vex::peripherals
