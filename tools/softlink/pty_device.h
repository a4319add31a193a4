// A simulated camera at the end of a pseudo terminal, whose other end programs open as a serial port.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "tools/softlink/gencp_device.h"
#include "tools/softlink/line_faults.h"

namespace softlink {

/// Serves the device from construction to destruction, on a thread of its own. The rate that a program sets is not
/// looked at: a pseudo terminal carries bytes at any.
class PtyDevice {
public:
    /// Throws std::system_error when the system gives no pseudo terminal.
    PtyDevice(const DeviceOptions& options, const FaultRates& rates, std::string_view xml = {});
    PtyDevice(const PtyDevice&) = delete;
    PtyDevice& operator=(const PtyDevice&) = delete;
    ~PtyDevice();

    /// What the line is opened by: /dev/pts/3.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    /// From now on commands are taken and nothing is answered, or no longer so.
    void be_silent(bool silent) noexcept { silent_ = silent; }

private:
    void serve();
    void send(const Answer& answer);

    GencpDevice device_;
    FaultyDevice faulty_;
    std::string name_;
    std::chrono::microseconds byte_time_{};
    int master_ = -1;
    std::atomic<bool> silent_{false};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace softlink
