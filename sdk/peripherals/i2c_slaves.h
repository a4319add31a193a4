// Slaves of an I2C bus: a memory and a sensor.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/peripherals/i2c_bus.h"

namespace vex::peripherals {

/// An EEPROM of 256 bytes in pages of 8, as the 24C02 is. The first byte written to it is where reading or writing
/// goes on. What is written is taken in by the stop, within the page: behind its end it goes on at its beginning. From
/// then on the memory acknowledges nothing until it has been stored. Reading goes on at the beginning behind the end. A
/// repeated start instead of the stop drops what was written.
class Eeprom final : public I2cSlave {
public:
    static constexpr std::size_t size = 256;
    static constexpr std::size_t page_size = 8;

    /// `address` as on the wire, the lowest bit 0. `clock` outlives the object. It holds 0xFF everywhere.
    Eeprom(std::uint8_t address, std::chrono::milliseconds write_time, const net::Clock& clock);

    bool select(std::uint8_t address_byte) override;
    bool write(std::uint8_t byte) override;
    std::uint8_t read() override;
    void restart() override { drop(); }
    void stop() override;
    void power_on() override;

private:
    void drop();

    const std::uint8_t address_;
    const std::chrono::milliseconds write_time_;
    const net::Clock& clock_;
    std::array<std::uint8_t, size> bytes_;
    std::uint8_t at_ = 0;
    bool selected_ = false;
    bool has_offset_ = false;
    std::vector<std::uint8_t> written_;  ///< of this write
    net::Clock::time_point busy_until_{};
};

/// A sensor with four registers of 16 bits at the offsets 0 to 3, the upper byte first: a temperature in 1/256 of a
/// degree, which is only read, a configuration and two limits. Reading goes on with the next register, and after the
/// last with the first. An offset that there is not is not acknowledged, neither is a write to the temperature.
class Sensor final : public I2cSlave {
public:
    static constexpr std::size_t registers = 4;

    /// `address` as on the wire, the lowest bit 0.
    explicit Sensor(std::uint8_t address);

    bool select(std::uint8_t address_byte) override;
    bool write(std::uint8_t byte) override;
    std::uint8_t read() override;
    void power_on() override;

private:
    const std::uint8_t address_;
    std::array<std::uint16_t, registers> values_{};
    std::size_t at_ = 0;
    bool has_offset_ = false;
    bool lower_ = false;  ///< the lower byte comes next
    std::uint8_t upper_ = 0;
};

}  // namespace vex::peripherals
