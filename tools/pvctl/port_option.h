// The port of a camera that a command is about.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "sdk/control/PvTypes.h"

namespace pvctl {

/// As the user names it: "Serial0", "serial1", "bulk7".
struct PortOption {
    std::string name;

    /// Adds PORT, which is required.
    void add(CLI::App& command);
    /// Throws CommandFailure for what is no port's name.
    [[nodiscard]] PvIPEngineSerial port() const;
};

}  // namespace pvctl
