// pvctl switchover: hands control of a camera over from one application to another.
#pragma once

#include <cstdint>
#include <memory>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Takes control by a key, from an application that allows it or of a free camera, and gives it up at once or, with
/// --hold, allows others to take it with that key until it is told to end.
class SwitchoverCommand final : public Command {
public:
    explicit SwitchoverCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        bool hold = false;
        double time = 0;
        bool json = false;
    };

    SwitchoverCommand(CLI::App& command, std::unique_ptr<Options> options);
    void tell(const char* what, const std::string& detail) const;

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
