// pvctl discover: which cameras there are.
#pragma once

#include <cstdint>
#include <memory>

#include "tools/pvctl/command.h"
#include "tools/pvctl/json_output.h"

class PvSystem;

namespace pvctl {

/// What a search has found, a list with an object for each camera.
[[nodiscard]] Json json_of(const PvSystem& system);

/// Exits with 0 when a device was found, 3 when none was.
class DiscoverCommand final : public Command {
public:
    explicit DiscoverCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        std::uint32_t timeout = 1000;
        bool json = false;
    };

    DiscoverCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;  // at a place that the app's options point to
};

}  // namespace pvctl
