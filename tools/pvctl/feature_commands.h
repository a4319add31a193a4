// pvctl get, set and tree: a camera's features.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Exits with 3 when the camera has no feature of a name.
class GetCommand final : public Command {
public:
    explicit GetCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::vector<std::string> features;
        bool bare = false;
        bool json = false;
    };

    GetCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

/// Writes in the order given and stops at the first value that the camera does not take. Nothing is written when the
/// camera has no feature of a name.
class SetCommand final : public Command {
public:
    explicit SetCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::vector<std::string> assignments;
        bool json = false;
    };

    SetCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

/// Exits with 3 when the camera has no category of that name.
class TreeCommand final : public Command {
public:
    explicit TreeCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string category;
        std::string visibility = "guru";
        bool json = false;
    };

    TreeCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
