#include "sdk/peripherals/i2c_master.h"

namespace vex::peripherals {

namespace {
constexpr std::uint8_t read_bit = 1;
}

I2cOutcome I2cMaster::run(const I2cTransfer& transfer, std::span<std::uint8_t> data, std::size_t& count)
{
    count = 0;
    const I2cOutcome outcome = transfer.read ? receive(transfer, data, count) : transmit(transfer, data, count);
    switch (outcome) {
    case I2cOutcome::done:
        if (transfer.stop) {
            stop();
        }
        break;
    case I2cOutcome::no_acknowledge: stop(); break;
    case I2cOutcome::arbitration_lost:
        bus_.drive_data(true);
        bus_.drive_clock(true);
        holds_bus_ = false;
        break;
    }
    return outcome;
}

I2cOutcome I2cMaster::transmit(const I2cTransfer& transfer, std::span<const std::uint8_t> data, std::size_t& count)
{
    I2cOutcome outcome = send_address(static_cast<std::uint8_t>(transfer.address & ~read_bit));
    if (outcome == I2cOutcome::done && transfer.offset) {
        outcome = send_byte(*transfer.offset);
    }
    for (const std::uint8_t byte : data) {
        if (outcome != I2cOutcome::done) {
            break;
        }
        outcome = send_byte(byte);
        count += outcome == I2cOutcome::done ? 1 : 0;
    }
    return outcome;
}

I2cOutcome I2cMaster::receive(const I2cTransfer& transfer, std::span<std::uint8_t> data, std::size_t& count)
{
    if (transfer.offset) {
        std::size_t none = 0;
        if (const I2cOutcome outcome = transmit(transfer, {}, none); outcome != I2cOutcome::done) {
            return outcome;
        }
        if (!transfer.combined) {
            stop();
        }
    }
    if (const I2cOutcome outcome = send_address(static_cast<std::uint8_t>(transfer.address | read_bit));
        outcome != I2cOutcome::done) {
        return outcome;
    }
    if (data.empty()) {
        // the slave drives the data wire by now: one byte that nobody wants frees it
        (void)receive_byte(false);
    }
    for (; count < data.size(); ++count) {
        data[count] = receive_byte(count + 1 < data.size());
    }
    return I2cOutcome::done;
}

I2cOutcome I2cMaster::send_address(std::uint8_t address_byte)
{
    return start() ? send_byte(address_byte) : I2cOutcome::arbitration_lost;
}

I2cOutcome I2cMaster::send_byte(std::uint8_t byte)
{
    for (int bit = 7; bit >= 0; --bit) {
        const bool high = ((byte >> bit) & 1) != 0;
        if (clock_bit(high) != high) {
            return I2cOutcome::arbitration_lost;
        }
    }
    return clock_bit(true) ? I2cOutcome::no_acknowledge : I2cOutcome::done;
}

std::uint8_t I2cMaster::receive_byte(bool acknowledge)
{
    unsigned byte = 0;
    for (int bit = 0; bit < 8; ++bit) {
        byte = (byte << 1) | (clock_bit(true) ? 1U : 0U);
    }
    (void)clock_bit(!acknowledge);
    return static_cast<std::uint8_t>(byte);
}

bool I2cMaster::clock_bit(bool high)
{
    bus_.drive_data(high);
    bus_.drive_clock(true);
    const bool level = bus_.data();
    bus_.drive_clock(false);
    ++clocks_;
    return level;
}

bool I2cMaster::start()
{
    // with the clock low after a transfer without a stop this makes it a repeated start
    bus_.drive_data(true);
    bus_.drive_clock(true);
    ++clocks_;
    if (!bus_.data()) {
        return false;
    }
    bus_.drive_data(false);
    bus_.drive_clock(false);
    holds_bus_ = true;
    return true;
}

void I2cMaster::stop()
{
    if (!holds_bus_) {
        return;
    }
    bus_.drive_data(false);
    bus_.drive_clock(true);
    bus_.drive_data(true);
    ++clocks_;
    holds_bus_ = false;
}

void I2cMaster::clear()
{
    bus_.drive_clock(false);
    for (int n = 0; n < 9; ++n) {
        (void)clock_bit(true);
    }
    holds_bus_ = true;
    stop();
}

}  // namespace vex::peripherals
