#include "sdk/peripherals/i2c_slaves.h"

namespace vex::peripherals {

namespace {

constexpr std::array<std::uint16_t, Sensor::registers> sensor_values = {0x2680, 0x0000, 0x4B00, 0x5000};

bool is_address(std::uint8_t byte, std::uint8_t address) noexcept { return (byte & 0xFE) == address; }

}  // namespace

// ---- EEPROM ----

Eeprom::Eeprom(std::uint8_t address, std::chrono::milliseconds write_time, const net::Clock& clock)
    : address_(address), write_time_(write_time), clock_(clock)
{
    bytes_.fill(0xFF);
}

bool Eeprom::select(std::uint8_t address_byte)
{
    selected_ = is_address(address_byte, address_) && clock_.now() >= busy_until_;
    has_offset_ = false;
    return selected_;
}

bool Eeprom::write(std::uint8_t byte)
{
    if (!has_offset_) {
        has_offset_ = true;
        at_ = byte;
        return true;
    }
    written_.push_back(byte);
    return true;
}

std::uint8_t Eeprom::read() { return bytes_[at_++]; }

void Eeprom::drop()
{
    written_.clear();
    selected_ = false;
}

void Eeprom::stop()
{
    if (selected_ && !written_.empty()) {
        const std::size_t page = at_ / page_size * page_size;
        for (const std::uint8_t byte : written_) {
            bytes_[at_] = byte;
            at_ = static_cast<std::uint8_t>(page + (at_ + 1) % page_size);
        }
        busy_until_ = clock_.now() + write_time_;
    }
    drop();
}

void Eeprom::power_on()
{
    drop();
    at_ = 0;
    busy_until_ = {};
}

// ---- sensor ----

Sensor::Sensor(std::uint8_t address) : address_(address), values_(sensor_values) {}

bool Sensor::select(std::uint8_t address_byte)
{
    has_offset_ = false;
    lower_ = false;
    return is_address(address_byte, address_);
}

bool Sensor::write(std::uint8_t byte)
{
    if (!has_offset_) {
        if (byte >= registers) {
            return false;
        }
        has_offset_ = true;
        at_ = byte;
        return true;
    }
    if (at_ == 0) {
        return false;
    }
    if (!lower_) {
        upper_ = byte;
    } else {
        values_[at_] = static_cast<std::uint16_t>((upper_ << 8) | byte);
        at_ = at_ + 1 < registers ? at_ + 1 : 1;
    }
    lower_ = !lower_;
    return true;
}

std::uint8_t Sensor::read()
{
    const std::uint16_t value = values_[at_];
    if (lower_) {
        at_ = (at_ + 1) % registers;
    }
    lower_ = !lower_;
    return static_cast<std::uint8_t>(lower_ ? value >> 8 : value & 0xFF);
}

void Sensor::power_on()
{
    values_ = sensor_values;
    at_ = 0;
}

}  // namespace vex::peripherals
