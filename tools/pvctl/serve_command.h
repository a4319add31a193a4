// pvctl serve: the pictures of a folder as a camera.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/pvctl/command.h"

namespace pvctl {

/// Is a camera at one of the host's addresses, and sends the pictures one after the other, again and again, to whoever
/// opens its stream and starts the acquisition. Ends with 0 on Ctrl+C and where --time says so.
class ServeCommand final : public Command {
public:
    explicit ServeCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

private:
    struct Options {
        std::string folder;
        std::string network_interface;
        double rate = 10;
        float throughput = 500;
        double time = 0;
        bool json = false;
    };

    ServeCommand(CLI::App& command, std::unique_ptr<Options> options);

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
