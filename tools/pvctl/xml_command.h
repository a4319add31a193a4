// pvctl xml: a camera's description.
#pragma once

#include <memory>
#include <string>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Writes the description as the camera holds it, unpacked, also when it cannot be used.
class XmlCommand final : public Command {
public:
    explicit XmlCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string output;
        bool json = false;
    };

    XmlCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
