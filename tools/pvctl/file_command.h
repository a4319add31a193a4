// pvctl file: the files that a camera has.
#pragma once

#include <memory>
#include <string>

#include "sdk/genicam/PvGenFile.h"
#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

namespace pvctl {

/// Lists them, and brings one from or to this host.
class FileCommand final : public Command {
public:
    explicit FileCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        DeviceOption device;
        std::string name;
        std::string local;
        unsigned timeout = 60;
        bool json = false;
    };

    FileCommand(CLI::App& command, std::unique_ptr<Options> options);
    CLI::App& add(CLI::App& command, const char* name, const char* what);
    [[nodiscard]] int list(PvDevice& device) const;
    [[nodiscard]] int transfer(PvDevice& device, PvGenOpenMode mode) const;

    std::unique_ptr<Options> options_;
    const CLI::App* list_ = nullptr;
    const CLI::App* get_ = nullptr;
};

}  // namespace pvctl
