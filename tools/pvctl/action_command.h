// pvctl action: many cameras do something at the same time.
#pragma once

#include <memory>

#include "sdk/device/PvAction.h"
#include "tools/pvctl/command.h"

namespace pvctl {

/// Exits with 3 when no camera acknowledges.
class ActionCommand final : public Command {
public:
    explicit ActionCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        PvAction action;
        std::uint64_t time = 0;
        std::string destination;
        std::string interface_address;
        bool no_acknowledge = false;
        bool json = false;
    };

    ActionCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
    CLI::Option* time_ = nullptr;
};

}  // namespace pvctl
