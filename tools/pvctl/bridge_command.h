// pvctl bridge: joins a camera's serial port to this computer.
#pragma once

#include <memory>
#include <string>

#include "sdk/bridge/PvSerialBridge.h"
#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"
#include "tools/pvctl/port_option.h"

namespace pvctl {

/// Runs a bridge until the user ends it, and tells what it has carried.
class BridgeCommand final : public Command {
public:
    explicit BridgeCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        PortOption port;
        std::string name;
        std::string line;
        PvSerialPortConfiguration configuration;
        unsigned device_baud_rate = 0;
        bool json = false;
    };

    BridgeCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
