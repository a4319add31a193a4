// The device that a command is about: its options and the way to it.
#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "sdk/control/connection.h"
#include "sdk/device/PvDevice.h"

namespace pvctl {

/// As the user names it.
struct DeviceOption {
    std::string name;
    std::string description_folder;
    bool description_download = false;
    bool description_download_anywhere = false;

    /// Adds DEVICE alone, for commands that need no features.
    void add_name(CLI::App& command);
    /// Adds DEVICE and where its description may be read from.
    void add(CLI::App& command);

    /// Connects. Throws CommandFailure, with what can be done about it.
    [[nodiscard]] std::unique_ptr<PvDevice> connect(PvAccessType access) const;
    /// Opens the control channel without a thought for the description, which may be unusable.
    [[nodiscard]] std::shared_ptr<vex::control::Connection> open(PvAccessType access) const;
    /// Finds the device and takes no connection to it.
    [[nodiscard]] vex::control::ConnectionTarget find(PvAccessType access) const;
};

}  // namespace pvctl
