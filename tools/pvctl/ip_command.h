// pvctl ip: a camera's IP configuration.
#pragma once

#include <memory>
#include <string>

#include "sdk/control/ip_configuration.h"
#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Shows the configuration, changes it first where an option says so: what the camera takes when it starts, and then
/// the address that it has now.
class IpCommand final : public Command {
public:
    explicit IpCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string force;
        bool restart = false;
        std::string persistent;
        std::string dhcp;
        std::string link_local;
        bool json = false;
    };

    IpCommand(CLI::App& command, std::unique_ptr<Options> options);
    [[nodiscard]] vex::control::IpConfigurationChange change() const;
    void force(const vex::control::IpSettings& settings) const;
    void restart() const;

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
