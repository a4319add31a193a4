#include "sdk/peripherals/i2c_bus.h"

namespace vex::peripherals {

namespace {
constexpr int bits_of_byte = 8;
}

/// One slave's end of the wires: makes bytes of them and drives the data wire for it.
class I2cBus::Receiver {
public:
    explicit Receiver(std::unique_ptr<I2cSlave> slave) : slave_(std::move(slave)) {}

    [[nodiscard]] bool releases_data() const noexcept { return high_; }

    void power_on()
    {
        phase_ = Phase::idle;
        high_ = true;
        slave_->power_on();
    }

    void on_start()
    {
        if (phase_ != Phase::idle) {
            slave_->restart();
        }
        begin_byte(Phase::address);
    }

    void on_stop()
    {
        if (phase_ != Phase::idle) {
            slave_->stop();
        }
        phase_ = Phase::idle;
        high_ = true;
    }

    void on_clock_rises(bool data)
    {
        if (phase_ == Phase::address || phase_ == Phase::receiving) {
            if (bits_ < bits_of_byte) {
                byte_ = static_cast<std::uint8_t>((byte_ << 1) | (data ? 1 : 0));
            }
            ++bits_;
        } else if (phase_ == Phase::sending) {
            ++bits_;
            wanted_more_ = !data;  // of the ninth clock: the master's acknowledge
        }
    }

    void on_clock_falls()
    {
        switch (phase_) {
        case Phase::idle:
        case Phase::deaf: return;
        case Phase::address:
        case Phase::receiving: on_received_bit(); return;
        case Phase::sending: on_sent_bit(); return;
        }
    }

private:
    /// deaf: addressed to somebody else, or not acknowledged; waits for the next start or stop.
    enum class Phase { idle, address, receiving, sending, deaf };

    void begin_byte(Phase phase)
    {
        phase_ = phase;
        bits_ = 0;
        byte_ = 0;
        high_ = true;
    }

    void on_received_bit()
    {
        if (bits_ == bits_of_byte) {
            const bool taken = phase_ == Phase::address ? slave_->select(byte_) : slave_->write(byte_);
            if (!taken) {
                phase_ = phase_ == Phase::address ? Phase::idle : Phase::deaf;
            }
            high_ = !taken;  // the acknowledge, until the ninth clock has fallen
        } else if (bits_ > bits_of_byte) {
            if (phase_ == Phase::address && (byte_ & 1) != 0) {
                begin_sending();
            } else {
                begin_byte(Phase::receiving);
            }
        }
    }

    void on_sent_bit()
    {
        if (bits_ < bits_of_byte) {
            drive_bit();
        } else if (bits_ == bits_of_byte) {
            high_ = true;  // the ninth bit is the master's
        } else if (wanted_more_) {
            begin_sending();
        } else {
            phase_ = Phase::deaf;
        }
    }

    void begin_sending()
    {
        begin_byte(Phase::sending);
        byte_ = slave_->read();
        drive_bit();
    }

    void drive_bit() { high_ = ((byte_ >> (bits_of_byte - 1 - bits_)) & 1) != 0; }

    const std::unique_ptr<I2cSlave> slave_;
    Phase phase_ = Phase::idle;
    int bits_ = 0;  ///< clocks of this byte that have risen
    std::uint8_t byte_ = 0;
    bool wanted_more_ = false;
    bool high_ = true;
};

I2cBus::I2cBus() = default;
I2cBus::~I2cBus() = default;

void I2cBus::attach(std::unique_ptr<I2cSlave> slave)
{
    slaves_.push_back(std::make_unique<Receiver>(std::move(slave)));
}

void I2cBus::power_on()
{
    for (const auto& slave : slaves_) {
        slave->power_on();
    }
    master_data_ = true;
    clock_ = true;
    settle();
}

void I2cBus::drive_data(bool high)
{
    master_data_ = high;
    settle();
}

void I2cBus::drive_clock(bool high)
{
    if (clock_ == high) {
        return;
    }
    clock_ = high;
    if (observer_) {
        observer_(data_, clock_);
    }
    on_clock_changed();
}

void I2cBus::on_clock_changed()
{
    if (clock_ && held_clocks_ != 0 && --held_clocks_ == 0) {
        settle();
    }
    for (const auto& slave : slaves_) {
        if (clock_) {
            slave->on_clock_rises(data_);
        } else {
            slave->on_clock_falls();
        }
    }
    settle();
}

void I2cBus::settle()
{
    bool high = master_data_ && held_clocks_ == 0;
    for (const auto& slave : slaves_) {
        high = high && slave->releases_data();
    }
    if (high == data_) {
        return;
    }
    data_ = high;
    if (observer_) {
        observer_(data_, clock_);
    }
    on_data_changed();
}

void I2cBus::on_data_changed()
{
    if (!clock_) {
        return;
    }
    for (const auto& slave : slaves_) {
        if (data_) {
            slave->on_stop();
        } else {
            slave->on_start();
        }
    }
}

void I2cBus::hold_data(unsigned clocks)
{
    held_clocks_ = clocks;
    settle();
}

}  // namespace vex::peripherals
