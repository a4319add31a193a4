// pvctl report: all that is known of a camera and this computer, in one file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Ends with 0 when the report was written, also where parts of it could not be read, which its summary tells. Without
/// the camera nothing is written.
class ReportCommand final : public Command {
public:
    explicit ReportCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string output;
        double seconds = 10;
        bool mask = false;
        bool json = false;
    };

    ReportCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
