// pvctl serial: a terminal on a camera's serial port.
#pragma once

#include <memory>
#include <string>

#include "sdk/serial/PvSerialPortIPEngine.h"
#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"
#include "tools/pvctl/port_option.h"

namespace pvctl {

/// Sends what is typed, or comes from a pipe, and prints what is received.
class SerialCommand final : public Command {
public:
    explicit SerialCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        PortOption port;
        std::string log;
        unsigned baud_rate = 0;
        unsigned wait = 500;
        bool hexadecimal = false;
    };

    SerialCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
