// pvctl doctor: what usually goes wrong between a computer and its cameras.
#pragma once

#include <memory>

#include "tools/diagnosis/finding.h"
#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

class DoctorCommand final : public Command {
public:
    explicit DoctorCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        bool json = false;
    };

    DoctorCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
