// Carries bytes between the two sides of a bridge.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <thread>

#include "sdk/bridge/host_side.h"
#include "sdk/serial_port/PvSerialPort.h"

namespace vex::bridge {

/// Bytes carried. They outlive pumps.
struct Counters {
    std::atomic<std::uint64_t> received_from_device{0};
    std::atomic<std::uint64_t> sent_to_device{0};
    std::atomic<std::uint64_t> dropped{0};  ///< received from the device, and nobody there to take them
};

/// A thread for each direction. Neither takes more than it can hand on: a side that takes nothing holds the other.
///
/// What the device sends while nobody is there on the computer's side is dropped and counted; what was sent to one
/// program never comes to the next. What a program sends goes to the device even when the program has gone, and when
/// the device has to come back first.
///
/// Thread safety: start and stop from one thread at a time.
class Pump {
public:
    /// Between two tries with a device or a line that is away.
    static constexpr std::chrono::milliseconds retry_interval{50};

    /// `port`, `host` and `counters` outlive the pump. `returned` is called on a thread of the pump's when the device
    /// was away and is back.
    Pump(PvSerialPort& port, HostSide& host, Counters& counters, std::function<void()> returned);
    Pump(const Pump&) = delete;
    Pump& operator=(const Pump&) = delete;
    ~Pump() { stop(); }

    /// Throws std::system_error when there can be no thread.
    void start();
    /// Closes both sides and waits for the threads.
    void stop() noexcept;

private:
    void carry_to_device();
    void carry_to_host();
    /// What one program sends, until it has gone.
    void serve();
    /// Writes all to the device; false when the pump is stopped first.
    bool send(std::span<const std::uint8_t> bytes);
    void leave();
    /// What the device has sent, at least a byte unless nothing came for a while, and during which visit.
    std::span<const std::uint8_t> receive(std::span<std::uint8_t> buffer, std::uint64_t& visit);
    void deliver(std::span<const std::uint8_t> bytes, std::uint64_t visit);
    /// False when the pump is stopped meanwhile.
    bool pause();

    PvSerialPort& port_;
    HostSide& host_;
    Counters& counters_;
    const std::function<void()> returned_;

    std::mutex delivery_mutex_;            ///< held while bytes of the device are handed to the host
    bool attached_ = false;                ///< under it: somebody is there
    bool cut_ = false;                     ///< under it: who was there has gone before all was handed over
    std::atomic<std::uint64_t> visit_{0};  ///< changed under it, when somebody has gone
    bool away_ = false;                    ///< the receiving thread's: the device is

    std::mutex mutex_;
    std::condition_variable stopped_;
    std::atomic<bool> stopping_{false};  ///< changed under mutex_
    std::thread to_device_;
    std::thread to_host_;
};

}  // namespace vex::bridge
