// An I2C bus on the level of its two wires.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace vex::peripherals {

/// What a slave does with whole bytes; I2cBus makes them of the wires.
///
/// Thread safety: none of its own; whoever owns the bus serialises.
class I2cSlave {
public:
    virtual ~I2cSlave() = default;
    /// The address byte as it was on the wire, the direction in its lowest bit (1: read). True acknowledges, and what
    /// follows is for this slave.
    virtual bool select(std::uint8_t address_byte) = 0;
    /// A byte from the master; true acknowledges it.
    virtual bool write(std::uint8_t byte) = 0;
    /// The next byte to the master.
    virtual std::uint8_t read() = 0;
    /// A repeated start: what was going on ends and begins anew.
    virtual void restart() {}
    virtual void stop() {}
    virtual void power_on() {}
};

/// Two wires that anyone can pull low: they are high only when nobody does. The master is the only one that drives the
/// clock.
///
/// A start is the data wire falling while the clock is high, a stop the data wire rising then. Bits are valid while the
/// clock is high, the most significant first; after eight the receiver pulls the data wire low for an acknowledge.
///
/// Thread safety: none of its own; whoever owns it serialises.
class I2cBus {
public:
    I2cBus();
    I2cBus(const I2cBus&) = delete;
    I2cBus& operator=(const I2cBus&) = delete;
    ~I2cBus();

    void attach(std::unique_ptr<I2cSlave> slave);
    /// Called with the wires' new state whenever one of them has changed.
    void observe(std::function<void(bool data, bool clock)> observer) { observer_ = std::move(observer); }
    /// Slaves as after power-on, wires released; what holds the bus goes on holding it.
    void power_on();

    // The master's ends of the wires: true releases, false pulls low.
    void drive_data(bool high);
    void drive_clock(bool high);
    [[nodiscard]] bool data() const noexcept { return data_; }
    [[nodiscard]] bool clock() const noexcept { return clock_; }

    /// A fault: something pulls the data wire low and lets go after that many rising clocks; 0: lets go now.
    void hold_data(unsigned clocks);

private:
    class Receiver;

    void settle();
    void on_data_changed();
    void on_clock_changed();

    std::vector<std::unique_ptr<Receiver>> slaves_;
    std::function<void(bool, bool)> observer_;
    bool master_data_ = true;
    bool data_ = true;
    bool clock_ = true;
    unsigned held_clocks_ = 0;
};

}  // namespace vex::peripherals
