// pvctl info: what a camera is and how it is set up.
#pragma once

#include <memory>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Reads the bootstrap registers only, so it also works for cameras whose description cannot be used.
class InfoCommand final : public Command {
public:
    explicit InfoCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        bool latch = false;
        bool json = false;
    };

    InfoCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
