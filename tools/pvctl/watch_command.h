// pvctl watch: what changes in a camera.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Reads the features again and again and prints which have changed; prints what the connection tells as well. Ends
/// with 0 on Ctrl+C and where --count or --time says so, with 1 when the connection is lost.
class WatchCommand final : public Command {
public:
    explicit WatchCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::vector<std::string> features;
        std::vector<std::string> assignments;
        std::uint32_t interval = 500;
        std::uint64_t count = 0;
        double time = 0;
        bool control = false;
        bool json = false;
    };

    WatchCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
