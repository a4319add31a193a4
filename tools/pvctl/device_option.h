// The device that a command is about: its options and the way to it.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <string>

#include "sdk/control/connection.h"
#include "sdk/device/PvDevice.h"

namespace pvctl {

/// Throws CommandFailure unless the result, of reaching a device or reading its description, is OK; says what can be
/// done about it. A device that does not answer counts as not found.
void require_device(const PvResult& result);

/// As the user names it.
struct DeviceOption {
    std::string name;
    std::string description_folder;
    bool description_download = false;
    bool description_download_anywhere = false;
    std::uint16_t switchover_key = 0;  ///< 0: none

    /// Adds DEVICE alone, for commands that need no features.
    void add_name(CLI::App& command);
    /// Adds where descriptions may be read from.
    void add_description(CLI::App& command);
    /// Adds DEVICE and where its description may be read from.
    void add(CLI::App& command);

    /// Adds the key for taking control from an application that hands it over.
    CLI::Option* add_key(CLI::App& command, const std::string& option = "--switchover-key");

    /// Connects. Throws CommandFailure, with what can be done about it. `hand_over`: others may take control by the
    /// key.
    [[nodiscard]] std::unique_ptr<PvDevice> connect(PvAccessType access, bool hand_over = false) const;
    /// Opens the control channel without a thought for the description, which may be unusable. It is closed, and
    /// control given back, with the last share.
    [[nodiscard]] std::shared_ptr<vex::control::Connection> open(PvAccessType access) const;
    /// Finds the device and takes no connection to it.
    [[nodiscard]] vex::control::ConnectionTarget find(PvAccessType access) const;
};

}  // namespace pvctl
