#include "tools/softcam/side_channels.h"

#include <chrono>
#include <memory>
#include <utility>

#include "sdk/peripherals/i2c_slaves.h"
#include "tools/softcam/registers.h"

using namespace vex;

namespace softcam {

using peripherals::Loopback;
using peripherals::Uart;
using virtual_device::UartRegisters;

namespace {

constexpr std::uint8_t eeprom_address = 0xA0;
constexpr std::uint8_t sensor_address = 0x90;
constexpr std::chrono::milliseconds eeprom_write_time{5};

/// Bytes of the transmit FIFOs of ports that take no time.
constexpr std::size_t transmit_size = 65'536;

// ports by their numbers: the two serial ones come first, then the bulk ones
constexpr std::uint32_t serial0 = 0;
constexpr std::uint32_t serial1 = 1;
constexpr std::uint32_t bulk0 = 2;

}  // namespace

SideChannels::SideChannels(virtual_device::RegisterMap& map, std::unique_ptr<peripherals::SerialDevice> on_serial0,
                           std::unique_ptr<peripherals::SerialDevice> on_serial1, Announce announce,
                           const net::Clock& clock)
    : uarts_{{Uart({.transmit_size = transmit_size}, std::move(on_serial0), clock),
              Uart({.transmit_size = transmit_size}, std::move(on_serial1), clock),
              Uart({.real_rate = true, .flow_control = false}, std::make_unique<Loopback>(), clock)}},
      uart_registers_{
          {UartRegisters(map, reg::serial0, uarts_[0], [announce](std::uint32_t count) { announce(serial0, count); }),
           UartRegisters(map, reg::serial1, uarts_[1], [announce](std::uint32_t count) { announce(serial1, count); }),
           UartRegisters(map, reg::bulk0, uarts_[2], [announce](std::uint32_t count) { announce(bulk0, count); })}},
      i2c_registers_(map, reg::bulk1, bus_, clock)
{
    bus_.attach(std::make_unique<peripherals::Eeprom>(eeprom_address, eeprom_write_time, clock));
    bus_.attach(std::make_unique<peripherals::Sensor>(sensor_address));
}

void SideChannels::set_faults(const SideChannelFaults& faults)
{
    peripherals::UartFaults each = faults.uart;
    for (Uart& uart : uarts_) {
        uart.set_faults(each);
        ++each.seed;
    }
    i2c_registers_.set_faults(faults.i2c);
}

void SideChannels::power_on()
{
    for (UartRegisters& registers : uart_registers_) {
        registers.power_on();
    }
    i2c_registers_.power_on();
}

std::optional<net::Clock::time_point> SideChannels::update()
{
    std::optional<net::Clock::time_point> soonest;
    for (UartRegisters& registers : uart_registers_) {
        if (const auto next = registers.update(); next && (!soonest || *next < *soonest)) {
            soonest = next;
        }
    }
    return soonest;
}

}  // namespace softcam
