// One opening of a serial port of a device: from Open to Close.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "sdk/base/address.h"
#include "sdk/control/worker.h"
#include "sdk/device/access.h"
#include "sdk/serial/port_claim.h"
#include "sdk/serial/uart_link.h"
#include "sdk/serial_port/receive_buffer.h"

namespace vex::serial {

/// Shared by the calls under way on a port and by its thread.
///
/// Thread safety: all members may be called from any thread.
class EnginePort : public std::enable_shared_from_this<EnginePort> {
public:
    /// Opens; `opened` is set on success only. What is received goes to `received`, which was opened.
    [[nodiscard]] static PvResult open(const PvDevice& device, PvIPEngineSerial port,
                                       std::shared_ptr<serial_port::ReceiveBuffer> received,
                                       std::shared_ptr<EnginePort>& opened);

    EnginePort(const PvDevice& device, std::string port_name, std::shared_ptr<serial_port::ReceiveBuffer> received);
    EnginePort(const EnginePort&) = delete;
    EnginePort& operator=(const EnginePort&) = delete;

    /// Ends the thread and calls under way, and gives the port back.
    void close() noexcept;
    /// The device is connected, and the port can be used.
    [[nodiscard]] bool is_up() const;
    /// One at a time.
    [[nodiscard]] PvResult write(std::span<const std::uint8_t> bytes, std::uint32_t& written);
    [[nodiscard]] PvResult flush_receive();
    /// The buffer has room again.
    void on_read();

    /// "Serial0 of 192.168.0.1".
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    [[nodiscard]] std::uint32_t overruns() const noexcept { return link_.overruns(); }

private:
    class Waker;

    [[nodiscard]] PvResult begin(PvIPEngineSerial port);
    /// Makes the port work over a connection of the device. `again`: not for the first time.
    [[nodiscard]] PvResult attach(const std::shared_ptr<control::Connection>& connection, bool again);
    void listen(PvGenParameter* announcement);
    void run(control::Worker::Signals& signals);
    /// One look at the device; the time until the next.
    [[nodiscard]] std::chrono::milliseconds look();
    /// True when there is a connection to use.
    [[nodiscard]] bool follow_connection();
    void wake();
    [[nodiscard]] std::shared_ptr<UartFeatures> features() const;
    [[nodiscard]] PvResult not_connected() const;
    [[nodiscard]] PvResult closed() const;
    /// Waits for the device to have room; false when the port was closed.
    [[nodiscard]] bool wait_for_room(std::chrono::milliseconds time);

    const device::SharedDevice device_;
    const std::string port_name_;
    std::string name_;
    const std::shared_ptr<serial_port::ReceiveBuffer> received_;
    PortClaim claim_;
    UartLink link_;
    std::atomic<bool> up_{false};
    std::atomic<bool> full_{false};  ///< bytes were left with the device, because the buffer had no room

    // of the opening thread, then of the port's own
    MacAddress mac_;
    std::string serial_number_;
    bool tells_ = false;  ///< the device announces what it receives

    mutable std::mutex mutex_;  ///< for what follows
    std::condition_variable closed_now_;
    bool closing_ = false;
    std::weak_ptr<control::Connection> connection_;  ///< written by the port's thread only
    std::shared_ptr<UartFeatures> features_;
    std::shared_ptr<control::Worker> worker_;
    std::shared_ptr<Waker> waker_;
    PvGenParameter* announcement_ = nullptr;
};

}  // namespace vex::serial
