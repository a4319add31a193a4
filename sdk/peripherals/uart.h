// A UART of a camera: two FIFOs, a line, and what hangs on its far end.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/peripherals/serial_device.h"

namespace vex::peripherals {

/// How characters are sent.
struct UartSettings {
    std::uint32_t baud_rate = 9600;
    std::uint32_t parity = 0;  ///< 0 none, 1 even, 2 odd
    std::uint32_t byte_size = 8;
    std::uint32_t stop_bits = 1;

    /// How long one character takes, with its start bit.
    [[nodiscard]] std::chrono::nanoseconds character_time() const noexcept;
};

/// What goes wrong with received characters, of 1000.
struct UartFaults {
    unsigned lost = 0;      ///< never arrive
    unsigned overruns = 0;  ///< arrive when the FIFO cannot take them, and are counted
    std::uint64_t seed = 1;
};

/// What a UART is built like.
struct UartModel {
    std::size_t receive_size = 4096;   ///< of the FIFO, bytes
    std::size_t transmit_size = 1024;  ///< of the FIFO, bytes
    bool real_rate = false;            ///< characters take the time that they take on a line; otherwise none
    /// The far end waits while the receive FIFO is full; otherwise what finds no room is lost and counted.
    bool flow_control = true;
};

/// Time goes by in update(), which the other members call themselves where it matters.
///
/// Thread safety: none of its own; whoever owns it serialises.
class Uart {
public:
    /// `clock` outlives the object.
    Uart(const UartModel& model, std::unique_ptr<SerialDevice> far_end, const net::Clock& clock);

    void configure(const UartSettings& settings) { settings_ = settings; }
    void set_faults(const UartFaults& faults);
    /// Both FIFOs and the line are empty, and nothing was counted.
    void power_on();

    /// Moves what the time has moved.
    void update();
    /// When update() has something to do next; empty when nothing is under way.
    [[nodiscard]] std::optional<net::Clock::time_point> next() const;

    [[nodiscard]] std::size_t room() const noexcept { return model_.transmit_size - outgoing_.size(); }
    /// Takes as many as there is room for; the number taken.
    std::size_t transmit(std::span<const std::uint8_t> bytes);
    void flush_transmit() { outgoing_.clear(); }

    [[nodiscard]] std::size_t held() const noexcept { return received_.size(); }
    /// Copies the oldest bytes and leaves them; the number copied.
    std::size_t peek(std::span<std::uint8_t> out) const;
    /// The number of bytes that were taken out so far, modulo 2^32: the oldest one that is held has this position.
    [[nodiscard]] std::uint32_t position() const noexcept { return position_; }
    /// Takes out what stands before `position`. False, and nothing happens, for one beyond what is held.
    bool take_until(std::uint32_t position);
    /// Discards what is held, and what only flow control held back.
    void flush_receive();
    /// Received characters that had no room, modulo 2^32.
    [[nodiscard]] std::uint32_t overruns() const noexcept { return overruns_; }

private:
    [[nodiscard]] bool leaves(net::Clock::time_point now) const;
    [[nodiscard]] bool arrives(net::Clock::time_point now) const;
    [[nodiscard]] std::chrono::nanoseconds character_time() const noexcept;
    /// Without a rate: all that can move does.
    void move_at_once();
    std::size_t arrive_at_once();
    std::size_t leave_at_once();
    void leave();
    void arrive();
    /// Puts what the far end has said on the line.
    void hear();
    [[nodiscard]] bool happens(unsigned rate) { return rate != 0 && random_() % 1000 < rate; }

    const UartModel model_;
    const std::unique_ptr<SerialDevice> far_end_;
    const net::Clock& clock_;
    UartSettings settings_;
    UartFaults faults_;
    std::mt19937_64 random_;

    std::vector<std::uint8_t> left_;  ///< just now
    std::vector<std::uint8_t> said_;  ///< by the far end to that
    std::deque<std::uint8_t> outgoing_;
    std::deque<std::uint8_t> incoming_;  ///< what the far end sends and has not arrived
    std::deque<std::uint8_t> received_;
    net::Clock::time_point leaves_at_{};   ///< when the oldest outgoing character is out
    net::Clock::time_point arrives_at_{};  ///< when the oldest incoming character is in
    std::uint32_t position_ = 0;
    std::uint32_t overruns_ = 0;
};

}  // namespace vex::peripherals
