#include "sdk/virtualdevice/i2c_registers.h"

#include <chrono>
#include <span>
#include <utility>

namespace vex::virtual_device {

namespace {

constexpr std::uint64_t standard_hertz = 100'000;
constexpr std::uint64_t fast_hertz = 400'000;
/// What a stuck wire needs to be let go: fewer clocks than a master clears the bus with.
constexpr unsigned stuck_clocks = 5;

constexpr auto last_command = static_cast<std::uint32_t>(I2cCommand::receive_from_offset_combined);

I2cStatus status_of(peripherals::I2cOutcome outcome) noexcept
{
    switch (outcome) {
    case peripherals::I2cOutcome::done: return I2cStatus::done;
    case peripherals::I2cOutcome::no_acknowledge: return I2cStatus::no_acknowledge;
    case peripherals::I2cOutcome::arbitration_lost: break;
    }
    return I2cStatus::arbitration_lost;
}

}  // namespace

I2cRegisters::I2cRegisters(RegisterMap& map, std::uint32_t base, peripherals::I2cBus& bus, const net::Clock& clock)
    : map_(map), base_(base), bus_(bus), master_(bus), clock_(clock), random_(faults_.seed)
{
    add_setting(i2c_block::address, 0, 0xFF);
    add_setting(i2c_block::speed, 0, 1);
    add_setting(i2c_block::command, 0, last_command);
    add_setting(i2c_block::offset, 0, 0xFF);
    add_setting(i2c_block::length, 0, static_cast<std::uint32_t>(i2c_block::data_size));
    add_setting(i2c_block::stop, 1, 1);
    add_command(i2c_block::execute, [this] { return is_busy() ? Status::busy : execute(); });
    add_command(i2c_block::reset, [this] {
        master_.clear();
        busy_until_ = {};
        status_ = I2cStatus::idle;
        count_ = 0;
        return Status::success;
    });
    add_fact(i2c_block::status, [this] { return static_cast<std::uint32_t>(is_busy() ? I2cStatus::busy : status_); });
    add_fact(i2c_block::count, [this] { return is_busy() ? 0 : static_cast<std::uint32_t>(count_); });
    Region window;
    window.address = base_ + i2c_block::data;
    window.access = Access::read_write;
    window.bytes.resize(i2c_block::data_size);
    window.accept = [this](std::span<std::uint8_t>) { return is_busy() ? Status::busy : Status::success; };
    map_.add(std::move(window));
}

void I2cRegisters::set_faults(const I2cFaults& faults)
{
    faults_ = faults;
    random_.seed(faults.seed);
}

void I2cRegisters::power_on()
{
    bus_.hold_data(0);
    bus_.power_on();
    master_.forget();
    status_ = I2cStatus::idle;
    count_ = 0;
    busy_until_ = {};
    random_.seed(faults_.seed);
}

void I2cRegisters::add_setting(std::uint32_t offset, std::uint32_t value, std::uint32_t most)
{
    const auto accept = [this, most](std::uint32_t& proposed) {
        if (is_busy()) {
            return Status::busy;
        }
        return proposed <= most ? Status::success : Status::invalid_parameter;
    };
    map_.add_register(base_ + offset, Access::read_write, value, {.refresh = {}, .accept = accept});
}

void I2cRegisters::add_fact(std::uint32_t offset, std::function<std::uint32_t()> value)
{
    map_.add_register(base_ + offset, Access::read_only, 0, {.refresh = std::move(value), .accept = {}});
}

void I2cRegisters::add_command(std::uint32_t offset, std::function<Status()> run)
{
    const auto accept = [run = std::move(run)](std::uint32_t& proposed) {
        if (proposed != 1) {
            return Status::invalid_parameter;
        }
        proposed = 0;
        return run();
    };
    map_.add_register(base_ + offset, Access::write_only, 0, {.refresh = {}, .accept = accept});
}

Status I2cRegisters::execute()
{
    const auto command = static_cast<I2cCommand>(value(i2c_block::command));
    peripherals::I2cTransfer transfer;
    transfer.address = static_cast<std::uint8_t>(value(i2c_block::address));
    transfer.read = command != I2cCommand::transmit && command != I2cCommand::transmit_from_offset;
    transfer.combined = command == I2cCommand::receive_from_offset_combined;
    transfer.stop = value(i2c_block::stop) != 0;
    if (command != I2cCommand::transmit && command != I2cCommand::receive) {
        transfer.offset = static_cast<std::uint8_t>(value(i2c_block::offset));
    }
    const auto data = map_.bytes(base_ + i2c_block::data).first(value(i2c_block::length));

    if (happens(faults_.stuck)) {
        bus_.hold_data(stuck_clocks);
    }
    if (happens(faults_.no_acknowledge)) {
        status_ = I2cStatus::no_acknowledge;
        count_ = 0;
        return Status::success;
    }
    const std::uint64_t before = master_.clocks();
    status_ = status_of(master_.run(transfer, data, count_));
    const std::uint64_t hertz = value(i2c_block::speed) != 0 ? fast_hertz : standard_hertz;
    const auto time = std::chrono::microseconds((master_.clocks() - before) * 1'000'000 / hertz);
    busy_until_ = clock_.now() + time;
    return Status::success;
}

}  // namespace vex::virtual_device
