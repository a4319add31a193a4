// pvctl i2c: the slaves on a camera's I2C bus.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sdk/serial/PvIPEngineI2CBus.h"
#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"
#include "tools/pvctl/port_option.h"

namespace pvctl {

/// Lists them, and reads and writes their bytes.
class I2cCommand final : public Command {
public:
    explicit I2cCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        PortOption port;
        std::string slave;
        std::string offset;
        unsigned count = 1;
        std::vector<std::string> bytes;
        bool slow = false;
        bool separate = false;
        bool json = false;
    };

    I2cCommand(CLI::App& command, std::unique_ptr<Options> options);
    CLI::App& add(CLI::App& command, const char* name, const char* what);
    [[nodiscard]] int scan(PvIPEngineI2CBus& bus) const;
    [[nodiscard]] int read(PvIPEngineI2CBus& bus) const;
    [[nodiscard]] int write(PvIPEngineI2CBus& bus) const;

    std::unique_ptr<Options> options_;
    const CLI::App* scan_ = nullptr;
    const CLI::App* read_ = nullptr;
};

}  // namespace pvctl
