// A simulated camera that programs reach by a pipe.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "sdk/net/pipe.h"
#include "tools/softlink/gencp_device.h"
#include "tools/softlink/line_faults.h"

namespace softlink {

/// Serves the device from construction to destruction, to one program after the other, on a thread of its own.
class PipeDevice {
public:
    /// Throws std::system_error when the name cannot be served.
    PipeDevice(const vex::net::PipeName& name, const DeviceOptions& options, const FaultRates& rates,
               std::string_view xml = {});
    PipeDevice(const PipeDevice&) = delete;
    PipeDevice& operator=(const PipeDevice&) = delete;
    ~PipeDevice();

    /// What it is reached by, with the port that the system chose: pipe:camera, tcp:40123.
    [[nodiscard]] std::string name() const { return server_->name().to_string(); }

private:
    void serve();
    void send(const Answer& answer);

    GencpDevice device_;
    FaultyDevice faulty_;
    std::shared_ptr<vex::net::PipeServer> server_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace softlink
