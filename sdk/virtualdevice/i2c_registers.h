// The registers of a camera's I2C master.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>

#include "sdk/net/clock.h"
#include "sdk/peripherals/i2c_master.h"
#include "sdk/virtualdevice/register_map.h"

namespace vex::virtual_device {

/// Offsets in a master's block of i2c_block::size bytes; docs/serial.md says what each is. Only the description of a
/// device tells applications where they are.
namespace i2c_block {
inline constexpr std::uint32_t address = 0x000;
inline constexpr std::uint32_t speed = 0x004;
inline constexpr std::uint32_t command = 0x008;
inline constexpr std::uint32_t offset = 0x00C;
inline constexpr std::uint32_t length = 0x010;
inline constexpr std::uint32_t stop = 0x014;
inline constexpr std::uint32_t execute = 0x018;
inline constexpr std::uint32_t status = 0x01C;
inline constexpr std::uint32_t count = 0x020;
inline constexpr std::uint32_t reset = 0x024;
inline constexpr std::uint32_t data = 0x400;
inline constexpr std::uint32_t size = 0x1000;

inline constexpr std::size_t data_size = 1024;  ///< the longest transfer, bytes
}  // namespace i2c_block

enum class I2cCommand : std::uint32_t {
    transmit,
    receive,
    transmit_from_offset,
    receive_from_offset,
    receive_from_offset_combined,
};
enum class I2cStatus : std::uint32_t { idle, busy, done, no_acknowledge, arbitration_lost };

/// What goes wrong on the bus, of 1000 transfers.
struct I2cFaults {
    unsigned no_acknowledge = 0;  ///< end as if the slave were not there
    unsigned stuck = 0;           ///< begin with a data wire that is held low until the master clears the bus
    std::uint64_t seed = 1;
};

/// Puts a master into a register map. A transfer takes the time that its clocks take at 100 or 400 kHz; the registers
/// refuse writes meanwhile.
///
/// Thread safety: everything happens with the lock of the map's owner held.
class I2cRegisters {
public:
    /// Adds the registers from `base` on. The references outlive the object, and the object the map's last use.
    I2cRegisters(RegisterMap& map, std::uint32_t base, peripherals::I2cBus& bus, const net::Clock& clock);
    I2cRegisters(const I2cRegisters&) = delete;
    I2cRegisters& operator=(const I2cRegisters&) = delete;

    void set_faults(const I2cFaults& faults);
    void power_on();

private:
    void add_setting(std::uint32_t offset, std::uint32_t value, std::uint32_t most);
    void add_fact(std::uint32_t offset, std::function<std::uint32_t()> value);
    void add_command(std::uint32_t offset, std::function<Status()> run);
    [[nodiscard]] bool is_busy() const { return clock_.now() < busy_until_; }
    [[nodiscard]] std::uint32_t value(std::uint32_t offset) const { return map_.value(base_ + offset); }
    [[nodiscard]] Status execute();
    [[nodiscard]] bool happens(unsigned rate) { return rate != 0 && random_() % 1000 < rate; }

    RegisterMap& map_;
    const std::uint32_t base_;
    peripherals::I2cBus& bus_;
    peripherals::I2cMaster master_;
    const net::Clock& clock_;
    I2cFaults faults_;
    std::mt19937_64 random_;
    I2cStatus status_ = I2cStatus::idle;
    std::size_t count_ = 0;
    net::Clock::time_point busy_until_{};
};

}  // namespace vex::virtual_device
