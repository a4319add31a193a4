// pvctl info: what a camera is and how it is set up.
#pragma once

#include <memory>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"
#include "tools/pvctl/fact_sheet.h"

namespace pvctl {

/// What the bootstrap registers tell. `latch`: the time, too, for which it takes control. Throws CommandFailure when
/// the camera does not answer.
[[nodiscard]] FactSheet read_facts(vex::control::Connection& connection, bool latch);

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
