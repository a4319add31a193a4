// pvctl save, restore and diff: a camera's settings in files.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"
#include "tools/pvctl/settings.h"

namespace pvctl {

/// What cannot be read is told, and does not keep the rest from being saved.
class SaveCommand final : public Command {
public:
    explicit SaveCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string file;
        std::string name;
        bool json = false;
    };

    SaveCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

/// Exits with 1 when a setting could not be restored; the others are all the same. A dry run exits with 4 when
/// something differs.
class RestoreCommand final : public Command {
public:
    explicit RestoreCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string file;
        std::vector<std::string> names;  ///< one at the most
        bool dry_run = false;
        bool json = false;
    };

    RestoreCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

/// Exits with 4 when something differs.
class DiffCommand final : public Command {
public:
    explicit DiffCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;  ///< what is said of all of them; without a name
        std::string first;
        std::string second;
        std::vector<std::string> names;  ///< one for both files, or one for each
        bool json = false;
    };

    DiffCommand(CLI::App& command, std::unique_ptr<Options> options);
    [[nodiscard]] Settings settings(const std::string& place, std::size_t number) const;

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
